// EventLoop: one thread running a libcurl multi handle with up to the
// engine's requestsPerThreadLimit transfers; it takes queued jobs while its
// index is within the engine's threadLimit, withdraws cancelled ones, and
// hands every finished attempt back to the engine for completion.
//
//   loops.push_back(std::make_unique<EventLoop>(engine, loops.size()));   // runs at once
//   loop->wake();                                                        // under the engine's mutex
#pragma once

#include "ConnectionSetup.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace foundation::httpclient_curl::detail {

class AsyncEngine;
struct Job;

class EventLoop {
public:
    // Throws HttpRequestFailedException "libcurl could not make a transfer
    // handle" without a multi handle, std::system_error without a thread.
    EventLoop(AsyncEngine& engine, std::size_t index);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // Makes the loop look at the engine's state again: at once when it
    // waits in poll, else before it would wait. Runs under the engine's
    // mutex; libcurl is woken only when the loop is in poll, once.
    void wake();
    void join();

    // Jobs taken from the queue and not yet handed to completion; guarded by the engine's mutex.
    std::size_t load = 0;

private:
    void run();
    bool mayTakeQueuedJob() const;
    std::optional<int> pollTimeout();
    std::vector<std::unique_ptr<Job>> withdrawCancelled();
    void start(std::unique_ptr<Job> job);
    void collectFinished();
    void finish(std::unique_ptr<Job> job);

    AsyncEngine& engine;
    const std::size_t index;
    const MultiHandle multi;
    std::vector<std::unique_ptr<Job>> active;
    // Both guarded by the engine's mutex: the loop is in (or about to
    // enter) poll, and it was woken since its round began.
    bool polling = false;
    bool signalled = false;
    std::thread thread;
};

} // namespace foundation::httpclient_curl::detail
