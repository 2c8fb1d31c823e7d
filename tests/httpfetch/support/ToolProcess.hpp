// Runs the built httpfetch as a child process and captures what it prints.
//
//   const auto run = runTool({"-s", server.url("/hello")});
//   run.exitCode;   // 0
//   run.out;        // "hello, world\n"
//
// Standard input is /dev/null. Standard error is a pipe, or a pseudo-terminal
// with ErrorOutput::Terminal. A run that takes longer than two minutes is
// killed and fails the test instead of hanging it.
#pragma once

#include <string>
#include <vector>

namespace support {

enum class ErrorOutput { Pipe, Terminal };

struct ToolRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

ToolRun runTool(const std::vector<std::string>& arguments, ErrorOutput errorOutput = ErrorOutput::Pipe);

} // namespace support
