// httpfetch's exit statuses: 0 for a 2xx or 3xx reply, 1 for an HTTP error
// status, 2 for a usage error, 3 for a failed transfer; and what it prints
// with each.
#include "support/HttpfetchTest.hpp"

namespace {

using HttpfetchExitStatus = support::HttpfetchTest;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(HttpfetchExitStatus, IsZeroForA200OrAnUnfollowedRedirectAndOneForA404WhoseBodyIsStillDelivered)
{
    const auto ok = runTool({server.url("/echo")});
    EXPECT_EQ(ok.exitCode, 0) << ok.err;
    EXPECT_EQ(ok.out, "GET ");

    const auto missing = runTool({"-s", server.url("/status/404")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "httpfetch: 404 Not Found\n");
    EXPECT_EQ(missing.out, "status 404");

    const auto redirect = runTool({"-s", "-i", "--no-redirects", server.url("/redirect/1")});
    EXPECT_EQ(redirect.exitCode, 0) << redirect.err;
    EXPECT_THAT(redirect.out, StartsWith("302 Found\n"));
    EXPECT_THAT(redirect.out, HasSubstr("\nLocation: /redirect/0\n"));
    EXPECT_TRUE(server.seen("/redirect/0").empty());
}

TEST_F(HttpfetchExitStatus, IsThreeWithTheTransportsMessageWhenNothingListens)
{
    const std::string url = "http://127.0.0.1:" + std::to_string(support::closedPort()) + "/";
    const auto run = runTool({"-s", url});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.err, StartsWith("httpfetch: Request to " + url + " failed: "));
    EXPECT_EQ(run.out, "");
}

TEST_F(HttpfetchExitStatus, IsTwoWithTheReasonAndTheUsageForEveryMalformedCommandLine)
{
    const std::string url = "http://127.0.0.1:1/";
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } rows[] = {
        {{}, "no URL given"},
        {{url + "a", url + "b"}, "one URL only; unexpected '" + url + "b'"},
        {{"--bogus", url}, "unknown option --bogus"},
        {{"-z", url}, "unknown option -z"},
        {{url, "--retries"}, "option --retries needs an argument"},
        {{"--retries", "-1", url}, "--retries takes a whole number of 0 or more, not '-1'"},
        {{"--backoff", "5s", url}, "--backoff takes a whole number of 0 or more, not '5s'"},
        {{"-H", "NoColon", url}, "-H takes 'Name: value', not 'NoColon'"},
        {{"-F", "=v", url}, "-F takes NAME=VALUE with a name, not '=v'"},
        {{"-X", "FETCH", url}, "unknown method 'FETCH' (GET, POST, PUT, DELETE, PATCH or HEAD)"},
        {{"-d", "x", "-F", "a=b", url}, "-d and -F cannot be used together"},
        {{"--demo", url}, "--demo takes no URL"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        const auto run = runTool(row.arguments);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_THAT(run.err, StartsWith("httpfetch: " + row.message + "\n\nUsage: httpfetch [options] URL\n"));
        EXPECT_EQ(run.out, "");
    }
}

TEST_F(HttpfetchExitStatus, IsZeroForHelpAndVersionWhichGoToStandardOutput)
{
    const auto help = runTool({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, StartsWith("Usage: httpfetch [options] URL\n"));
    EXPECT_THAT(help.out, HasSubstr("--resume"));
    const auto version = runTool({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.out, StartsWith("httpfetch "));
}

} // namespace
