// SquidProxy: squid from the system as a forwarding proxy on 127.0.0.1 with
// a configuration of its own. It forwards plain requests, tunnels CONNECT to
// any port, caches nothing and, when given a user, answers 407 to every
// request without that user's basic credentials (checked by squid's
// basic_ncsa_auth against a file made with htpasswd).
//
//   support::SquidProxy proxy("alice", "secret");
//   ClientConfiguration().withProxy("http://alice:secret@" + proxy.address());
//   proxy.log(1)[0];    // "CONNECT 127.0.0.1:<port> TCP_TUNNEL/200"
#pragma once

#include "support/ServerProcess.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace support {

class SquidProxy {
public:
    // Open to everybody on 127.0.0.1.
    SquidProxy();
    // Only for user with password.
    SquidProxy(const std::string& user, const std::string& password);

    // "127.0.0.1:<port>".
    std::string address() const;
    // "http://127.0.0.1:<port>".
    std::string url() const;

    // "<method> <url> <result>/<status>" per request, oldest first, once
    // at least count are logged; fewer when 60 seconds pass first.
    std::vector<std::string> log(std::size_t count) const;

private:
    void start(const std::string& access);

    ScratchDirectory directory;
    int port = 0;
    std::unique_ptr<ServerProcess> process;
};

} // namespace support
