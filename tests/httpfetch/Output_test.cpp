// Where the body goes: -o writes exactly the body's bytes to a file, and -i
// prints the status line and the headers before the body.
#include "support/TempFile.hpp"
#include "support/TestServer.hpp"
#include "support/ToolProcess.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using support::runTool;
using support::TempFile;
using support::TestServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(HttpfetchOutput, WritesEveryByteValueOfTheBodyToTheFileAndNothingToStandardOutput)
{
    const TestServer server;
    const TempFile file;
    const auto run = runTool({"-s", "-o", file.path().string(), server.url("/bytes")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(file.contents(), TestServer::everyByte());
}

TEST(HttpfetchOutput, ReplacesALongerFileThatWasThereBefore)
{
    const TestServer server;
    const TempFile file;
    file.write(std::string(100000, 'x'));
    ASSERT_EQ(runTool({"-s", "-o", file.path().string(), server.url("/hello")}).exitCode, 0);
    EXPECT_EQ(file.contents(), "hello, world\n");
}

TEST(HttpfetchOutput, PrintsTheStatusLineAndTheHeadersThenABlankLineBeforeTheBody)
{
    const TestServer server;
    const auto run = runTool({"-s", "-i", server.url("/hello")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("200 OK\n"));
    EXPECT_THAT(run.out, HasSubstr("\nX-Served-By: test-server\n"));
    EXPECT_THAT(run.out, HasSubstr("\nContent-Length: 13\n"));
    const auto blank = run.out.find("\n\n");
    ASSERT_NE(blank, std::string::npos);
    EXPECT_EQ(run.out.substr(blank + 2), "hello, world\n");
}

TEST(HttpfetchOutput, PrintsTheHeadersToStandardOutputAndTheBodyToTheFileWithIAndO)
{
    const TestServer server;
    const TempFile file;
    const auto run = runTool({"-s", "-i", "-o", file.path().string(), server.url("/hello")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("200 OK\n"));
    EXPECT_EQ(run.out.substr(run.out.size() - 2), "\n\n");
    EXPECT_EQ(file.contents(), "hello, world\n");
}

} // namespace
