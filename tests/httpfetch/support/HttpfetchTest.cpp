#include "support/HttpfetchTest.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
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
struct Descriptor {
    explicit Descriptor(int descriptor) : fd(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { close(); }
    void close()
    {
        if (fd >= 0) {
            ::close(std::exchange(fd, -1));
        }
    }

    int fd;
};

// The parent's end and the child's end of a pipe or of a pseudo-terminal.
std::pair<Descriptor, Descriptor> makeChannel(ErrorOutput kind)
{
    if (kind == ErrorOutput::Pipe) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throwSystemError("pipe2");
        }
        return {Descriptor(ends[0]), Descriptor(ends[1])};
    }
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (master.fd < 0 || grantpt(master.fd) != 0 || unlockpt(master.fd) != 0) {
        throwSystemError("posix_openpt");
    }
    Descriptor slave(::open(ptsname(master.fd), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (slave.fd < 0) {
        throwSystemError("open pseudo-terminal");
    }
    return {std::move(master), std::move(slave)};
}

// Reads both descriptors until each reaches its end (a terminal whose other
// side closed reports EIO instead). False when the deadline came first.
bool drain(const std::array<int, 2>& descriptors, const std::array<std::string*, 2>& targets,
           Clock::time_point deadline)
{
    std::array<pollfd, 2> polled{{{descriptors[0], POLLIN, 0}, {descriptors[1], POLLIN, 0}}};
    for (int open = 2; open > 0;) {
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

// The exit status, or -1 for a process killed at the deadline or by a signal,
// and the child's peak resident set.
int reap(pid_t child, Clock::time_point deadline, long& peakKiB)
{
    int status = 0;
    rusage usage{};
    while (wait4(child, &status, WNOHANG, &usage) == 0) {
        if (Clock::now() >= deadline) {
            kill(child, SIGKILL);
            wait4(child, &status, 0, &usage);
            ADD_FAILURE() << "httpfetch ran longer than the limit and was killed";
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    peakKiB = usage.ru_maxrss;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

HttpfetchTest::HttpfetchTest()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "httpfetch-test-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) {
        throwSystemError("mkstemp");
    }
    ::close(descriptor);
    file = pattern;
}

HttpfetchTest::~HttpfetchTest()
{
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

ToolRun HttpfetchTest::runTool(const std::vector<std::string>& arguments, ErrorOutput errorOutput)
{
    auto out = makeChannel(ErrorOutput::Pipe);
    auto err = makeChannel(errorOutput);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.second.fd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.second.fd, STDERR_FILENO);

    std::vector<std::string> words{HTTPFETCH_PATH};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    pid_t child = 0;
    const int error = posix_spawn(&child, HTTPFETCH_PATH, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        ADD_FAILURE() << "cannot start " << HTTPFETCH_PATH << ": " << std::generic_category().message(error);
        return {};
    }
    out.second.close();
    err.second.close();

    const auto deadline = Clock::now() + runLimit;
    ToolRun run;
    if (!drain({out.first.fd, err.first.fd}, {&run.out, &run.err}, deadline)) {
        kill(child, SIGKILL);
    }
    run.exitCode = reap(child, deadline, run.peakKiB);
    return run;
}

std::string HttpfetchTest::contents() const
{
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace support
