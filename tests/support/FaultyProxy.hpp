// FaultyProxy: a TCP relay on 127.0.0.1 and an ephemeral port in front of a
// server, which breaks the server's replies on purpose: the n-th connection
// it accepts suffers the n-th fault of its list (and passes untouched after
// the list): cut after some reply bytes, reset (RST) there, or a stall there
// before the rest goes through.
//
//   support::FaultyProxy proxy(nginx.port(), support::FaultyProxy::randomFaults(2026, 400));
//   client.makeRequest(support::get(proxy.url("/file-3")));
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

struct Fault {
    enum class Kind { Pass, Cut, Reset, Stall };
    Kind kind = Kind::Pass;
    // Reply bytes relayed before the fault strikes.
    std::size_t afterBytes = 0;
    std::chrono::milliseconds stall{0};
};

class FaultyProxy {
public:
    FaultyProxy(int upstreamPort, std::vector<Fault> faults);
    // Stops accepting, closes every connection and joins every thread.
    ~FaultyProxy();
    FaultyProxy(const FaultyProxy&) = delete;
    FaultyProxy& operator=(const FaultyProxy&) = delete;

    // "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;
    std::size_t connections() const { return accepted.load(); }

    // count faults drawn from seed: three in eight pass, the rest are cuts,
    // resets and short stalls at a point within the first maxBytes, a quarter
    // of them within the first 400.
    static std::vector<Fault> randomFaults(std::uint32_t seed, std::size_t count, std::size_t maxBytes);

private:
    void acceptLoop();
    void relay(int client, Fault fault);

    const int upstreamPort;
    const std::vector<Fault> faults;
    int listener = -1;
    int wakeup[2] = {-1, -1};
    int port = 0;
    std::atomic<std::size_t> accepted{0};
    std::mutex mutex;
    std::vector<std::thread> relays;
    std::thread acceptor;
};

} // namespace support
