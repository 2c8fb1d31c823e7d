#include "EventLoop.hpp"

#include "AsyncEngine.hpp"
#include "Errors.hpp"

#include <algorithm>
#include <mutex>
#include <utility>

namespace foundation::httpclient_curl::detail {

EventLoop::EventLoop(AsyncEngine& engine, std::size_t index) : engine(engine), index(index), multi(curl_multi_init())
{
    if (!multi) {
        throwOutOfHandles();
    }
    thread = std::thread([this] { run(); });
}

EventLoop::~EventLoop() = default;

void EventLoop::wake()
{
    signalled = true;
    if (polling) {
        polling = false;
        curl_multi_wakeup(multi.get());
    }
}

void EventLoop::join()
{
    thread.join();
}

void EventLoop::run()
{
    while (true) {
        std::vector<std::unique_ptr<Job>> started;
        std::vector<std::unique_ptr<Job>> withdrawn;
        {
            const std::lock_guard<std::mutex> lock(engine.mutex);
            if (engine.finished) {
                return;
            }
            polling = false;
            signalled = false;
            engine.superviseCompletions(Clock::now());
            withdrawn = withdrawCancelled();
            while (mayTakeQueuedJob()) {
                started.push_back(std::move(engine.queue.front()));
                engine.queue.pop_front();
                ++load;
            }
        }
        for (auto& job : withdrawn) {
            curl_multi_remove_handle(multi.get(), job->transfer->easy());
            job->transfer.reset();
            job->error = cancellation();
            finish(std::move(job));
        }
        for (auto& job : started) {
            start(std::move(job));
        }
        int running = 0;
        curl_multi_perform(multi.get(), &running);
        collectFinished();
        if (const auto timeout = pollTimeout()) {
            curl_multi_poll(multi.get(), nullptr, 0, *timeout, nullptr);
        }
    }
}

// Runs under the engine's mutex.
bool EventLoop::mayTakeQueuedJob() const
{
    return index < engine.threadLimit && load < engine.requestsPerThreadLimit && !engine.queue.empty();
}

// How long the loop may wait in poll: not at all when it was woken since its
// round began or may take a queued job, else until the completions want
// another look. From here on wake() ends the poll.
std::optional<int> EventLoop::pollTimeout()
{
    const std::lock_guard<std::mutex> lock(engine.mutex);
    if (engine.finished || signalled || mayTakeQueuedJob()) {
        return std::nullopt;
    }
    polling = true;
    return static_cast<int>(engine.superviseCompletions(Clock::now()).count());
}

// The active jobs whose request was cancelled; runs under the engine's mutex.
std::vector<std::unique_ptr<Job>> EventLoop::withdrawCancelled()
{
    std::vector<std::unique_ptr<Job>> withdrawn;
    for (auto& job : active) {
        if (engine.cancelled.count(job->requestId) > 0) {
            withdrawn.push_back(std::move(job));
        }
    }
    active.erase(std::remove(active.begin(), active.end(), nullptr), active.end());
    return withdrawn;
}

void EventLoop::start(std::unique_ptr<Job> job)
{
    try {
        job->transfer.emplace(engine.pool, job->request, job->response);
        const CURLMcode code = curl_multi_add_handle(multi.get(), job->transfer->easy());
        if (code != CURLM_OK) {
            throw requestFailure(job->request.getURL().toAsciiString(), curl_multi_strerror(code));
        }
    } catch (...) {
        job->transfer.reset();
        job->error = std::current_exception();
        finish(std::move(job));
        return;
    }
    active.push_back(std::move(job));
}

void EventLoop::collectFinished()
{
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        CURL* const easy = message->easy_handle;
        const CURLcode code = message->data.result;
        const auto found = std::find_if(active.begin(), active.end(),
                                        [easy](const auto& job) { return job->transfer->easy() == easy; });
        std::unique_ptr<Job> job = std::move(*found);
        active.erase(found);
        curl_multi_remove_handle(multi.get(), easy);
        job->error = job->transfer->finish(code);
        job->transfer.reset();
        finish(std::move(job));
    }
}

// Frees the job's place; the loop takes queued work before it would wait in poll.
void EventLoop::finish(std::unique_ptr<Job> job)
{
    const std::lock_guard<std::mutex> lock(engine.mutex);
    --load;
    engine.complete(std::move(job));
}

} // namespace foundation::httpclient_curl::detail
