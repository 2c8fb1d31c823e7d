// The fixture of httpfetch's tests: a loopback server and an empty scratch
// file for each test, and the built tool run as a child process whose output
// is captured.
//
//   const auto run = runTool({"-s", "-o", file.string(), server.url("/payload")});
//   run.exitCode;   // 0
//   contents();     // LoopbackServer::payload()
//
// The tool's standard input is /dev/null; its standard error is a pipe, or a
// pseudo-terminal with ErrorOutput::Terminal. A run that takes longer than
// two minutes is killed and fails the test instead of hanging it.
#pragma once

#include <support/LoopbackServer.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace support {

enum class ErrorOutput { Pipe, Terminal };

struct ToolRun {
    int exitCode = -1;
    // The child's peak resident set, in KiB.
    long peakKiB = 0;
    std::string out;
    std::string err;
};

class HttpfetchTest : public ::testing::Test {
protected:
    HttpfetchTest();
    ~HttpfetchTest() override;

    static ToolRun runTool(const std::vector<std::string>& arguments, ErrorOutput errorOutput = ErrorOutput::Pipe);
    // What the scratch file holds now.
    std::string contents() const;

    LoopbackServer server;
    std::filesystem::path file;
};

} // namespace support
