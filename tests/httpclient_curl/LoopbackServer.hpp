// LoopbackServer: an in-process HTTP (or HTTPS) server on 127.0.0.1 and an
// ephemeral port, with one named route per behaviour the client must cope
// with. It records every request it receives.
//
//   LoopbackServer server;
//   client.makeRequest(HttpRequest(HttpMethod::GET, URL{server.url("/fail-once-then-ok")}, {}));
//   server.seen("/fail-once-then-ok").size();   // 2
//
// Routes:
//   /echo                  any method; replies "<METHOD> <body>"
//   /status/<code>         replies that status, body "status <code>"
//   /fail-once-then-ok     503 without a body first, then 200 "ok"
//   /payload               200 with payload() as body
//   /cut-midway            first reply cut after half of payload(); then honours "Range: bytes=N-" with a 206
//   /cut-then-full         first reply cut; then ignores Range and sends all of payload() with a 200
//   /cut-then-wrong-range  first reply cut; then a 206 whose Content-Range starts at 0
//   /cut-then-416          first reply cut; then 416 to a ranged request, 200 with payload() otherwise
//   /redirect/<n>          302 to /redirect/<n-1>; /redirect/0 replies 200 "landed"
//   /redirect-loop         302 to itself
//   /redirect-to?url=<u>   302 to u
//   /stall                 200 headers and one byte, then nothing until the server stops
// Every cut reply announces "Accept-Ranges: bytes" and the payload's full length.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// The server's own header stays out of the tests: it drags in <resolv.h>,
// whose DELETE macro would rename HttpMethod::DELETE.
namespace httplib {
class Request;
class Server;
} // namespace httplib

namespace foundation::httpclient_curl::testing {

// What the server saw of one request.
struct SeenRequest {
    std::string method;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    // The client's port: equal ports mean one kept-alive connection.
    int remotePort;

    // The first header of that name, matched without regard to case; "" when absent.
    std::string header(const std::string& name) const;
    bool hasHeader(const std::string& name) const;
};

class LoopbackServer {
public:
    // Plain HTTP.
    LoopbackServer();
    // HTTPS with this certificate chain and key (PEM files).
    LoopbackServer(const std::string& certificateFile, const std::string& keyFile);
    // Releases stalled replies, stops, and joins the server's threads.
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    // "http://127.0.0.1:<port><path>" ("https" for the HTTPS server).
    std::string url(const std::string& path) const;
    std::vector<SeenRequest> seen(const std::string& path) const;
    // Waits until count requests to path have arrived; false after 60 seconds.
    bool waitForRequests(const std::string& path, std::size_t count) const;

    // 64 KiB of deterministic, non-repeating bytes.
    static const std::string& payload();

private:
    void addRoutes();
    // Records the request and returns how many requests to its path came before it.
    std::size_t record(const httplib::Request& request);

    std::string scheme;
    std::unique_ptr<httplib::Server> server;
    int port = 0;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::map<std::string, std::vector<SeenRequest>> requests;
    bool released = false;
    std::thread listener;
};

// FNV-1a, so that large bodies are compared without printing them.
std::uint64_t fingerprint(const std::string& bytes);

} // namespace foundation::httpclient_curl::testing
