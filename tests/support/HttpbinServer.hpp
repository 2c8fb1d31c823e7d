// HttpbinServer: the httpbin test service from the system (python3-httpbin,
// run by the system's /usr/bin/python3) on 127.0.0.1. Its routes echo what
// they received as JSON: /anything (method, body, headers, query),
// /redirect-to?url=<u>&status_code=<code>, and the rest of httpbin's set.
//
//   support::HttpbinServer httpbin;
//   client.makeRequest(get(httpbin.url("/anything?x=1")));
#pragma once

#include "support/ServerProcess.hpp"

#include <memory>
#include <string>

namespace support {

class HttpbinServer {
public:
    HttpbinServer();

    // "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;

private:
    ScratchDirectory directory;
    int port = 0;
    std::unique_ptr<ServerProcess> process;
};

} // namespace support
