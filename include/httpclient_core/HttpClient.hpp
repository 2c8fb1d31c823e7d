// HttpClient: the abstract client. It owns the frame around a transport: the
// client-wide configuration and its lock, the checks made on every request,
// the retry loop, and the resumption of a partly received body with a
// "Range" header. A concrete client derives from it and performs each attempt.
//
//   CurlHttpClient client;      // any concrete client
//   auto response = client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:8080/"}, {}));
//   auto [future, id] = client.makeAsyncRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:8080/"}, {}));
//   future.get().getResponseCode();
//
// Before each attempt but the first, the request body is rewound and the
// response is marked as not made (code -1, reason "Request Not Made", no
// headers); its body is reset, or kept and continued with "Range: bytes=N-"
// when resumeOnRetry is set and the last reply carried "Accept-Ranges: bytes".
// An HTTP error status is a normal response, never an exception.
#pragma once

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/CompletionHandler.hpp>
#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <atomic>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT HttpClient {
public:
    HttpClient();
    virtual ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    // Cancels one asynchronous request; it completes with HttpRequestCancelledException.
    virtual void cancelAsyncRequest(unsigned long requestId) const = 0;
    // Cancels every asynchronous request in flight.
    virtual void cancelAllAsyncRequests() const = 0;

    // Sends the request on the calling thread, attempt after attempt as the
    // configuration's retry strategy decides, and returns the last response;
    // when the last attempt threw, rethrows that very exception.
    // Throws std::logic_error "A HttpRequest with a body must have a
    // Content-Length or a Transfer-Encoding header." or "HttpRequest headers
    // must not include Content-Length and a non-identity Transfer-Encoding."
    // before anything is sent, and std::bad_function_call after the first
    // attempt when the retry strategy is empty.
    virtual HttpResponse makeRequest(HttpRequest request) const;

    // Starts the request and returns its identifier at once; handler runs
    // once, on the transport's thread, after the last attempt. Throws the
    // std::logic_error of makeRequest for a malformed request (no identifier
    // is used then). By design, when the retry strategy or the transport
    // fails inside the retry chain, handler is never run.
    virtual unsigned long makeAsyncRequest(HttpRequest request, CompletionHandler handler) const;
    // The same through the handler form, completing a future: get() returns
    // the final response or rethrows the last attempt's exception.
    virtual std::pair<std::future<HttpResponse>, unsigned long> makeAsyncRequest(HttpRequest request) const;

    // Returns when no asynchronous request of this client, retries included, is in flight.
    virtual void waitForAsyncRequests() const = 0;
    // The number of asynchronous requests in flight.
    virtual std::size_t pendingAsyncRequests() const = 0;

    // Replaces the configuration and, still under the client's lock, calls
    // configurationChanged with it. Requests already started keep theirs.
    void setClientConfiguration(ClientConfiguration configuration);
    // A copy of the configuration, taken under the client's lock.
    ClientConfiguration getClientConfiguration() const;

protected:
    // Called with the new configuration while the client's lock is held, so
    // an override must not call get/setClientConfiguration. Does nothing here.
    virtual void configurationChanged(const ClientConfiguration& configuration);

    // Performs one attempt: sets the response's status and headers through its
    // virtual operations and writes the body into getResponseBody(). Signals
    // failure by throwing; whatever it throws is judged by the retry strategy.
    virtual void performRequest(HttpRequest& request, HttpResponse& response) const = 0;

    // Starts one attempt and, when it has ended, invokes handler exactly once
    // with the request, the filled response and the exception (null on success).
    virtual void performAsyncRequest(HttpRequest request, HttpResponse response, unsigned long requestId,
                                     CompletionHandler handler) const = 0;

private:
    // What the retry loop needs of the request's configuration, or of the client's.
    struct Retry {
        RetryStrategy strategy;
        bool resume;
    };
    // Taken under the client's lock when the request has no configuration of
    // its own, so later changes to the client do not touch a running request.
    Retry retryFor(const HttpRequest& request) const;
    // The link of the asynchronous retry chain that judges attempt + 1.
    CompletionHandler retryCompletionHandler(std::shared_ptr<CompletionHandler> handler, unsigned long requestId,
                                             int attempt, int failuresSinceSuccess, Retry retry) const;

    mutable std::mutex configurationMutex;
    ClientConfiguration clientConfiguration;
    mutable std::atomic<unsigned long> nextRequestId{0};
};

} // namespace foundation::httpclient_core
