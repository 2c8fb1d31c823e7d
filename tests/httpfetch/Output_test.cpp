// Where the body goes: -o writes exactly the body's bytes to a file, and -i
// prints the status line and the headers before the body.
#include "support/HttpfetchTest.hpp"

#include <fstream>

namespace {

using HttpfetchOutput = support::HttpfetchTest;
using support::fingerprint;
using support::LoopbackServer;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(HttpfetchOutput, WritesEveryByteOfTheBodyToTheFileReplacingALongerOneAndNothingToStandardOutput)
{
    std::ofstream(file, std::ios::binary) << std::string(100000, 'x');
    const auto run = runTool({"-s", "-o", file.string(), server.url("/payload")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(fingerprint(contents()), fingerprint(LoopbackServer::payload()));
}

TEST_F(HttpfetchOutput, PrintsTheStatusLineAndTheHeadersThenABlankLineBeforeTheBodyOrAloneWithO)
{
    const auto run = runTool({"-s", "-i", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("200 OK\n"));
    EXPECT_THAT(run.out, HasSubstr("\nContent-Type: text/plain\n"));
    EXPECT_THAT(run.out, HasSubstr("\nContent-Length: 4\n"));
    EXPECT_THAT(run.out, EndsWith("\n\nGET "));

    const auto toFile = runTool({"-s", "-i", "-o", file.string(), server.url("/echo")});
    ASSERT_EQ(toFile.exitCode, 0) << toFile.err;
    EXPECT_THAT(toFile.out, StartsWith("200 OK\n"));
    EXPECT_THAT(toFile.out, EndsWith("\n\n"));
    EXPECT_EQ(contents(), "GET ");
}

} // namespace
