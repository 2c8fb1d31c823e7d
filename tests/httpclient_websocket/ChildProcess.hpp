// ChildProcess: a peer program a test starts, reads the standard output of,
// and ends (SIGTERM, then waits) when it goes out of scope.
//
//   ChildProcess peer({"/usr/bin/python3", "peer.py"});
//   peer.readLine();   // "port 41234", or nothing after 20 s
#pragma once

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

class ChildProcess {
public:
    explicit ChildProcess(const std::vector<std::string>& command)
    {
        int fds[2];
        if (::pipe(fds) != 0) {
            throw std::runtime_error("pipe failed");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        std::vector<char*> argv;
        for (const auto& argument : command) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        output = fds[0];
        if (failed != 0) {
            ::close(output);
            throw std::runtime_error("cannot start " + command[0]);
        }
    }

    ~ChildProcess()
    {
        stop();
        ::close(output);
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The next line of its standard output, without the newline; nothing when
    // none came within the bound or the output ended.
    std::optional<std::string> readLine(std::chrono::seconds bound = std::chrono::seconds(20))
    {
        const auto deadline = std::chrono::steady_clock::now() + bound;
        for (;;) {
            const auto end = pending.find('\n');
            if (end != std::string::npos) {
                std::string line = pending.substr(0, end);
                pending.erase(0, end + 1);
                return line;
            }
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd entry{output, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&entry, 1, static_cast<int>(left.count())) <= 0) {
                return std::nullopt;
            }
            char buffer[4096];
            const auto size = ::read(output, buffer, sizeof buffer);
            if (size <= 0) {
                return std::nullopt;
            }
            pending.append(buffer, static_cast<std::size_t>(size));
        }
    }

    // Ends the process and waits for it.
    void stop()
    {
        if (pid > 0) {
            ::kill(pid, SIGTERM);
            int status = 0;
            ::waitpid(pid, &status, 0);
            pid = -1;
        }
    }

private:
    pid_t pid = -1;
    int output = -1;
    std::string pending;
};
