// Where the body goes: -o replaces a file only when the transfer succeeded,
// writes devices in place and continues a file with -C -; standard output is
// streamed; -i and -I show the head; -w reports figures.
#include "support/HttpfetchTest.hpp"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace {

using HttpfetchOutput = support::HttpfetchTest;
using support::fingerprint;
using support::LoopbackServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Files in the scratch file's directory left by a run beside it.
std::vector<std::filesystem::path> leftovers(const std::filesystem::path& file)
{
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
        if (entry.path().filename().string().rfind("." + file.filename().string() + ".", 0) == 0) {
            found.push_back(entry.path());
        }
    }
    return found;
}

TEST_F(HttpfetchOutput, ReplacesAFileOnlyWhenTheTransferSucceeds)
{
    std::ofstream(file, std::ios::binary) << std::string(100000, 'x');
    ::chmod(file.c_str(), 0640);
    const auto cut = runTool({"-s", "-o", file.string(), server.url("/cut-midway")});
    EXPECT_NE(cut.exitCode, 0);
    EXPECT_EQ(contents(), std::string(100000, 'x'));

    const auto run = runTool({"-s", "-o", file.string(), server.url("/payload")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(fingerprint(contents()), fingerprint(LoopbackServer::payload()));
    EXPECT_TRUE(leftovers(file).empty());
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms::owner_read |
                                                               std::filesystem::perms::owner_write |
                                                               std::filesystem::perms::group_read);

    const auto toDevice = runTool({"-s", "-o", "/dev/null", server.url("/payload")});
    EXPECT_EQ(toDevice.exitCode, 0) << toDevice.err;
    struct stat device {};
    ASSERT_EQ(::stat("/dev/null", &device), 0);
    EXPECT_TRUE(S_ISCHR(device.st_mode));
}

TEST_F(HttpfetchOutput, ContinuesAPartialFileFromItsSizeWithC)
{
    const auto& payload = LoopbackServer::payload();
    ASSERT_NE(runTool({"-s", "-o", "/dev/null", server.url("/cut-midway")}).exitCode, 0);
    std::ofstream(file, std::ios::binary) << payload.substr(0, 1000);
    const auto run = runTool({"-s", "-C", "-", "-o", file.string(), server.url("/cut-midway")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(fingerprint(contents()), fingerprint(payload));
    EXPECT_EQ(server.seen("/cut-midway").back().header("Range"), "bytes=1000-");

    std::ofstream(file, std::ios::binary) << "part";
    const auto ignored = runTool({"-C", "-", "-o", file.string(), server.url("/payload")});
    EXPECT_EQ(ignored.exitCode, 33);
    EXPECT_THAT(ignored.err, HasSubstr("httpfetch: (33) the server does not support byte ranges"));
    EXPECT_EQ(contents(), "part");
}

TEST_F(HttpfetchOutput, StreamsStandardOutputAndRefusesToTakeBackWhatWentOut)
{
    const auto streamed = runTool({"-s", "-o", "-", server.url("/payload")});
    ASSERT_EQ(streamed.exitCode, 0) << streamed.err;
    EXPECT_EQ(fingerprint(streamed.out), fingerprint(LoopbackServer::payload()));

    // 128 MiB through a pipe: the tool never holds the body, so its peak
    // stays well below the body's size, sanitizers included.
    const auto large = runTool({"-s", server.url("/repeat?times=2048")});
    ASSERT_EQ(large.exitCode, 0) << large.err;
    EXPECT_EQ(large.out.size(), LoopbackServer::payload().size() * 2048);
    EXPECT_LT(large.peakKiB, 96 * 1024);

    const auto restarted = runTool({"-s", "-S", "--retry", "1", "--retry-delay", "0", server.url("/cut-then-full")});
    EXPECT_EQ(restarted.exitCode, 23);
    EXPECT_THAT(restarted.err, HasSubstr("bytes went to standard output; use -o with a regular FILE with --retry\n"));

    const auto toFile =
        runTool({"-s", "--retry", "1", "--retry-delay", "0", "-o", file.string(), server.url("/cut-then-full")});
    EXPECT_EQ(toFile.exitCode, 0) << toFile.err;
    EXPECT_EQ(fingerprint(contents()), fingerprint(LoopbackServer::payload()));
}

TEST_F(HttpfetchOutput, EndsTheProgressLinesOffATerminalWithTheFinalFiguresShownOnce)
{
    const auto run = runTool({"-o", "/dev/null", server.url("/payload")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::string> lines;
    std::istringstream err(run.err);
    for (std::string line; std::getline(err, line);) {
        EXPECT_THAT(line, StartsWith("httpfetch: ")) << line;
        EXPECT_TRUE(lines.empty() || line != lines.back()) << line;
        lines.push_back(line);
    }
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines.back(), StartsWith("httpfetch: 64.0 KiB of 64.0 KiB (100%) at "));
}

TEST_F(HttpfetchOutput, ShowsEveryHeadWithITheTraceWithVHeadersAloneWithIAndFiguresWithW)
{
    const auto included = runTool({"-s", "-i", server.url("/redirect/1")});
    ASSERT_EQ(included.exitCode, 0) << included.err;
    EXPECT_THAT(included.out, StartsWith("HTTP/1.1 302 Found\r\n"));
    EXPECT_THAT(included.out, HasSubstr("\r\nLocation: /redirect/0\r\n"));
    EXPECT_THAT(included.out, HasSubstr("\r\n\r\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(included.out, ::testing::EndsWith("\r\n\r\nlanded"));

    const auto verbose = runTool({"-s", "-v", "-H", "X-Mine: 1", server.url("/echo")});
    ASSERT_EQ(verbose.exitCode, 0) << verbose.err;
    EXPECT_EQ(verbose.out, "GET ");
    EXPECT_THAT(verbose.err, HasSubstr("\n> GET /echo HTTP/1.1\n"));
    EXPECT_THAT(verbose.err, HasSubstr("\n> X-Mine: 1\n"));
    EXPECT_THAT(verbose.err, HasSubstr("\n< HTTP/1.1 200 OK\n"));
    EXPECT_THAT(verbose.err, HasSubstr("\n< Content-Length: 4\n"));
    EXPECT_THAT(verbose.err, StartsWith("* "));

    const auto head = runTool({"-s", "-I", server.url("/echo")});
    ASSERT_EQ(head.exitCode, 0) << head.err;
    EXPECT_THAT(head.out, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(head.out, ::testing::EndsWith("\r\n\r\n"));
    EXPECT_EQ(server.seen("/echo").back().method, "HEAD");

    const auto figures = runTool({"-s", "-o", "/dev/null", "-w",
                                  "%{http_code} %{size_download} %{num_redirects} "
                                  "%{url_effective}\\n%%",
                                  server.url("/redirect/2")});
    ASSERT_EQ(figures.exitCode, 0) << figures.err;
    EXPECT_EQ(figures.out, "200 6 2 " + server.url("/redirect/0") + "\n%");
}

} // namespace
