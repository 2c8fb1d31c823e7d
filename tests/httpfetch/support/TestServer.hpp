// A cpp-httplib server on 127.0.0.1 and an ephemeral port, serving on a
// thread of its own, with one named route per behaviour the tests need:
//
//   /hello             200 "hello, world\n", with "X-Served-By: test-server"
//   /echo              200 "ok" for any method; the test reads what arrived
//   /missing           404 "no such thing\n"
//   /redirect          302 to /hello
//   /bytes             200 with every byte value 0 to 255, 1024 times over
//   /busy-then-ok      503 the first time, then 200 "finally\n"
//   /cut-then-resume   256 KiB with "Accept-Ranges: bytes", cut at byte 100000
//                      the first time; later honours "Range: bytes=N-" with a 206
//   /long-cut-then-short
//                      100000 bytes of 'a' cut at byte 50000 the first time
//                      (no byte ranges), then 1000 bytes of 'b'
//
// Every request is recorded before its reply is sent.
#pragma once

#include <httplib.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

struct ReceivedRequest {
    std::string method;
    std::string target; // path and query exactly as sent
    httplib::Headers headers;
    std::string body;

    std::string header(const std::string& name) const;
};

class TestServer {
public:
    static constexpr std::size_t resumableSize = std::size_t{256} * 1024;
    static constexpr std::size_t resumableCut = 100000;

    TestServer();
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;
    ~TestServer();

    std::string url(const std::string& path) const;
    // The requests received so far, oldest first.
    std::vector<ReceivedRequest> received() const;
    // The bytes /cut-then-resume serves, and /bytes.
    static std::string resumableBody();
    static std::string everyByte();

private:
    void addRoutes();
    int hits(const std::string& path) const;

    httplib::Server server;
    int port = -1;
    mutable std::mutex mutex;
    std::vector<ReceivedRequest> requests;
    std::thread listener;
};

// A port on 127.0.0.1 on which nothing listens.
int closedPort();

} // namespace support
