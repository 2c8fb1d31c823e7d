// Runs examples/resume_download against the loopback server's cut download.
#include <support/LoopbackServer.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using support::LoopbackServer;

namespace {

struct Run {
    int status;
    std::string output;
};

Run run(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return {-1, {}};
    }
    std::string output;
    char buffer[4096];
    for (std::size_t read = 0; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        output.append(buffer, read);
    }
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

} // namespace

TEST(ResumeDownloadExample, ContinuesACutDownloadWhereItStopped)
{
    LoopbackServer server;
    const std::string file = ::testing::TempDir() + "resume_download_" + std::to_string(getpid()) + ".bin";
    const std::string url = server.url("/cut-midway");

    const auto result = run(std::string(RESUME_DOWNLOAD_PROGRAM) + " '" + url + "' '" + file + "'");

    const auto size = std::to_string(LoopbackServer::payload().size());
    const auto half = std::to_string(LoopbackServer::payload().size() / 2);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "attempt 1 failed (Request to " + url + " failed: transfer closed with " + half +
                                 " bytes remaining to read); retrying\n206 Partial Content, " + size + " bytes in " +
                                 file + "\n");
    std::ifstream in(file, std::ios::binary);
    const std::string body{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(support::fingerprint(body), support::fingerprint(LoopbackServer::payload()));
    const auto seen = server.seen("/cut-midway");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].header("Range"), "bytes=" + half + "-");
    std::remove(file.c_str());
}
