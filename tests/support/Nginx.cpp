#include "support/Nginx.hpp"

#include "support/LoopbackAddress.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

extern char** environ;

namespace support {

namespace {

// A port the system just handed out and took back; nginx binds it right after.
int freePort()
{
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot bind a socket to 127.0.0.1");
    }
    ::close(socket);
    return ntohs(address.sin_port);
}

bool accepts(int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const bool connected = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

} // namespace

Nginx::Nginx()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "httpclient-nginx-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a scratch directory");
    }
    directory = pattern;
    std::filesystem::create_directories(directory / "www");
    std::filesystem::create_directories(directory / "temp");
    // nginx started by root serves as an unprivileged user.
    for (const auto& path : {directory, directory / "www"}) {
        std::filesystem::permissions(path, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                                               std::filesystem::perms::group_exec |
                                               std::filesystem::perms::others_read |
                                               std::filesystem::perms::others_exec);
    }
    for (int tries = 0; tries < 5; ++tries) {
        if (start(freePort())) {
            return;
        }
    }
    std::filesystem::remove_all(directory);
    throw std::runtime_error("nginx did not start; see its error log");
}

Nginx::~Nginx()
{
    stop();
    std::filesystem::remove_all(directory);
}

std::string Nginx::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(listening) + path;
}

void Nginx::putFile(const std::string& name, const std::string& bytes) const
{
    const auto scratch = directory / (name + ".new");
    {
        std::ofstream file(scratch, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::filesystem::permissions(scratch, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                                              std::filesystem::perms::group_read | std::filesystem::perms::others_read);
    std::filesystem::rename(scratch, directory / "www" / name);
}

bool Nginx::start(int candidate)
{
    const std::string root = directory.string();
    const std::string temp = root + "/temp";
    {
        std::ofstream config(directory / "nginx.conf");
        config << "daemon off;\nmaster_process off;\nerror_log " << root << "/error.log;\npid " << root
               << "/nginx.pid;\nevents { worker_connections 512; }\nhttp {\n  access_log off;\n  keepalive_timeout 0;\n"
               << "  client_body_temp_path " << temp << ";\n  proxy_temp_path " << temp << ";\n"
               << "  fastcgi_temp_path " << temp << ";\n  uwsgi_temp_path " << temp << ";\n"
               << "  scgi_temp_path " << temp << ";\n  server {\n    listen 127.0.0.1:" << candidate << ";\n    root "
               << root << "/www;\n  }\n}\n";
    }
    const std::string errorLog = root + "/error.log";
    const std::string configFile = root + "/nginx.conf";
    std::vector<std::string> arguments = {"/usr/sbin/nginx", "-e", errorLog, "-p", root, "-c", configFile};
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (::posix_spawn(&process, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
        process = -1;
        return false;
    }
    // nginx writes its pid file once it holds its port.
    for (int waited = 0; waited < 3000; ++waited) {
        if (std::filesystem::exists(directory / "nginx.pid") && accepts(candidate)) {
            listening = candidate;
            return true;
        }
        int status = 0;
        if (::waitpid(process, &status, WNOHANG) == process) {
            process = -1;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    stop();
    return false;
}

void Nginx::stop()
{
    if (process > 0) {
        ::kill(process, SIGTERM);
        int status = 0;
        ::waitpid(process, &status, 0);
        process = -1;
    }
}

} // namespace support
