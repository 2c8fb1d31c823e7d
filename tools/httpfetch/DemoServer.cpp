#include "DemoServer.hpp"

#include "Messages.hpp"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace httpfetch {

namespace {

constexpr std::size_t fileSize = std::size_t{32} * 1024 * 1024;
constexpr std::size_t cutPercent = 40;
constexpr std::size_t chunkSize = std::size_t{64} * 1024;
constexpr std::chrono::seconds startLimit{30};
const char* const host = "127.0.0.1";
const char* const path = "/demo.bin";

// splitmix64: a fixed seed gives the same bytes on every run.
std::uint64_t nextRandom(std::uint64_t& state)
{
    state += 0x9E3779B97F4A7C15ULL;
    std::uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9ULL;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBULL;
    return mixed ^ (mixed >> 31U);
}

std::string generateFile()
{
    std::string bytes(fileSize, '\0');
    std::uint64_t state = 0;
    for (std::size_t at = 0; at < bytes.size(); at += 8) {
        const std::uint64_t word = nextRandom(state);
        for (std::size_t byte = 0; byte < 8 && at + byte < bytes.size(); ++byte) {
            bytes[at + byte] = static_cast<char>((word >> (8U * byte)) & 0xFFU);
        }
    }
    return bytes;
}

// stop() takes effect only once the accept loop runs, so the constructor
// waits for it, within a limit.
void waitUntilRunning(const httplib::Server& server)
{
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    while (!server.is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

std::uint64_t fnv1a64(std::string_view bytes)
{
    std::uint64_t hash = 0xCBF29CE484222325ULL;
    for (const char byte : bytes) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 0x100000001B3ULL;
    }
    return hash;
}

DemoServer::DemoServer() : file(generateFile()), fileChecksum(fnv1a64(file))
{
    server.Get(path,
               [this](const httplib::Request& request, httplib::Response& response) { serve(request, response); });
    port = server.bind_to_any_port(host);
    if (port < 0) {
        throw std::runtime_error(messages::demoServerFailed());
    }
    listener = std::thread([this] { server.listen_after_bind(); });
    waitUntilRunning(server);
}

DemoServer::~DemoServer()
{
    server.stop();
    listener.join();
}

std::string DemoServer::url() const
{
    return std::string("http://") + host + ":" + std::to_string(port) + path;
}

std::size_t DemoServer::size() const
{
    return file.size();
}

std::uint64_t DemoServer::checksum() const
{
    return fileChecksum;
}

// cpp-httplib answers a "Range: bytes=N-" request with a 206 by itself: the
// provider is then asked for the bytes from N on.
void DemoServer::serve(const httplib::Request&, httplib::Response& response)
{
    const int number = ++requests;
    if (number == 1) {
        response.status = 503;
        response.set_content("busy, try again\n", "text/plain");
        return;
    }
    const std::size_t end = number == 2 ? file.size() * cutPercent / 100 : file.size();
    response.set_header("Accept-Ranges", "bytes");
    response.set_content_provider(file.size(), "application/octet-stream",
                                  [this, end](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      if (offset >= end) {
                                          return false; // cuts the connection
                                      }
                                      const std::size_t count = std::min({chunkSize, length, end - offset});
                                      return sink.write(file.data() + offset, count);
                                  });
}

} // namespace httpfetch
