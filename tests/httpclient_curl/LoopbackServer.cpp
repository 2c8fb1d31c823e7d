#include "LoopbackServer.hpp"

#include <httplib.h>

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

namespace foundation::httpclient_curl::testing {

namespace {

constexpr auto patience = std::chrono::seconds(60);

// N of "Range: bytes=N-". The routes answer ranges themselves, so the
// server's own range handling is switched off by emptying its parsed ranges.
std::optional<std::size_t> takeRange(const httplib::Request& request)
{
    const_cast<httplib::Request&>(request).ranges.clear();
    const std::string value = request.get_header_value("Range");
    if (value.rfind("bytes=", 0) != 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::stoull(value.substr(6)));
}

// Announces the whole payload, sends its first half, then drops the connection.
void cutReply(httplib::Response& response)
{
    response.set_header("Accept-Ranges", "bytes");
    response.set_content_provider(LoopbackServer::payload().size(), "application/octet-stream",
                                  [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                      const std::size_t half = LoopbackServer::payload().size() / 2;
                                      if (offset < half) {
                                          sink.write(LoopbackServer::payload().data() + offset, half - offset);
                                      }
                                      return false;
                                  });
}

void partialReply(httplib::Response& response, std::size_t from, std::size_t claimedFrom)
{
    const std::string& payload = LoopbackServer::payload();
    response.status = 206;
    response.set_header("Accept-Ranges", "bytes");
    response.set_header("Content-Range", "bytes " + std::to_string(claimedFrom) + "-" +
                                             std::to_string(payload.size() - 1) + "/" + std::to_string(payload.size()));
    response.set_content(payload.substr(from), "application/octet-stream");
}

void fullReply(httplib::Response& response)
{
    response.set_header("Accept-Ranges", "bytes");
    response.set_content(LoopbackServer::payload(), "application/octet-stream");
}

char foldCase(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

bool sameName(const std::string& left, const std::string& right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return foldCase(a) == foldCase(b); });
}

} // namespace

std::string SeenRequest::header(const std::string& name) const
{
    const auto found =
        std::find_if(headers.begin(), headers.end(), [&](const auto& field) { return sameName(field.first, name); });
    return found == headers.end() ? std::string() : found->second;
}

bool SeenRequest::hasHeader(const std::string& name) const
{
    return std::any_of(headers.begin(), headers.end(), [&](const auto& field) { return sameName(field.first, name); });
}

LoopbackServer::LoopbackServer() : scheme("http"), server(std::make_unique<httplib::Server>())
{
    addRoutes();
}

LoopbackServer::LoopbackServer(const std::string& certificateFile, const std::string& keyFile)
    : scheme("https"),
      server(std::make_unique<httplib::SSLServer>(certificateFile.c_str(), keyFile.c_str()))
{
    if (!server->is_valid()) {
        throw std::runtime_error("the HTTPS test server rejected " + certificateFile + " or " + keyFile);
    }
    addRoutes();
}

LoopbackServer::~LoopbackServer()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        released = true;
    }
    changed.notify_all();
    server->stop();
    listener.join();
}

std::string LoopbackServer::url(const std::string& path) const
{
    return scheme + "://127.0.0.1:" + std::to_string(port) + path;
}

std::vector<SeenRequest> LoopbackServer::seen(const std::string& path) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = requests.find(path);
    return found == requests.end() ? std::vector<SeenRequest>() : found->second;
}

bool LoopbackServer::waitForRequests(const std::string& path, std::size_t count) const
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, patience, [&] {
        const auto found = requests.find(path);
        return found != requests.end() && found->second.size() >= count;
    });
}

const std::string& LoopbackServer::payload()
{
    static const std::string bytes = [] {
        std::string text(std::size_t{64} * 1024, '\0');
        std::uint32_t state = 12345;
        for (char& byte : text) {
            state = state * 1664525U + 1013904223U;
            byte = static_cast<char>(state >> 24);
        }
        return text;
    }();
    return bytes;
}

std::size_t LoopbackServer::record(const httplib::Request& request)
{
    const std::lock_guard<std::mutex> lock(mutex);
    auto& list = requests[request.path];
    list.push_back(SeenRequest{
        request.method, {request.headers.begin(), request.headers.end()}, request.body, request.remote_port});
    changed.notify_all();
    return list.size() - 1;
}

void LoopbackServer::addRoutes()
{
    // Enough workers for every connection a client keeps alive during a test.
    server->new_task_queue = [] { return new httplib::ThreadPool(32); };
    server->set_keep_alive_timeout(1);
    // Headers and body leave in separate writes; without this each reply waits for a delayed ACK.
    server->set_tcp_nodelay(true);

    const auto echo = [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.set_content(request.method + " " + request.body, "text/plain");
    };
    server->Get("/echo", echo);
    server->Post("/echo", echo);
    server->Put("/echo", echo);
    server->Delete("/echo", echo);
    server->Patch("/echo", echo);

    server->Get(R"(/status/(\d+))", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.status = std::stoi(request.matches[1]);
        response.set_content("status " + std::string(request.matches[1]), "text/plain");
    });
    server->Get("/fail-once-then-ok", [this](const httplib::Request& request, httplib::Response& response) {
        if (record(request) == 0) {
            response.status = 503;
        } else {
            response.set_content("ok", "text/plain");
        }
    });
    server->Get("/payload", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.set_content(payload(), "application/octet-stream");
    });
    server->Get("/cut-midway", [this](const httplib::Request& request, httplib::Response& response) {
        const auto range = takeRange(request);
        if (record(request) == 0) {
            cutReply(response);
        } else if (range) {
            partialReply(response, *range, *range);
        } else {
            fullReply(response);
        }
    });
    server->Get("/cut-then-full", [this](const httplib::Request& request, httplib::Response& response) {
        takeRange(request);
        if (record(request) == 0) {
            cutReply(response);
        } else {
            fullReply(response);
        }
    });
    server->Get("/cut-then-wrong-range", [this](const httplib::Request& request, httplib::Response& response) {
        const auto range = takeRange(request);
        if (record(request) == 0) {
            cutReply(response);
        } else {
            partialReply(response, range.value_or(0), 0);
        }
    });
    server->Get("/cut-then-416", [this](const httplib::Request& request, httplib::Response& response) {
        const auto range = takeRange(request);
        if (record(request) == 0) {
            cutReply(response);
        } else if (range) {
            response.status = 416;
            response.set_header("Content-Range", "bytes */" + std::to_string(payload().size()));
        } else {
            fullReply(response);
        }
    });

    server->Get(R"(/redirect/(\d+))", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        const int left = std::stoi(request.matches[1]);
        if (left == 0) {
            response.set_content("landed", "text/plain");
        } else {
            response.set_redirect("/redirect/" + std::to_string(left - 1));
        }
    });
    server->Get("/redirect-loop", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.set_redirect("/redirect-loop");
    });
    server->Get("/redirect-to", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.set_redirect(request.get_param_value("url"));
    });

    server->Get("/stall", [this](const httplib::Request& request, httplib::Response& response) {
        record(request);
        response.set_chunked_content_provider("text/plain", [this](std::size_t, httplib::DataSink& sink) {
            sink.write("x", 1);
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return released; });
            return false;
        });
    });

    int listening = -1;
    server->set_socket_options([&listening](int socket) {
        httplib::default_socket_options(socket);
        listening = socket;
    });
    port = server->bind_to_any_port("127.0.0.1");
    if (port <= 0) {
        throw std::runtime_error("the test server could not bind to 127.0.0.1");
    }
    // The server listens with a backlog of 5; a client opening more connections
    // at once would see SYNs dropped and retried a second later.
    ::listen(listening, SOMAXCONN);
    listener = std::thread([this] { server->listen_after_bind(); });
    // stop() is ignored until the server runs, so a short test must not stop it sooner.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!server->is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::uint64_t fingerprint(const std::string& bytes)
{
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char byte : bytes) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 1099511628211ULL;
    }
    return hash;
}

} // namespace foundation::httpclient_curl::testing
