// httpfetch's exit statuses, which follow curl's: 0 whenever a response
// arrived, 22 for an error status with -f or --fail-with-body, 2 for a usage
// error, and curl's number for the cause of a failed transfer.
#include "support/HttpfetchTest.hpp"

namespace {

using HttpfetchExitStatus = support::HttpfetchTest;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(HttpfetchExitStatus, IsZeroForAnyResponseUnlessFOrFailWithBodyMakeAnErrorStatusTwentyTwo)
{
    const std::string missing = server.url("/status/404");
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        std::string out;
        std::string err;
    } rows[] = {
        {{"-s", missing}, 0, "status 404", ""},
        {{"-s", "-f", missing}, 22, "", ""},
        {{"-sS", "-f", missing}, 22, "", "httpfetch: (22) The requested URL returned error: 404\n"},
        {{"-sS", "--fail-with-body", missing},
         22,
         "status 404",
         "httpfetch: (22) The requested URL returned error: 404\n"},
        {{"-s", "-f", "--no-redirects", server.url("/redirect/1")}, 0, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.arguments));
        const auto run = runTool(row.arguments);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_EQ(run.out, row.out);
        EXPECT_EQ(run.err, row.err);
    }
}

TEST_F(HttpfetchExitStatus, IsCurlsNumberForTheCauseOfAFailedTransfer)
{
    const support::UnansweredListener unanswered;
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
    } rows[] = {
        {{"http://127.0.0.1:" + std::to_string(support::closedPort()) + "/"}, 7},
        {{"--connect-timeout", "0.2", "http://127.0.0.1:" + std::to_string(unanswered.port) + "/"}, 28},
        {{"-m", "0.3", server.url("/trickle")}, 28},
        {{server.url("/redirect-loop")}, 47},
        {{server.url("/cut-midway")}, 18},
        {{"https://127.0.0.1:" + server.url("/").substr(17)}, 35},
        {{"--cacert", "/nonexistent/ca.pem", "https://127.0.0.1:" + server.url("/").substr(17)}, 77},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.arguments));
        auto arguments = row.arguments;
        arguments.insert(arguments.begin(), {"-o", "/dev/null"});
        const auto run = runTool(arguments);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_THAT(run.err, StartsWith("httpfetch: "));
    }
}

TEST_F(HttpfetchExitStatus, IsTwoWithTheReasonForAMalformedCommandLineAndZeroForHelpAndVersion)
{
    const auto bad = runTool({"--bogus", server.url("/echo")});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_EQ(bad.err, "httpfetch: unknown option --bogus\nhttpfetch: try 'httpfetch --help' for more information\n");
    EXPECT_TRUE(server.seen("/echo").empty());

    const auto help = runTool({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, StartsWith("Usage: httpfetch [options] URL\n"));
    EXPECT_THAT(help.out, HasSubstr("\nExit status"));
    const auto version = runTool({"-V"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.out, StartsWith("httpfetch "));
}

} // namespace
