// NginxServer: nginx from the system on 127.0.0.1, with a configuration of
// its own, serving the files a test puts into its root over plain HTTP/1.1
// and over TLS with HTTP/2 (certificate signed by a test authority). It
// answers byte ranges, compresses with gzip when asked, and logs every
// request with the number of the connection that carried it.
//
//   support::NginxServer nginx;
//   nginx.putFile("a.bin", bytes);
//   client.makeRequest(get(nginx.url("/a.bin")));       // or nginx.tlsUrl("/a.bin")
//   nginx.log(1)[0].connection;                         // "1"
//
// Keep-alive connections stay open for minutes, so every reuse shows in the log.
#pragma once

#include "support/ServerProcess.hpp"
#include "support/TestCertificates.hpp"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace support {

// One request as nginx logged it.
struct NginxLogEntry {
    // nginx's serial number of the connection.
    std::string connection;
    // "HTTP/1.1" or "HTTP/2.0".
    std::string protocol;
    std::string method;
    // Path and query as sent.
    std::string target;
    int status = 0;
    // The request's headers; "-" when absent.
    std::string userAgent;
    std::string acceptEncoding;
    std::string range;
};

class NginxServer {
public:
    NginxServer();

    // "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;
    // "https://127.0.0.1:<port><path>", HTTP/2 offered.
    std::string tlsUrl(const std::string& path) const;
    // The authority that signed the TLS certificate.
    std::filesystem::path certificateAuthority() const { return certificates.authority(); }
    // Writes a file into the served root, reachable as "/<name>".
    void putFile(const std::string& name, const std::string& contents) const;
    std::filesystem::path root() const;

    // The log once it holds at least count requests, oldest first; fewer
    // when 60 seconds pass first.
    std::vector<NginxLogEntry> log(std::size_t count) const;

private:
    ScratchDirectory directory;
    TestCertificates certificates;
    int port = 0;
    int tlsPort = 0;
    std::unique_ptr<ServerProcess> process;
};

} // namespace support
