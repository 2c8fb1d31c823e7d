#include "support/ScriptedServer.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace support {

namespace {

struct Connection {
    int socket;
    std::size_t index;
    std::string buffer;
};

void sendAll(int socket, const std::string& bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t written = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (written <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(written);
    }
}

} // namespace

std::string ReceivedRequest::header(const std::string& name) const
{
    const std::string key = "\r\n" + name + ": ";
    const auto start = head.find(key);
    if (start == std::string::npos) {
        return "";
    }
    const auto from = start + key.size();
    return head.substr(from, head.find("\r\n", from) - from);
}

ScriptedServer::ScriptedServer(std::vector<ScriptedReply> replies) : replies(std::move(replies))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener, 16) != 0 || ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::pipe(wakeup) != 0) {
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer()
{
    static_cast<void>(::write(wakeup[1], "x", 1));
    thread.join();
    ::close(listener);
    ::close(wakeup[0]);
    ::close(wakeup[1]);
}

std::string ScriptedServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

std::vector<ReceivedRequest> ScriptedServer::received() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return requests;
}

// One thread polls the listener and every open connection; a complete
// request head gets the next reply.
void ScriptedServer::serve()
{
    std::vector<Connection> connections;
    std::size_t accepted = 0;
    std::size_t answered = 0;
    while (true) {
        std::vector<pollfd> watched{{wakeup[0], POLLIN, 0}, {listener, POLLIN, 0}};
        for (const auto& connection : connections) {
            watched.push_back({connection.socket, POLLIN, 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0 || watched[0].revents != 0) {
            break;
        }
        if (watched[1].revents != 0) {
            const int socket = ::accept(listener, nullptr, nullptr);
            if (socket >= 0) {
                connections.push_back({socket, accepted++, {}});
            }
        }
        for (std::size_t i = 2; i < watched.size(); ++i) {
            if (watched[i].revents == 0) {
                continue;
            }
            Connection& connection = connections[i - 2];
            char chunk[4096];
            const ssize_t got = ::recv(connection.socket, chunk, sizeof chunk, 0);
            bool close = got <= 0;
            if (!close) {
                connection.buffer.append(chunk, static_cast<std::size_t>(got));
            }
            for (auto end = connection.buffer.find("\r\n\r\n"); !close && end != std::string::npos;
                 end = connection.buffer.find("\r\n\r\n")) {
                {
                    const std::lock_guard<std::mutex> lock(mutex);
                    requests.push_back({connection.buffer.substr(0, end + 2), connection.index});
                }
                connection.buffer.erase(0, end + 4);
                close = answered >= replies.size();
                if (!close) {
                    sendAll(connection.socket, replies[answered].bytes);
                    close = replies[answered].close;
                    ++answered;
                }
            }
            if (close) {
                ::close(connection.socket);
                connection.socket = -1;
            }
        }
        std::vector<Connection> open;
        for (auto& connection : connections) {
            if (connection.socket >= 0) {
                open.push_back(std::move(connection));
            }
        }
        connections = std::move(open);
    }
    for (const auto& connection : connections) {
        ::close(connection.socket);
    }
}

} // namespace support
