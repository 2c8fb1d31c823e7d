#include "support/ToolProcess.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

extern char** environ;

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::minutes runLimit{2};

[[noreturn]] void throwSystemError(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// Owns one file descriptor and closes it.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { close(); }

    int get() const { return descriptor; }
    void close()
    {
        if (descriptor >= 0) {
            ::close(descriptor);
            descriptor = -1;
        }
    }

private:
    int descriptor;
};

// The parent's end and the child's end of a channel.
struct Channel {
    Descriptor parent;
    Descriptor child;
};

Channel makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throwSystemError("pipe2");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Channel makeTerminal()
{
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (master.get() < 0 || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0) {
        throwSystemError("posix_openpt");
    }
    Descriptor slave(::open(ptsname(master.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (slave.get() < 0) {
        throwSystemError("open pseudo-terminal");
    }
    return {std::move(master), std::move(slave)};
}

class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }

    posix_spawn_file_actions_t* get() { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

// Reads both descriptors until each reaches its end (a terminal whose other
// side closed reports EIO instead). False when the deadline came first.
bool drain(int outDescriptor, std::string& out, int errDescriptor, std::string& err, Clock::time_point deadline)
{
    std::array<pollfd, 2> polled{{{outDescriptor, POLLIN, 0}, {errDescriptor, POLLIN, 0}}};
    const std::array<std::string*, 2> targets{&out, &err};
    int open = 2;
    while (open > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return false;
        }
        if (poll(polled.data(), polled.size(), static_cast<int>(left.count())) < 0 && errno != EINTR) {
            throwSystemError("poll");
        }
        for (std::size_t i = 0; i < polled.size(); ++i) {
            if (polled[i].fd < 0 || polled[i].revents == 0) {
                continue;
            }
            std::array<char, 65536> buffer{};
            const auto count = ::read(polled[i].fd, buffer.data(), buffer.size());
            if (count > 0) {
                targets[i]->append(buffer.data(), static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                polled[i].fd = -1;
                --open;
            }
        }
    }
    return true;
}

// The exit status, or -1 for a process killed at the deadline or by a signal.
int reap(pid_t child, Clock::time_point deadline)
{
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (Clock::now() >= deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            ADD_FAILURE() << "httpfetch ran longer than the limit and was killed";
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

ToolRun runTool(const std::vector<std::string>& arguments, ErrorOutput errorOutput)
{
    Channel out = makePipe();
    Channel err = errorOutput == ErrorOutput::Terminal ? makeTerminal() : makePipe();
    FileActions actions;
    posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(actions.get(), out.child.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions.get(), err.child.get(), STDERR_FILENO);

    std::vector<std::string> words{HTTPFETCH_PATH};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    pid_t child = 0;
    if (const int error = posix_spawn(&child, HTTPFETCH_PATH, actions.get(), nullptr, argv.data(), environ)) {
        ADD_FAILURE() << "cannot start " << HTTPFETCH_PATH << ": " << std::generic_category().message(error);
        return {};
    }
    out.child.close();
    err.child.close();

    const auto deadline = Clock::now() + runLimit;
    ToolRun run;
    if (!drain(out.parent.get(), run.out, err.parent.get(), run.err, deadline)) {
        kill(child, SIGKILL);
    }
    run.exitCode = reap(child, deadline);
    return run;
}

} // namespace support
