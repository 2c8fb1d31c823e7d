// ScriptedHttpClient: an in-memory transport for unit tests of code that makes
// requests. Each attempt plays the next scripted reply (or the default one)
// and is recorded, so a test can both steer and inspect its requests.
//
//   using namespace foundation::httpclient_core;
//   using foundation::httpclient_scripted::ScriptedHttpClient;
//   using foundation::httpclient_scripted::ScriptedReply;
//
//   ScriptedHttpClient client;
//   client.enqueue(ScriptedReply::status(HttpResponseCode::ServiceUnavailable, "Unavailable"));
//   client.enqueue(ScriptedReply::status(HttpResponseCode::OK, "OK").withBody("hello"));
//   client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://test/"}, {})).getResponseBodyString(); // "hello"
//   client.attempts().size();   // 2
//
// The library is httpclient_scripted (CMake target
// httpclient_core::httpclient_scripted), kept apart from the core so that no
// test code ships inside it.
//
// Strict, so that a test finds its own mistakes: an attempt for which no
// reply is scripted fails rather than getting a made-up one. Asynchronous
// attempts run one at a time on the client's own thread, which also runs
// their completion handlers.
#pragma once

#include <httpclient_core/HttpClient.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/URL.hpp>
#include <httpclient_scripted/Export.hpp>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace foundation::httpclient_scripted {

// One scripted attempt, played in this order: the status line, the header
// fields, the body bytes, one progress report of the body's size, then
// return or throw. Without a status line the attempt throws at once.
class HTTPCLIENT_SCRIPTED_EXPORT ScriptedReply {
public:
    // A reply with this status line.
    static ScriptedReply status(httpclient_core::HttpResponseCode code, std::string reason = {});
    // An attempt that fails before any status line arrives.
    static ScriptedReply failure(std::exception_ptr error);
    template <typename Exception>
    static ScriptedReply failure(Exception exception)
    {
        return failure(std::make_exception_ptr(std::move(exception)));
    }

    ScriptedReply& withHeader(std::string name, std::string value);
    ScriptedReply& withBody(std::string bytes);
    // Throws this after the body has been written (a transfer cut part-way).
    ScriptedReply& thenThrow(std::exception_ptr error);
    template <typename Exception>
    ScriptedReply& thenThrow(Exception exception)
    {
        return thenThrow(std::make_exception_ptr(std::move(exception)));
    }
    // Asynchronous only: the completion handler is destroyed without being called.
    ScriptedReply& droppingCompletion();

private:
    friend class ScriptedHttpClient;

    std::optional<std::pair<httpclient_core::HttpResponseCode, std::string>> statusLine;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::exception_ptr error;
    bool dropCompletion = false;
};

// What one attempt saw of its request.
struct RecordedAttempt {
    httpclient_core::HttpMethod method;
    httpclient_core::URL url;
    httpclient_core::HttpHeaders headers;
    // The request body from its read position to its end, as the attempt read it.
    std::string body;
    // Empty for synchronous attempts.
    std::optional<unsigned long> requestId;
};

class HTTPCLIENT_SCRIPTED_EXPORT ScriptedHttpClient : public httpclient_core::HttpClient {
public:
    ScriptedHttpClient();
    // Cancels what is queued, completes it, and joins the client's thread.
    ~ScriptedHttpClient() override;

    using httpclient_core::HttpClient::makeAsyncRequest;

    // Replies are played in the order queued, by synchronous and asynchronous
    // attempts alike; when none is left the default reply is played. Without
    // a default reply such an attempt throws HttpRequestFailedException
    // "No reply scripted for GET http://test/" (its method and URL).
    void enqueue(ScriptedReply reply);
    // Played whenever the queue is empty; there is none until this is called.
    void setDefaultReply(ScriptedReply reply);
    // Recording is on by default; off, attempts() stays empty (for benchmarks).
    void setRecording(bool recording);
    std::vector<RecordedAttempt> attempts() const;
    std::size_t scriptedRepliesLeft() const;

    // An attempt of that request, queued or running, completes with
    // HttpRequestCancelledException instead of its scripted outcome. An
    // identifier with no attempt in flight is ignored.
    void cancelAsyncRequest(unsigned long requestId) const override;
    // Cancels every queued attempt and the one running, as above.
    void cancelAllAsyncRequests() const override;
    void waitForAsyncRequests() const override;
    std::size_t pendingAsyncRequests() const override;

protected:
    void performRequest(httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response) const override;
    void performAsyncRequest(httpclient_core::HttpRequest request, httpclient_core::HttpResponse response,
                             unsigned long requestId, httpclient_core::CompletionHandler handler) const override;

private:
    struct Job {
        httpclient_core::HttpRequest request;
        httpclient_core::HttpResponse response;
        unsigned long requestId;
        httpclient_core::CompletionHandler handler;
    };

    ScriptedReply nextReply(httpclient_core::HttpRequest& request, std::optional<unsigned long> requestId) const;
    static void play(const ScriptedReply& reply, httpclient_core::HttpRequest& request,
                     httpclient_core::HttpResponse& response);
    bool inFlight(unsigned long requestId) const;
    // Plays one asynchronous attempt and completes it; everything the job
    // holds is released before it stops counting as in flight.
    void run(Job job, bool wasCancelled) const;
    void serve();

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    mutable std::deque<ScriptedReply> replies;
    std::optional<ScriptedReply> defaultReply;
    bool recording = true;
    mutable std::vector<RecordedAttempt> recorded;
    mutable std::deque<Job> jobs;
    // Identifiers whose queued or running attempt is to complete as cancelled.
    mutable std::set<unsigned long> cancelled;
    // The identifier of the attempt being run, if any.
    mutable std::optional<unsigned long> running;
    bool stopping = false;
    std::thread worker;
};

} // namespace foundation::httpclient_scripted
