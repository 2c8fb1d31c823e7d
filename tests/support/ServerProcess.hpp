// ServerProcess: a server program installed on the system, started by a test
// on 127.0.0.1 with a configuration of its own, and stopped with it. The
// building block of NginxServer, SquidProxy and HttpbinServer.
//
//   support::ScratchDirectory directory;            // removed with everything in it
//   support::writeFile(directory.path() / "x.conf", "...");
//   support::ServerProcess server({"/usr/sbin/prog", "-c", "x.conf"}, {port}, directory.path() / "prog.log");
//
// The constructor returns once every port accepts connections; it throws
// std::runtime_error with the program's output when the program exits first
// or does not listen within 30 seconds. The destructor sends SIGTERM, and
// SIGKILL when the program has not exited 10 seconds later.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace support {

// A fresh directory under the system's temporary directory, removed with its
// contents when the object goes.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return directory; }

private:
    std::filesystem::path directory;
};

void writeFile(const std::filesystem::path& file, const std::string& contents);
// The whole file; "" when it does not exist.
std::string readFile(const std::filesystem::path& file);

class ServerProcess {
public:
    // Runs program (argv[0], an absolute path) with its output appended to log.
    ServerProcess(const std::vector<std::string>& argv, const std::vector<int>& ports, std::filesystem::path log);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

private:
    void stop() noexcept;

    pid_t pid = -1;
    std::filesystem::path log;
};

// Calls start with count ports of 127.0.0.1 that were free a moment ago. As
// another process may take one in between, start is called again with fresh
// ports when it throws, up to three times in all; the last error propagates.
void onFreePorts(std::size_t count, const std::function<void(const std::vector<int>&)>& start);

// Calls ready until it returns true; false when 60 seconds pass first.
bool eventually(const std::function<bool()>& ready);

} // namespace support
