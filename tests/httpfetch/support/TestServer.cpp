#include "support/TestServer.hpp"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace support {

namespace {

const char* const host = "127.0.0.1";
constexpr std::chrono::seconds startLimit{30};

// Serves body in chunks and cuts the connection once `end` bytes are sent.
httplib::ContentProvider cutAt(std::string body, std::size_t end)
{
    return [body = std::move(body), end](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        if (offset >= end) {
            return false;
        }
        return sink.write(body.data() + offset, std::min({std::size_t{8192}, length, end - offset}));
    };
}

} // namespace

std::string ReceivedRequest::header(const std::string& name) const
{
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

TestServer::TestServer()
{
    addRoutes();
    port = server.bind_to_any_port(host);
    if (port < 0) {
        throw std::runtime_error("the test server cannot bind 127.0.0.1");
    }
    listener = std::thread([this] { server.listen_after_bind(); });
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    while (!server.is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

TestServer::~TestServer()
{
    server.stop();
    listener.join();
}

std::string TestServer::url(const std::string& path) const
{
    return std::string("http://") + host + ":" + std::to_string(port) + path;
}

std::vector<ReceivedRequest> TestServer::received() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return requests;
}

std::string TestServer::resumableBody()
{
    std::string body(resumableSize, '\0');
    for (std::size_t i = 0; i < body.size(); ++i) {
        body[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
    }
    return body;
}

std::string TestServer::everyByte()
{
    std::string bytes;
    for (int round = 0; round < 1024; ++round) {
        for (int value = 0; value < 256; ++value) {
            bytes.push_back(static_cast<char>(value));
        }
    }
    return bytes;
}

int TestServer::hits(const std::string& path) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(std::count_if(requests.begin(), requests.end(), [&](const ReceivedRequest& request) {
        return request.target.compare(0, path.size(), path) == 0;
    }));
}

void TestServer::addRoutes()
{
    const auto recorded = [this](httplib::Server::Handler handler) {
        return [this, handler = std::move(handler)](const httplib::Request& request, httplib::Response& response) {
            {
                const std::lock_guard<std::mutex> lock(mutex);
                requests.push_back({request.method, request.target, request.headers, request.body});
            }
            handler(request, response);
        };
    };
    server.Get("/hello", recorded([](const httplib::Request&, httplib::Response& response) {
                   response.set_header("X-Served-By", "test-server");
                   response.set_content("hello, world\n", "text/plain");
               }));
    const auto echo = [](const httplib::Request&, httplib::Response& response) {
        response.set_content("ok", "text/plain");
    };
    server.Get("/echo", recorded(echo));
    server.Post("/echo", recorded(echo));
    server.Put("/echo", recorded(echo));
    server.Patch("/echo", recorded(echo));
    server.Delete("/echo", recorded(echo));
    server.Get("/missing", recorded([](const httplib::Request&, httplib::Response& response) {
                   response.status = 404;
                   response.set_content("no such thing\n", "text/plain");
               }));
    server.Get("/redirect",
               recorded([](const httplib::Request&, httplib::Response& response) { response.set_redirect("/hello"); }));
    server.Get("/bytes", recorded([](const httplib::Request&, httplib::Response& response) {
                   response.set_content(everyByte(), "application/octet-stream");
               }));
    const auto busyThenOk = [this](const httplib::Request&, httplib::Response& response) {
        if (hits("/busy-then-ok") == 1) {
            response.status = 503;
            response.set_content("busy\n", "text/plain");
        } else {
            response.set_content("finally\n", "text/plain");
        }
    };
    server.Get("/busy-then-ok", recorded(busyThenOk));
    server.Post("/busy-then-ok", recorded(busyThenOk));
    // cpp-httplib answers a "Range: bytes=N-" request with a 206 by itself.
    server.Get("/cut-then-resume", recorded([this](const httplib::Request&, httplib::Response& response) {
                   const std::size_t end = hits("/cut-then-resume") == 1 ? resumableCut : resumableSize;
                   response.set_header("Accept-Ranges", "bytes");
                   response.set_content_provider(resumableSize, "application/octet-stream",
                                                 cutAt(resumableBody(), end));
               }));
    server.Get("/long-cut-then-short", recorded([this](const httplib::Request&, httplib::Response& response) {
                   if (hits("/long-cut-then-short") == 1) {
                       response.set_content_provider(100000, "text/plain", cutAt(std::string(100000, 'a'), 50000));
                   } else {
                       response.set_content(std::string(1000, 'b'), "text/plain");
                   }
               }));
}

int closedPort()
{
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    const bool bound = bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                       getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    close(probe);
    if (!bound) {
        throw std::runtime_error("no free port on 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

} // namespace support
