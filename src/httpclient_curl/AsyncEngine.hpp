// AsyncEngine: the asynchronous side of the libcurl client: the queue of
// attempts, the event loops that run them, the in-flight table, cancellation
// and the completion threads that run the handlers. One mutex guards the
// queue, the limits, the in-flight counts, the completion queue and the
// completion threads' bookkeeping; it is never held while libcurl transfers
// or while a handler runs.
//
// Completions run on a pool that starts with one thread, which takes them one
// after another. Another thread joins only when completions are waiting and
// no completion thread has taken one for stallThreshold, that is when every
// thread is held up inside a handler; the event loops look at this again
// before they wait in poll, and poll no longer than until it is due.
//
//   AsyncEngine engine(pool);
//   engine.submit(std::make_unique<Job>(std::move(request), std::move(response), id, handler));
//   engine.wait();
#pragma once

#include "HandlePool.hpp"
#include "Transfer.hpp"

#include <httpclient_core/CompletionHandler.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

namespace foundation::httpclient_curl::detail {

class EventLoop;

// An asynchronous attempt, from performAsyncRequest until its handler has run.
struct Job {
    Job(httpclient_core::HttpRequest request, httpclient_core::HttpResponse response, unsigned long requestId,
        httpclient_core::CompletionHandler handler);

    httpclient_core::HttpRequest request;
    httpclient_core::HttpResponse response;
    unsigned long requestId;
    httpclient_core::CompletionHandler handler;
    std::optional<Transfer> transfer;
    std::exception_ptr error;
};

using Clock = std::chrono::steady_clock;

class AsyncEngine {
public:
    explicit AsyncEngine(HandlePool& pool);
    ~AsyncEngine();
    AsyncEngine(const AsyncEngine&) = delete;
    AsyncEngine& operator=(const AsyncEngine&) = delete;

    // Limits below 1 count as 1; they apply to work started from now on.
    void setLimits(long threads, long requestsPerThread);
    // Queues the attempt, or completes it at once as cancelled when its
    // request was cancelled or the engine is shutting down. With nothing
    // changed, throws HttpRequestFailedException "Request to <url> failed: no
    // thread could be started to run it" when there is no event loop and
    // none can be started, and "Request to <url> failed: out of memory" when
    // the bookkeeping cannot allocate.
    void submit(std::unique_ptr<Job> job);
    void cancel(unsigned long requestId);
    void cancelAll();
    // Returns once no request is in flight.
    void wait();
    std::size_t pending();
    // Cancels everything, waits for every handler (retries submitted by
    // handlers from now on complete as cancelled at once), then stops and
    // joins every thread.
    void shutdown();

private:
    friend class EventLoop;

    void complete(std::unique_ptr<Job> job);
    std::chrono::milliseconds superviseCompletions(Clock::time_point now);
    void runCompletions();
    void settle(unsigned long requestId);
    template <typename Matches>
    void cancelLocked(Matches matches);
    bool startLoopIfNeeded(std::size_t incoming);
    void wakeLoops();

    HandlePool& pool;
    std::mutex mutex;
    std::condition_variable completionsReady;
    std::condition_variable requestsDone;
    std::deque<std::unique_ptr<Job>> queue;
    std::deque<std::unique_ptr<Job>> completions;
    // Attempts of each request not yet through its handler; a request is in flight while listed.
    std::map<unsigned long, std::size_t> inFlight;
    std::set<unsigned long> cancelled;
    std::size_t threadLimit = 1;
    std::size_t requestsPerThreadLimit = 1;
    std::vector<std::unique_ptr<EventLoop>> loops;
    std::vector<std::thread> completionThreads;
    // Completion threads waiting for work, whether one of them has been
    // notified and not yet woken, and when a completion was last taken.
    std::size_t idleCompletionThreads = 0;
    bool wakeupPending = false;
    Clock::time_point lastTaken;
    bool stopping = false;
    bool finished = false;
};

} // namespace foundation::httpclient_curl::detail
