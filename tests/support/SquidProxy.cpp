#include "support/SquidProxy.hpp"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace support {

namespace {

// Squid drops to this user when started as root; it must reach its files.
const std::string squidUser = "proxy";

std::string configuration(const std::string& base, int port, const std::string& access)
{
    return "http_port 127.0.0.1:" + std::to_string(port) + "\n" + "pid_filename " + base +
           "/squid.pid\n"
           "cache_log " +
           base +
           "/cache.log\n"
           "logformat probe %rm %ru %Ss/%>Hs\n"
           "access_log stdio:" +
           base +
           "/access.log logformat=probe\n"
           "coredump_dir " +
           base +
           "\n"
           "cache deny all\n"
           "cache_mem 8 MB\n"
           "pinger_enable off\n"
           "shutdown_lifetime 0 seconds\n"
           "cache_effective_user " +
           squidUser + "\n" + access;
}

} // namespace

SquidProxy::SquidProxy()
{
    start("http_access allow all\n");
}

SquidProxy::SquidProxy(const std::string& user, const std::string& password)
{
    const auto users = directory.path() / "users";
    if (std::system(("htpasswd -bc '" + users.string() + "' '" + user + "' '" + password + "' 2>/dev/null").c_str()) !=
        0) {
        throw std::runtime_error("htpasswd failed");
    }
    std::filesystem::permissions(users, std::filesystem::perms::others_read, std::filesystem::perm_options::add);
    start("auth_param basic program /usr/lib/squid/basic_ncsa_auth " + users.string() +
          "\n"
          "auth_param basic realm httpclient-test\n"
          "acl authenticated proxy_auth REQUIRED\n"
          "http_access allow authenticated\n"
          "http_access deny all\n");
}

void SquidProxy::start(const std::string& access)
{
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    const auto file = directory.path() / "squid.conf";
    onFreePorts(1, [&](const std::vector<int>& ports) {
        port = ports[0];
        writeFile(file, configuration(directory.path().string(), port, access));
        process =
            std::make_unique<ServerProcess>(std::vector<std::string>{"/usr/sbin/squid", "-N", "-f", file.string()},
                                            ports, directory.path() / "squid.out");
    });
}

std::string SquidProxy::address() const
{
    return "127.0.0.1:" + std::to_string(port);
}

std::string SquidProxy::url() const
{
    return "http://" + address();
}

std::vector<std::string> SquidProxy::log(std::size_t count) const
{
    std::vector<std::string> lines;
    eventually([&] {
        lines.clear();
        std::istringstream stream(readFile(directory.path() / "access.log"));
        for (std::string line; std::getline(stream, line);) {
            // Connections that never sent a request, such as the check that squid listens, log "-".
            if (line.rfind("- ", 0) != 0) {
                lines.push_back(line);
            }
        }
        return lines.size() >= count;
    });
    return lines;
}

} // namespace support
