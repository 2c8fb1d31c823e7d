// Retries and resume: which failures are retried, what is said about them on
// standard error, and that the body delivered is the final one, whole.
#include "support/TempFile.hpp"
#include "support/TestServer.hpp"
#include "support/ToolProcess.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using support::ErrorOutput;
using support::runTool;
using support::TempFile;
using support::TestServer;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(HttpfetchRetry, RetriesA503AtOnceAndSaysWhy)
{
    const TestServer server;
    const auto run = runTool({"--retries", "2", "--backoff", "0", server.url("/busy-then-ok")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "finally\n");
    EXPECT_THAT(run.err, HasSubstr("httpfetch: attempt 1 of 3 failed (503 Service Unavailable); retrying in 0 ms\n"));
    EXPECT_EQ(server.received().size(), 2U);
}

TEST(HttpfetchRetry, GivesUpOnA503WithoutRetries)
{
    const TestServer server;
    const auto run = runTool({server.url("/busy-then-ok")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("httpfetch: 503 Service Unavailable\n"));
    EXPECT_EQ(server.received().size(), 1U);
}

TEST(HttpfetchRetry, NeverRetriesAPost)
{
    const TestServer server;
    const auto run = runTool({"-X", "POST", "--retries", "2", server.url("/busy-then-ok")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, Not(HasSubstr("attempt 1")));
    EXPECT_EQ(server.received().size(), 1U);
}

TEST(HttpfetchRetry, ResumesACutBodyWithARangeRequestAndDeliversItWhole)
{
    const TestServer server;
    const TempFile file;
    const auto run = runTool(
        {"--retries", "1", "--backoff", "0", "--resume", "-o", file.path().string(), server.url("/cut-then-resume")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("); resuming at byte 100000 in 0 ms\n"));
    EXPECT_EQ(file.contents(), TestServer::resumableBody());
    const auto received = server.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[1].header("Range"), "bytes=100000-");
}

TEST(HttpfetchRetry, StartsACutBodyAfreshWithoutResume)
{
    const TestServer server;
    const auto run = runTool({"--retries", "1", server.url("/cut-then-resume")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("); retrying in 0 ms\n"));
    EXPECT_EQ(run.out, TestServer::resumableBody());
    const auto received = server.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[1].header("Range"), "");
}

TEST(HttpfetchRetry, LeavesNoStaleBytesOfALongerCutAttemptInTheFile)
{
    const TestServer server;
    const TempFile file;
    const auto run = runTool({"-s", "--retries", "1", "-o", file.path().string(), server.url("/long-cut-then-short")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(file.contents(), std::string(1000, 'b'));
}

TEST(HttpfetchRetry, IsQuietWithSAndFailsWithThreeWhenTheLastAttemptIsCut)
{
    const TestServer server;
    const auto quiet = runTool({"-s", "--retries", "1", server.url("/busy-then-ok")});
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.err, "");

    const auto cut = runTool({"-s", server.url("/cut-then-resume")});
    EXPECT_EQ(cut.exitCode, 3);
    EXPECT_THAT(cut.err, HasSubstr("httpfetch: Request to " + server.url("/cut-then-resume") + " failed: "));
}

TEST(HttpfetchRetry, RedrawsABarInPlaceAndEndsItBeforeTheRetryLineOnATerminal)
{
    const TestServer server;
    const auto run = runTool({"--retries", "1", "--resume", "-o", "/dev/null", server.url("/cut-then-resume")},
                             ErrorOutput::Terminal);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("\r["));
    EXPECT_THAT(run.err, HasSubstr("100%  256.0 KiB of 256.0 KiB"));
    EXPECT_THAT(run.err, HasSubstr("\r\x1b[Khttpfetch: attempt 1 of 2 failed ("));
}

} // namespace
