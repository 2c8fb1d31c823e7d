#include "support/HttpbinServer.hpp"

namespace support {

HttpbinServer::HttpbinServer()
{
    onFreePorts(1, [&](const std::vector<int>& ports) {
        port = ports[0];
        process =
            std::make_unique<ServerProcess>(std::vector<std::string>{"/usr/bin/python3", "-m", "httpbin.core", "--host",
                                                                     "127.0.0.1", "--port", std::to_string(port)},
                                            ports, directory.path() / "httpbin.out");
    });
}

std::string HttpbinServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

} // namespace support
