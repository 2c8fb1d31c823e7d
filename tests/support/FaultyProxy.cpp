#include "support/FaultyProxy.hpp"

#include "support/LoopbackAddress.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <utility>

namespace support {

namespace {

bool sendAll(int socket, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::send(socket, data, size, MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// Closes with an RST instead of a FIN.
void reset(int socket)
{
    const linger abortive{1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
}

} // namespace

FaultyProxy::FaultyProxy(int upstreamPort, std::vector<Fault> faults)
    : upstreamPort(upstreamPort),
      faults(std::move(faults))
{
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener, 64) != 0 || ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::pipe(wakeup) != 0) {
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port = ntohs(address.sin_port);
    acceptor = std::thread([this] { acceptLoop(); });
}

FaultyProxy::~FaultyProxy()
{
    static_cast<void>(::write(wakeup[1], "x", 1));
    acceptor.join();
    for (auto& thread : relays) {
        thread.join();
    }
    ::close(listener);
    ::close(wakeup[0]);
    ::close(wakeup[1]);
}

std::string FaultyProxy::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

std::vector<Fault> FaultyProxy::randomFaults(std::uint32_t seed, std::size_t count, std::size_t maxBytes)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> kind(0, 7);
    // One fault in four strikes within the first 400 bytes, the header block.
    std::uniform_int_distribution<std::size_t> early(0, 400);
    std::uniform_int_distribution<std::size_t> anywhere(0, maxBytes);
    std::uniform_int_distribution<int> pause(1, 30);
    std::vector<Fault> faults;
    for (std::size_t i = 0; i < count; ++i) {
        const int drawn = kind(random);
        Fault fault;
        fault.kind = drawn < 3   ? Fault::Kind::Pass
                     : drawn < 6 ? Fault::Kind::Cut
                     : drawn < 7 ? Fault::Kind::Reset
                                 : Fault::Kind::Stall;
        fault.afterBytes = kind(random) < 2 ? early(random) : anywhere(random);
        fault.stall = std::chrono::milliseconds(pause(random));
        faults.push_back(fault);
    }
    return faults;
}

void FaultyProxy::acceptLoop()
{
    while (true) {
        pollfd watched[] = {{wakeup[0], POLLIN, 0}, {listener, POLLIN, 0}};
        if (::poll(watched, 2, -1) < 0 || watched[0].revents != 0) {
            return;
        }
        const int client = ::accept(listener, nullptr, nullptr);
        if (client < 0) {
            continue;
        }
        const std::size_t index = accepted++;
        const Fault fault = index < faults.size() ? faults[index] : Fault{};
        const std::lock_guard<std::mutex> lock(mutex);
        relays.emplace_back([this, client, fault] { relay(client, fault); });
    }
}

// Copies both ways until either side closes; the fault applies to the bytes
// going back to the client.
void FaultyProxy::relay(int client, Fault fault)
{
    const int upstream = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(upstreamPort);
    if (upstream < 0 || ::connect(upstream, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(client);
        if (upstream >= 0) {
            ::close(upstream);
        }
        return;
    }
    std::size_t relayed = 0;
    bool open = true;
    while (open) {
        pollfd watched[] = {{wakeup[0], POLLIN, 0}, {client, POLLIN, 0}, {upstream, POLLIN, 0}};
        if (::poll(watched, 3, -1) < 0 || watched[0].revents != 0) {
            break;
        }
        char chunk[16384];
        if (watched[1].revents != 0) {
            const ssize_t got = ::recv(client, chunk, sizeof chunk, 0);
            open = got > 0 && sendAll(upstream, chunk, static_cast<std::size_t>(got));
        }
        if (open && watched[2].revents != 0) {
            const ssize_t got = ::recv(upstream, chunk, sizeof chunk, 0);
            std::size_t size = got > 0 ? static_cast<std::size_t>(got) : 0;
            const bool strikes = fault.kind != Fault::Kind::Pass && relayed + size >= fault.afterBytes;
            if (strikes) {
                size = fault.afterBytes - relayed;
            }
            open = got > 0 && sendAll(client, chunk, size);
            relayed += size;
            if (open && strikes && fault.kind == Fault::Kind::Stall) {
                std::this_thread::sleep_for(fault.stall);
                open = sendAll(client, chunk + size, static_cast<std::size_t>(got) - size);
                relayed += static_cast<std::size_t>(got) - size;
                fault.kind = Fault::Kind::Pass;
            } else if (strikes) {
                if (fault.kind == Fault::Kind::Reset) {
                    reset(client);
                }
                open = false;
            }
        }
    }
    ::close(client);
    ::close(upstream);
}

} // namespace support
