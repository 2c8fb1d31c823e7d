// Retries and resume: which failures are retried, what is said about them on
// standard error, and that the body delivered is the final one, whole.
#include "support/HttpfetchTest.hpp"

namespace {

using HttpfetchRetry = support::HttpfetchTest;
using support::fingerprint;
using support::LoopbackServer;
using ::testing::HasSubstr;

TEST_F(HttpfetchRetry, RetriesA503AtOnceAndSaysWhy)
{
    const auto run = runTool({"--retries", "2", "--retry-delay", "0", server.url("/fail-once-then-ok")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "ok");
    EXPECT_THAT(run.err, HasSubstr("httpfetch: attempt 1 of 3 failed (503 Service Unavailable); retrying in 0 ms\n"));
    EXPECT_EQ(server.seen("/fail-once-then-ok").size(), 2U);
}

TEST_F(HttpfetchRetry, GivesUpOnA503WithoutRetriesAndNeverRetriesAPost)
{
    const auto once = runTool({"-f", server.url("/fail-once-then-ok")});
    EXPECT_EQ(once.exitCode, 22);
    EXPECT_THAT(once.err, HasSubstr("httpfetch: (22) The requested URL returned error: 503\n"));

    const LoopbackServer other;
    const auto post = runTool({"-f", "-X", "POST", "--retries", "2", other.url("/fail-once-then-ok")});
    EXPECT_EQ(post.exitCode, 22);
    EXPECT_THAT(post.err, ::testing::Not(HasSubstr("attempt 1")));
    EXPECT_EQ(server.seen("/fail-once-then-ok").size() + other.seen("/fail-once-then-ok").size(), 2U);
}

TEST_F(HttpfetchRetry, ResumesACutBodyWithARangeRequestAndDeliversItWhole)
{
    const auto run =
        runTool({"--retries", "1", "--retry-delay", "0", "--resume", "-o", file.string(), server.url("/cut-midway")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("); resuming at byte 32768 in 0 ms\n"));
    EXPECT_EQ(fingerprint(contents()), fingerprint(LoopbackServer::payload()));
    const auto seen = server.seen("/cut-midway");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].header("Range"), "bytes=32768-");
}

TEST_F(HttpfetchRetry, StartsACutBodyAfreshWithoutResumeLeavingNoStaleBytesInTheFile)
{
    const auto run = runTool({"--retries", "1", "--retry-delay", "0", "-o", file.string(), server.url("/cut-midway")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("); retrying in 0 ms\n"));
    EXPECT_EQ(fingerprint(contents()), fingerprint(LoopbackServer::payload()));
    const auto seen = server.seen("/cut-midway");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].header("Range"), "");

    ASSERT_EQ(runTool({"-s", "--retries", "1", "-o", file.string(), server.url("/cut-then-short")}).exitCode, 0);
    EXPECT_EQ(contents(), "short");
}

TEST_F(HttpfetchRetry, IsQuietWithSAndFailsWhenTheLastAttemptIsCut)
{
    const auto quiet = runTool({"-s", "--retries", "1", server.url("/fail-once-then-ok")});
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.err, "");

    const auto cut = runTool({"-S", "-s", server.url("/cut-midway")});
    EXPECT_EQ(cut.exitCode, 18);
    EXPECT_THAT(cut.err, HasSubstr("httpfetch: Request to " + server.url("/cut-midway") + " failed: "));
}

TEST_F(HttpfetchRetry, RedrawsABarInPlaceAndEndsItBeforeTheRetryLineOnATerminal)
{
    const auto run = runTool({"--retries", "1", "--resume", "-o", file.string(), server.url("/cut-midway")},
                             support::ErrorOutput::Terminal);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("\r["));
    EXPECT_THAT(run.err, HasSubstr("100%  64.0 KiB of 64.0 KiB"));
    EXPECT_THAT(run.err, HasSubstr("\r\x1b[Khttpfetch: attempt 1 of 2 failed ("));
}

} // namespace
