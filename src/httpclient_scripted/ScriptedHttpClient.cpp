#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>

#include <algorithm>
#include <iterator>

namespace foundation::httpclient_scripted {

using httpclient_core::CompletionHandler;
using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::Progress;
using httpclient_core::ProgressResult;

namespace {

[[noreturn]] void throwNoReply(const HttpRequest& request)
{
    throw HttpRequestFailedException("No reply scripted for " + to_string(request.getHttpMethod()) + " " +
                                     request.getURL().toAsciiString());
}

std::string readRemaining(HttpRequest& request)
{
    if (!request.hasRequestBody()) {
        return {};
    }
    auto& body = request.getRequestBody();
    return std::string(std::istreambuf_iterator<char>(body), std::istreambuf_iterator<char>());
}

} // namespace

ScriptedReply ScriptedReply::status(HttpResponseCode code, std::string reason)
{
    ScriptedReply reply;
    reply.statusLine.emplace(code, std::move(reason));
    return reply;
}

ScriptedReply ScriptedReply::failure(std::exception_ptr error)
{
    ScriptedReply reply;
    reply.error = std::move(error);
    return reply;
}

ScriptedReply& ScriptedReply::withHeader(std::string name, std::string value)
{
    headers.emplace_back(std::move(name), std::move(value));
    return *this;
}

ScriptedReply& ScriptedReply::withBody(std::string bytes)
{
    body = std::move(bytes);
    return *this;
}

ScriptedReply& ScriptedReply::thenThrow(std::exception_ptr exception)
{
    error = std::move(exception);
    return *this;
}

ScriptedReply& ScriptedReply::droppingCompletion()
{
    dropCompletion = true;
    return *this;
}

ScriptedHttpClient::ScriptedHttpClient() : worker([this] { serve(); })
{
}

ScriptedHttpClient::~ScriptedHttpClient()
{
    cancelAllAsyncRequests();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    worker.join();
}

void ScriptedHttpClient::enqueue(ScriptedReply reply)
{
    const std::lock_guard<std::mutex> lock(mutex);
    replies.push_back(std::move(reply));
}

void ScriptedHttpClient::setDefaultReply(ScriptedReply reply)
{
    const std::lock_guard<std::mutex> lock(mutex);
    defaultReply = std::move(reply);
}

void ScriptedHttpClient::setRecording(bool on)
{
    const std::lock_guard<std::mutex> lock(mutex);
    recording = on;
}

std::vector<RecordedAttempt> ScriptedHttpClient::attempts() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return recorded;
}

std::size_t ScriptedHttpClient::scriptedRepliesLeft() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return replies.size();
}

void ScriptedHttpClient::cancelAsyncRequest(unsigned long requestId) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (inFlight(requestId)) {
        cancelled.insert(requestId);
    }
}

void ScriptedHttpClient::cancelAllAsyncRequests() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto& job : jobs) {
        cancelled.insert(job.requestId);
    }
    if (running) {
        cancelled.insert(*running);
    }
}

void ScriptedHttpClient::waitForAsyncRequests() const
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return jobs.empty() && !running; });
}

std::size_t ScriptedHttpClient::pendingAsyncRequests() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return jobs.size() + (running ? 1 : 0);
}

void ScriptedHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const
{
    play(nextReply(request, std::nullopt), request, response);
}

void ScriptedHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response, unsigned long requestId,
                                             CompletionHandler handler) const
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        jobs.push_back(Job{std::move(request), std::move(response), requestId, std::move(handler)});
    }
    changed.notify_all();
}

ScriptedReply ScriptedHttpClient::nextReply(HttpRequest& request, std::optional<unsigned long> requestId) const
{
    std::string body = readRemaining(request);
    const std::lock_guard<std::mutex> lock(mutex);
    if (recording) {
        recorded.push_back(RecordedAttempt{request.getHttpMethod(), request.getURL(), request.getHeaders(),
                                           std::move(body), requestId});
    }
    if (replies.empty()) {
        if (!defaultReply) {
            throwNoReply(request);
        }
        return *defaultReply;
    }
    auto reply = std::move(replies.front());
    replies.pop_front();
    return reply;
}

void ScriptedHttpClient::play(const ScriptedReply& reply, HttpRequest& request, HttpResponse& response)
{
    if (!reply.statusLine) {
        std::rethrow_exception(reply.error);
    }
    response.setResponseCodeAndReason(reply.statusLine->first, reply.statusLine->second);
    for (const auto& [name, value] : reply.headers) {
        response.addHeaderValue(name, value);
    }
    if (!reply.body.empty()) {
        auto& body = response.getResponseBody();
        body.write(reply.body.data(), static_cast<std::streamsize>(reply.body.size()));
        body.flush();
    }
    if (request.hasProgressCallback()) {
        const auto size = static_cast<std::int64_t>(reply.body.size());
        if (request.getProgressCallback()(Progress{size, size, 0, 0}) == ProgressResult::Abort) {
            throw HttpRequestCancelledException();
        }
    }
    if (reply.error) {
        std::rethrow_exception(reply.error);
    }
}

bool ScriptedHttpClient::inFlight(unsigned long requestId) const
{
    return running == requestId ||
           std::any_of(jobs.begin(), jobs.end(), [requestId](const Job& job) { return job.requestId == requestId; });
}

void ScriptedHttpClient::run(Job job, bool wasCancelled) const
{
    std::exception_ptr error;
    bool dropped = false;
    if (!wasCancelled) {
        try {
            const auto reply = nextReply(job.request, job.requestId);
            dropped = reply.dropCompletion;
            play(reply, job.request, job.response);
        } catch (...) {
            error = std::current_exception();
        }
        // A cancellation that arrived while the attempt ran wins over its outcome.
        const std::lock_guard<std::mutex> lock(mutex);
        wasCancelled = cancelled.erase(job.requestId) > 0;
    }
    if (wasCancelled) {
        error = std::make_exception_ptr(HttpRequestCancelledException());
    }
    if (!dropped) {
        job.handler(std::move(job.request), std::move(job.response), std::move(error));
    }
}

void ScriptedHttpClient::serve()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return stopping || !jobs.empty(); });
        if (jobs.empty()) {
            return;
        }
        Job job = std::move(jobs.front());
        jobs.pop_front();
        const auto requestId = job.requestId;
        running = requestId;
        // Once the client is being destroyed every attempt left completes as cancelled.
        const bool wasCancelled = cancelled.erase(requestId) > 0 || stopping;
        lock.unlock();
        run(std::move(job), wasCancelled);
        lock.lock();
        running.reset();
        // A cancellation made while the handler ran applies only to a retry it queued.
        if (!inFlight(requestId)) {
            cancelled.erase(requestId);
        }
        changed.notify_all();
    }
}

} // namespace foundation::httpclient_scripted
