// The retry policy: after every attempt a client asks its RetryStrategy
// whether to try again. DefaultRetry is the configurable strategy; it also
// sleeps the pause before it answers "retry".
//
//   auto strategy = defaultRetryStrategy(5, 500, std::chrono::seconds(120), defaultIsRetriable());
//   // retries a GET that timed out or got a 5xx or 416, at most 5 attempts,
//   // pausing 0, 1000, 2000, 4000 ms as failures since the last success grow.
//   strategy.target<DefaultRetry>()->setBackoffOverride([](int) {}); // no sleeping
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>

#include <chrono>
#include <exception>
#include <functional>

namespace foundation::httpclient_core {

class HttpRequest;
class HttpResponse;

// Called with the request as sent, the response as the attempt left it, the
// attempt's exception (null when it returned), the 1-based attempt number and
// the attempts since the last success-coded one. True makes another attempt.
using RetryStrategy = std::function<bool(const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int)>;

// Called with the request's method, whether the attempt timed out and the
// response's status code. True when such a failure may be retried.
using IsRetriableFunction = std::function<bool(HttpMethod, bool, HttpResponseCode)>;

class HTTPCLIENT_CORE_EXPORT DefaultRetry {
public:
    // maxBackoff is given in seconds and kept in milliseconds. Nothing is checked.
    DefaultRetry(int maxAttempts, long backoffBase, std::chrono::seconds maxBackoff, IsRetriableFunction isRetriable,
                 int maxConsecutiveFailures);

    // In this order: false for a success-coded response without an exception;
    // false once attempt reaches maxAttempts or failuresSinceSuccess reaches
    // maxConsecutiveFailures; false unless isRetriable says yes (an empty or
    // throwing isRetriable counts as no, its exception swallowed); then the
    // pause and true. The pause is the backoff override called with
    // failuresSinceSuccess when one is set, otherwise a sleep of
    // backoffDuration(failuresSinceSuccess). By design the limit counts
    // attempts from the first while the pause grows with failures since the
    // last success, so the first retry is made at once.
    bool operator()(const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                    int attempt, int failuresSinceSuccess) const;

    // Whether error holds an HttpRequestTimeoutException or a class derived from it.
    bool isTimeoutException(const std::exception_ptr& error) const;

    // 0 below 2; otherwise 2^(count-1) x backoffBase, capped at maxBackoff.
    std::chrono::milliseconds backoffDuration(int count) const;

    // Called with failuresSinceSuccess instead of sleeping; reach the one held
    // in a RetryStrategy through target<DefaultRetry>().
    void setBackoffOverride(std::function<void(int)> backoffOverride);

private:
    int maxAttempts;
    int maxConsecutiveFailures;
    long backoffBase;
    long maxBackoff;
    IsRetriableFunction isRetriable;
    std::function<void(int)> backoffOverride;
};

HTTPCLIENT_CORE_EXPORT RetryStrategy defaultRetryStrategy(int maxAttempts, long backoffBase,
                                                          std::chrono::seconds maxBackoff,
                                                          IsRetriableFunction isRetriable, int maxConsecutiveFailures);
// The same with maxConsecutiveFailures equal to maxAttempts.
HTTPCLIENT_CORE_EXPORT RetryStrategy defaultRetryStrategy(int maxAttempts, long backoffBase,
                                                          std::chrono::seconds maxBackoff,
                                                          IsRetriableFunction isRetriable);
// Never retries.
HTTPCLIENT_CORE_EXPORT RetryStrategy noRetriesStrategy();
// GET only: retriable after a time-out, a 5xx status or a 416; nothing else is.
HTTPCLIENT_CORE_EXPORT IsRetriableFunction defaultIsRetriable();

} // namespace foundation::httpclient_core
