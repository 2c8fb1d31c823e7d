#include "support/LoopbackServer.hpp"

#include <httplib.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

namespace support {

namespace {

using httplib::Request;
using httplib::Response;

constexpr auto patience = std::chrono::seconds(60);
constexpr std::size_t burstSize = std::size_t{2} * 1024 * 1024;

// N of "Range: bytes=N-".
std::optional<std::size_t> rangeStart(const Request& request)
{
    const std::string value = request.get_header_value("Range");
    if (value.rfind("bytes=", 0) != 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::stoull(value.substr(6)));
}

// Announces the whole payload, sends its first half, then drops the connection.
void cutReply(Response& response)
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

void partialReply(Response& response, std::size_t from)
{
    const std::string& payload = LoopbackServer::payload();
    response.status = 206;
    response.set_header("Accept-Ranges", "bytes");
    response.set_header("Content-Range", "bytes " + std::to_string(from) + "-" + std::to_string(payload.size() - 1) +
                                             "/" + std::to_string(payload.size()));
    response.set_content(payload.substr(from), "application/octet-stream");
}

void fullReply(Response& response)
{
    response.set_header("Accept-Ranges", "bytes");
    response.set_content(LoopbackServer::payload(), "application/octet-stream");
}

int boundSocket(sockaddr_in& address)
{
    address = sockaddr_in{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    socklen_t length = sizeof address;
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot bind a socket to 127.0.0.1");
    }
    return socket;
}

} // namespace

std::string SeenRequest::header(const std::string& name) const
{
    return headers.hasHeader(name) ? headers.getHeaderValue(name) : std::string();
}

LoopbackServer::LoopbackServer() : scheme("http"), server(std::make_unique<httplib::Server>())
{
    start();
}

LoopbackServer::LoopbackServer(const std::string& certificateFile, const std::string& keyFile)
    : scheme("https"),
      server(std::make_unique<httplib::SSLServer>(certificateFile.c_str(), keyFile.c_str()))
{
    if (!server->is_valid()) {
        throw std::runtime_error("the HTTPS test server rejected " + certificateFile + " or " + keyFile);
    }
    start();
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

// Every route answers every method. The request is recorded before the
// handler replies. The routes answer ranges themselves, so the server's own
// range handling is switched off by emptying its parsed ranges.
void LoopbackServer::route(const std::string& pattern, Handler handler)
{
    const auto recorded = [this, handler = std::move(handler)](const Request& request, Response& response) {
        const_cast<Request&>(request).ranges.clear();
        std::size_t earlier = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            auto& list = requests[request.path];
            earlier = list.size();
            SeenRequest seen{request.method, request.target, {}, request.body, request.remote_port, {}};
            for (const auto& [name, value] : request.headers) {
                seen.headers.addHeaderValue(name, value);
            }
            for (const auto& [name, part] : request.files) {
                seen.parts.push_back({part.name, part.filename, part.content_type, part.content});
            }
            list.push_back(std::move(seen));
        }
        changed.notify_all();
        handler(request, response, earlier);
    };
    server->Get(pattern, recorded).Post(pattern, recorded).Put(pattern, recorded).Delete(pattern, recorded);
    server->Patch(pattern, recorded);
}

void LoopbackServer::start()
{
    // Enough workers for every connection a client keeps alive during a test.
    server->new_task_queue = [] { return new httplib::ThreadPool(32); };
    server->set_keep_alive_timeout(1);
    // Headers and body leave in separate writes; without this each reply waits for a delayed ACK.
    server->set_tcp_nodelay(true);

    route("/echo", [](const Request& request, Response& response, std::size_t) {
        response.set_content(request.method + " " + request.body, "text/plain");
    });
    route(R"(/status/(\d+))", [](const Request& request, Response& response, std::size_t) {
        response.status = std::stoi(request.matches[1]);
        response.set_content("status " + std::string(request.matches[1]), "text/plain");
    });
    route("/fail-once-then-ok", [](const Request&, Response& response, std::size_t earlier) {
        if (earlier == 0) {
            response.status = 503;
        } else {
            response.set_content("ok", "text/plain");
        }
    });
    route("/payload", [](const Request&, Response& response, std::size_t) {
        response.set_content(payload(), "application/octet-stream");
    });
    route("/repeat", [](const Request& request, Response& response, std::size_t) {
        const auto size = payload().size() * std::stoul(request.get_param_value("times"));
        response.set_content_provider(size, "application/octet-stream",
                                      [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                          const auto start = offset % payload().size();
                                          return sink.write(payload().data() + start, payload().size() - start);
                                      });
    });

    // The cut routes: the first reply is cut, the later ones behave as named.
    const auto cutFirst = [this](const std::string& path, Handler later) {
        route(path, [later](const Request& request, Response& response, std::size_t earlier) {
            if (earlier == 0) {
                cutReply(response);
            } else {
                later(request, response, earlier);
            }
        });
    };
    cutFirst("/cut-midway", [](const Request& request, Response& response, std::size_t) {
        const auto range = rangeStart(request);
        if (range) {
            partialReply(response, *range);
        } else {
            fullReply(response);
        }
    });
    cutFirst("/cut-then-full", [](const Request&, Response& response, std::size_t) { fullReply(response); });
    cutFirst("/cut-then-416", [](const Request& request, Response& response, std::size_t) {
        if (rangeStart(request)) {
            response.status = 416;
            response.set_header("Content-Range", "bytes */" + std::to_string(payload().size()));
        } else {
            fullReply(response);
        }
    });
    cutFirst("/cut-then-short",
             [](const Request&, Response& response, std::size_t) { response.set_content("short", "text/plain"); });

    route(R"(/redirect/(\d+))", [](const Request& request, Response& response, std::size_t) {
        const int left = std::stoi(request.matches[1]);
        if (left == 0) {
            response.set_content("landed", "text/plain");
        } else {
            response.set_redirect("/redirect/" + std::to_string(left - 1));
        }
    });
    route("/redirect-loop",
          [](const Request&, Response& response, std::size_t) { response.set_redirect("/redirect-loop"); });
    route("/redirect-to", [](const Request& request, Response& response, std::size_t) {
        response.set_redirect(request.get_param_value("url"));
    });
    route("/set-cookie", [](const Request& request, Response& response, std::size_t) {
        for (std::size_t i = 0; i < request.get_param_value_count("c"); ++i) {
            response.set_header("Set-Cookie", request.get_param_value("c", i));
        }
        response.set_content("cookies set", "text/plain");
    });
    route("/stall", [this](const Request&, Response& response, std::size_t) {
        response.set_chunked_content_provider("text/plain", [this](std::size_t, httplib::DataSink& sink) {
            sink.write("x", 1);
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return released; });
            return false;
        });
    });

    route("/burst-then-stall", [this](const Request&, Response& response, std::size_t) {
        response.set_chunked_content_provider("application/octet-stream",
                                              [this](std::size_t offset, httplib::DataSink& sink) {
                                                  if (offset < burstSize) {
                                                      return sink.write(payload().data(), payload().size());
                                                  }
                                                  std::unique_lock<std::mutex> lock(mutex);
                                                  changed.wait(lock, [this] { return released; });
                                                  return false;
                                              });
    });
    route("/trickle", [this](const Request&, Response& response, std::size_t) {
        response.set_chunked_content_provider("text/plain", [this](std::size_t, httplib::DataSink& sink) {
            sink.write("x", 1);
            std::unique_lock<std::mutex> lock(mutex);
            return !changed.wait_for(lock, std::chrono::milliseconds(100), [this] { return released; });
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

int closedPort()
{
    sockaddr_in address{};
    ::close(boundSocket(address));
    return ntohs(address.sin_port);
}

UnansweredListener::UnansweredListener()
{
    sockaddr_in address{};
    listener = boundSocket(address);
    ::listen(listener, 0);
    port = ntohs(address.sin_port);
    for (int& filler : fillers) {
        filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        // Non-blocking: the attempt goes on in the background, answered or not.
        static_cast<void>(::connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof address));
    }
}

UnansweredListener::~UnansweredListener()
{
    for (const int filler : fillers) {
        ::close(filler);
    }
    ::close(listener);
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

} // namespace support
