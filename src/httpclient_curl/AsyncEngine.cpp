#include "AsyncEngine.hpp"

#include "Errors.hpp"
#include "EventLoop.hpp"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

// How long completions may wait while every completion thread is inside a
// handler before another completion thread is started.
constexpr std::chrono::milliseconds stallThreshold(5);
// The longest an event loop stays in poll when nothing else wakes it.
constexpr std::chrono::milliseconds pollInterval(1000);

} // namespace

Job::Job(HttpRequest request, HttpResponse response, unsigned long requestId, CompletionHandler handler)
    : request(std::move(request)),
      response(std::move(response)),
      requestId(requestId),
      handler(std::move(handler))
{
}

AsyncEngine::AsyncEngine(HandlePool& pool) : pool(pool)
{
}

AsyncEngine::~AsyncEngine() = default;

void AsyncEngine::setLimits(long threads, long requestsPerThread)
{
    const std::lock_guard<std::mutex> lock(mutex);
    threadLimit = static_cast<std::size_t>(std::max(1L, threads));
    requestsPerThreadLimit = static_cast<std::size_t>(std::max(1L, requestsPerThread));
    static_cast<void>(startLoopIfNeeded(0));
    wakeLoops();
}

void AsyncEngine::submit(std::unique_ptr<Job> job)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const unsigned long requestId = job->requestId;
    if (stopping || cancelled.count(requestId) > 0) {
        job->error = cancellation();
    } else if (!startLoopIfNeeded(1)) {
        throw requestFailure(job->request.getURL().toAsciiString(), "no thread could be started to run it");
    }
    const auto counted = inFlight.find(requestId);
    try {
        ++inFlight[requestId];
        if (job->error) {
            complete(std::move(job));
        } else {
            queue.push_back(std::move(job));
        }
    } catch (const std::bad_alloc&) {
        if (counted == inFlight.end()) {
            inFlight.erase(requestId);
        } else if (counted->second > 0) {
            --counted->second;
        }
        throw requestFailure(job->request.getURL().toAsciiString(), "out of memory");
    }
    wakeLoops();
}

void AsyncEngine::cancel(unsigned long requestId)
{
    const std::lock_guard<std::mutex> lock(mutex);
    cancelLocked([requestId](unsigned long id) { return id == requestId; });
}

void AsyncEngine::cancelAll()
{
    const std::lock_guard<std::mutex> lock(mutex);
    cancelLocked([](unsigned long) { return true; });
}

void AsyncEngine::wait()
{
    std::unique_lock<std::mutex> lock(mutex);
    requestsDone.wait(lock, [this] { return inFlight.empty(); });
}

std::size_t AsyncEngine::pending()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return inFlight.size();
}

void AsyncEngine::shutdown()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
        cancelLocked([](unsigned long) { return true; });
    }
    wait();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        finished = true;
        wakeLoops();
    }
    completionsReady.notify_all();
    for (auto& loop : loops) {
        loop->join();
    }
    for (auto& thread : completionThreads) {
        thread.join();
    }
}

// Queues a finished attempt for the completion threads. Runs under the mutex.
void AsyncEngine::complete(std::unique_ptr<Job> job)
{
    completions.push_back(std::move(job));
    superviseCompletions(Clock::now());
}

// Gets waiting completions going: wakes an idle completion thread, or starts
// one when there is none yet, or when none has taken a completion for
// stallThreshold and the pool is below its size. Returns how soon to look
// again. Runs under the mutex.
std::chrono::milliseconds AsyncEngine::superviseCompletions(Clock::time_point now)
{
    if (completions.empty()) {
        return pollInterval;
    }
    if (idleCompletionThreads > 0) {
        if (!wakeupPending) {
            wakeupPending = true;
            completionsReady.notify_one();
        }
        return pollInterval;
    }
    if (completionThreads.size() >= threadLimit * requestsPerThreadLimit) {
        return pollInterval;
    }
    const auto stalled = now - lastTaken;
    if (completionThreads.empty() || stalled >= stallThreshold) {
        // When no thread can be started, the threads there are go on; the
        // loops try again after stallThreshold.
        try {
            completionThreads.emplace_back([this] { runCompletions(); });
        } catch (const std::exception&) {
            return stallThreshold;
        }
        lastTaken = now;
        return stallThreshold;
    }
    return std::chrono::ceil<std::chrono::milliseconds>(stallThreshold - stalled);
}

void AsyncEngine::runCompletions()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
        if (completions.empty()) {
            if (finished) {
                return;
            }
            ++idleCompletionThreads;
            completionsReady.wait(lock);
            --idleCompletionThreads;
            wakeupPending = false;
            continue;
        }
        std::unique_ptr<Job> job = std::move(completions.front());
        completions.pop_front();
        lastTaken = Clock::now();
        superviseCompletions(lastTaken);
        lock.unlock();
        const unsigned long requestId = job->requestId;
        job->handler(std::move(job->request), std::move(job->response), std::move(job->error));
        job.reset();
        lock.lock();
        settle(requestId);
    }
}

// One attempt of the request has run its handler; a retry it started has
// been counted already. Runs under the mutex.
void AsyncEngine::settle(unsigned long requestId)
{
    const auto found = inFlight.find(requestId);
    if (--found->second == 0) {
        inFlight.erase(found);
        cancelled.erase(requestId);
        requestsDone.notify_all();
    }
}

// Marks the matching requests in flight as cancelled and completes their
// queued attempts at once; running attempts are withdrawn by their loop.
// Runs under the mutex.
template <typename Matches>
void AsyncEngine::cancelLocked(Matches matches)
{
    for (const auto& [requestId, attempts] : inFlight) {
        if (matches(requestId)) {
            cancelled.insert(requestId);
        }
    }
    for (auto it = queue.begin(); it != queue.end();) {
        if (cancelled.count((*it)->requestId) > 0) {
            (*it)->error = cancellation();
            complete(std::move(*it));
            it = queue.erase(it);
        } else {
            ++it;
        }
    }
    wakeLoops();
}

// Starts another loop when the queue, with incoming jobs about to join it,
// holds more than the free places of the loops in use. When no loop can be
// started the client goes on with the loops it has; returns whether there is
// any. Runs under the mutex.
bool AsyncEngine::startLoopIfNeeded(std::size_t incoming)
{
    std::size_t freePlaces = 0;
    for (std::size_t i = 0; i < std::min(loops.size(), threadLimit); ++i) {
        freePlaces += requestsPerThreadLimit - std::min(loops[i]->load, requestsPerThreadLimit);
    }
    if (queue.size() + incoming > freePlaces && loops.size() < threadLimit) {
        try {
            loops.reserve(loops.size() + 1);
            loops.push_back(std::make_unique<EventLoop>(*this, loops.size()));
        } catch (const std::exception&) {
            return !loops.empty();
        }
    }
    return !loops.empty();
}

void AsyncEngine::wakeLoops()
{
    for (const auto& loop : loops) {
        loop->wake();
    }
}

} // namespace foundation::httpclient_curl::detail
