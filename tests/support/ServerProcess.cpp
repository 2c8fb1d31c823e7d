#include "support/ServerProcess.hpp"

#include "support/LoopbackAddress.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

extern char** environ;

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto startPatience = std::chrono::seconds(30);
constexpr auto stopPatience = std::chrono::seconds(10);
constexpr auto waitPatience = std::chrono::seconds(60);
constexpr auto pollStep = std::chrono::milliseconds(20);

bool accepts(int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool connected = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

// Bound together, then released: the kernel hands out ports in sequence, so
// none of them goes to anybody else soon.
std::vector<int> freePorts(std::size_t count)
{
    std::vector<int> sockets;
    std::vector<int> ports;
    for (std::size_t i = 0; i < count; ++i) {
        sockets.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        if (::bind(sockets.back(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::getsockname(sockets.back(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            break;
        }
        ports.push_back(ntohs(address.sin_port));
    }
    for (const int socket : sockets) {
        ::close(socket);
    }
    if (ports.size() != count) {
        throw std::runtime_error("no free port on 127.0.0.1");
    }
    return ports;
}

// True once the child has exited (and was reaped).
bool exited(pid_t pid)
{
    int status = 0;
    return ::waitpid(pid, &status, WNOHANG) == pid;
}

} // namespace

ScratchDirectory::ScratchDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "httpclient-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make a scratch directory");
    }
    directory = pattern;
}

ScratchDirectory::~ScratchDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void writeFile(const std::filesystem::path& file, const std::string& contents)
{
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    if (!stream.write(contents.data(), static_cast<std::streamsize>(contents.size())).flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

std::string readFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

ServerProcess::ServerProcess(const std::vector<std::string>& argv, const std::vector<int>& ports,
                             std::filesystem::path log)
    : log(std::move(log))
{
    std::vector<char*> arguments;
    for (const auto& argument : argv) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, this->log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    const int error = ::posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start " + argv[0]);
    }
    const auto deadline = Clock::now() + startPatience;
    for (const int port : ports) {
        while (!accepts(port)) {
            if (exited(pid)) {
                pid = -1;
                throw std::runtime_error(argv[0] + " exited before it listened:\n" + readFile(this->log));
            }
            if (Clock::now() > deadline) {
                stop();
                throw std::runtime_error(argv[0] + " did not listen on port " + std::to_string(port) + ":\n" +
                                         readFile(this->log));
            }
            std::this_thread::sleep_for(pollStep);
        }
    }
}

ServerProcess::~ServerProcess()
{
    stop();
}

void ServerProcess::stop() noexcept
{
    if (pid <= 0) {
        return;
    }
    ::kill(pid, SIGTERM);
    const auto deadline = Clock::now() + stopPatience;
    while (!exited(pid)) {
        if (Clock::now() > deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
            break;
        }
        std::this_thread::sleep_for(pollStep);
    }
    pid = -1;
}

void onFreePorts(std::size_t count, const std::function<void(const std::vector<int>&)>& start)
{
    for (int attempt = 1;; ++attempt) {
        try {
            start(freePorts(count));
            return;
        } catch (const std::runtime_error&) {
            if (attempt == 3) {
                throw;
            }
        }
    }
}

bool eventually(const std::function<bool()>& ready)
{
    const auto deadline = Clock::now() + waitPatience;
    while (!ready()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(pollStep);
    }
    return true;
}

} // namespace support
