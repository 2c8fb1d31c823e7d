// LoopbackServer: an in-process HTTP (or HTTPS) server on 127.0.0.1 and an
// ephemeral port, with one named route per behaviour a client must cope with.
// It records every request it receives. Serves the curl client's tests and
// httpfetch's.
//
//   support::LoopbackServer server;
//   client.makeRequest(support::get(server.url("/fail-once-then-ok")));
//   server.seen("/fail-once-then-ok").size();   // 2
//
// Routes:
// Every route answers GET, HEAD, POST, PUT, DELETE and PATCH alike.
//   /echo                  replies "<METHOD> <body>"
//   /status/<code>         replies that status, body "status <code>"
//   /fail-once-then-ok     503 without a body first, then 200 "ok"
//   /payload               200 with payload() as body
//   /repeat?times=<n>      200 with payload() n times over, streamed
//   /cut-midway            first reply cut after half of payload(); then honours "Range: bytes=N-" with a 206
//   /cut-then-full         first reply cut; then ignores Range and sends all of payload() with a 200
//   /cut-then-416          first reply cut; then 416 to a ranged request, 200 with payload() otherwise
//   /cut-then-short        first reply cut; then 200 "short"
//   /redirect/<n>          302 to /redirect/<n-1>; /redirect/0 replies 200 "landed"
//   /redirect-loop         302 to itself
//   /redirect-to?url=<u>   302 to u
//   /set-cookie?c=<c>...   200 with one "Set-Cookie: <c>" per c
//   /stall                 200 headers and one byte, then nothing until the server stops
//   /burst-then-stall      200 and 2 MiB at once, then nothing until the server stops
//   /trickle               200 and a byte every 100 ms until the server stops
// Every cut reply announces "Accept-Ranges: bytes" and the payload's full length.
#pragma once

#include <httpclient_core/HttpHeaders.hpp>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The server's own header stays out of the tests: it drags in <resolv.h>,
// whose DELETE macro would rename HttpMethod::DELETE.
namespace httplib {
class Request;
class Response;
class Server;
} // namespace httplib

namespace support {

// One part of a multipart/form-data body, as the server parsed it.
struct FormPart {
    std::string name;
    std::string fileName;
    std::string type;
    std::string content;
};

// What the server saw of one request.
struct SeenRequest {
    std::string method;
    // Path and query exactly as sent.
    std::string target;
    foundation::httpclient_core::HttpHeaders headers;
    std::string body;
    // The client's port: equal ports mean one kept-alive connection.
    int remotePort;
    // A multipart/form-data body parsed into its parts by name (body is then
    // empty).
    std::vector<FormPart> parts;

    // The first header of that name; "" when absent.
    std::string header(const std::string& name) const;
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
    // The requests to that path (without query), oldest first.
    std::vector<SeenRequest> seen(const std::string& path) const;
    // Waits until count requests to path have arrived; false after 60 seconds.
    bool waitForRequests(const std::string& path, std::size_t count) const;

    // 64 KiB of deterministic, non-repeating bytes holding every byte value.
    static const std::string& payload();

private:
    // A route's handler also learns how many requests to its path came before.
    using Handler = std::function<void(const httplib::Request&, httplib::Response&, std::size_t earlier)>;

    void start();
    void route(const std::string& pattern, Handler handler);

    std::string scheme;
    std::unique_ptr<httplib::Server> server;
    int port = 0;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::map<std::string, std::vector<SeenRequest>> requests;
    bool released = false;
    std::thread listener;
};

// A port on 127.0.0.1 on which nothing listens.
int closedPort();

// Listens on 127.0.0.1 but never accepts, with its backlog filled, so that a
// further connection attempt is never answered.
class UnansweredListener {
public:
    UnansweredListener();
    ~UnansweredListener();
    UnansweredListener(const UnansweredListener&) = delete;
    UnansweredListener& operator=(const UnansweredListener&) = delete;

    int port = 0;

private:
    int listener = -1;
    int fillers[4] = {};
};

// FNV-1a, so that large bodies are compared without printing them.
std::uint64_t fingerprint(const std::string& bytes);

} // namespace support
