// httpfetch's exit statuses: 0 for a 2xx or 3xx reply, 1 for an HTTP error
// status, 2 for a usage error, 3 for a failed transfer; and what it prints
// with each.
#include "support/TestServer.hpp"
#include "support/ToolProcess.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using support::runTool;
using support::TestServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(HttpfetchExitStatus, IsZeroForA200AndTheBodyGoesToStandardOutput)
{
    const TestServer server;
    const auto run = runTool({server.url("/hello")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "hello, world\n");
}

TEST(HttpfetchExitStatus, IsOneForA404WithTheStatusLineOnStandardErrorAndTheBodyStillDelivered)
{
    const TestServer server;
    const auto run = runTool({"-s", server.url("/missing")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "httpfetch: 404 Not Found\n");
    EXPECT_EQ(run.out, "no such thing\n");
}

TEST(HttpfetchExitStatus, IsZeroForARedirectThatIsNotFollowed)
{
    const TestServer server;
    const auto run = runTool({"-s", "-i", "--no-redirects", server.url("/redirect")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("302 Found\n"));
    EXPECT_THAT(run.out, HasSubstr("Location: /hello\n"));
    EXPECT_EQ(server.received().size(), 1U);
}

TEST(HttpfetchExitStatus, IsThreeWithTheTransportsMessageWhenNothingListens)
{
    const std::string url = "http://127.0.0.1:" + std::to_string(support::closedPort()) + "/";
    const auto run = runTool({"-s", url});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.err, StartsWith("httpfetch: Request to " + url + " failed: "));
    EXPECT_EQ(run.out, "");
}

TEST(HttpfetchExitStatus, IsTwoWithTheReasonAndTheUsageForEveryMalformedCommandLine)
{
    struct Row {
        std::vector<std::string> arguments;
        std::string message;
    };
    const std::vector<Row> rows = {
        {{}, "httpfetch: no URL given"},
        {{"http://127.0.0.1:1/a", "http://127.0.0.1:1/b"},
         "httpfetch: one URL only; unexpected 'http://127.0.0.1:1/b'"},
        {{"--bogus", "http://127.0.0.1:1/"}, "httpfetch: unknown option --bogus"},
        {{"-z", "http://127.0.0.1:1/"}, "httpfetch: unknown option -z"},
        {{"http://127.0.0.1:1/", "--retries"}, "httpfetch: option --retries needs an argument"},
        {{"--retries", "-1", "http://127.0.0.1:1/"},
         "httpfetch: --retries takes a whole number of 0 or more, not '-1'"},
        {{"--backoff", "5s", "http://127.0.0.1:1/"},
         "httpfetch: --backoff takes a whole number of 0 or more, not '5s'"},
        {{"-H", "NoColon", "http://127.0.0.1:1/"}, "httpfetch: -H takes 'Name: value', not 'NoColon'"},
        {{"-F", "=v", "http://127.0.0.1:1/"}, "httpfetch: -F takes NAME=VALUE with a name, not '=v'"},
        {{"-X", "FETCH", "http://127.0.0.1:1/"},
         "httpfetch: unknown method 'FETCH' (GET, POST, PUT, DELETE, PATCH or HEAD)"},
        {{"-d", "x", "-F", "a=b", "http://127.0.0.1:1/"}, "httpfetch: -d and -F cannot be used together"},
        {{"--demo", "http://127.0.0.1:1/"}, "httpfetch: --demo takes no URL"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        const auto run = runTool(row.arguments);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_THAT(run.err, StartsWith(row.message + "\n\nUsage: httpfetch [options] URL\n"));
        EXPECT_EQ(run.out, "");
    }
}

TEST(HttpfetchExitStatus, IsZeroForHelpAndVersionWhichGoToStandardOutput)
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
