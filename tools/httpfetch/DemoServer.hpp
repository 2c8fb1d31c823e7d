// DemoServer: the loopback server of httpfetch --demo. It serves one
// generated file of 32 MiB of deterministic pseudo-random bytes and
// misbehaves on purpose:
//
//   request 1:   503 Service Unavailable
//   request 2:   200 with "Accept-Ranges: bytes", connection cut after 40 % of the body
//   request 3+:  the file, honouring "Range: bytes=N-" with a 206
//
//   DemoServer server;                       // listening on 127.0.0.1, ephemeral port
//   server.url();                            // "http://127.0.0.1:41234/demo.bin"
//   fnv1a64(body) == server.checksum();      // for a body received whole
#pragma once

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

namespace httpfetch {

// The 64-bit FNV-1a hash of the bytes.
std::uint64_t fnv1a64(std::string_view bytes);

class DemoServer {
public:
    // Generates the file, binds 127.0.0.1 on an ephemeral port and serves on
    // a thread of its own. Throws std::runtime_error "the demo server could
    // not listen on 127.0.0.1" when the bind fails.
    DemoServer();
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;
    // Stops serving and joins the thread.
    ~DemoServer();

    std::string url() const;
    std::size_t size() const;
    // fnv1a64 of the file, computed when it was generated.
    std::uint64_t checksum() const;

private:
    void serve(const httplib::Request& request, httplib::Response& response);

    const std::string file;
    const std::uint64_t fileChecksum;
    std::atomic<int> requests{0};
    httplib::Server server;
    int port = -1;
    std::thread listener;
};

} // namespace httpfetch
