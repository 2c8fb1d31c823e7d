// Retry strategies beside DefaultRetry: a retry predicate for idempotent
// requests that also retries refused, reset and cut connections; randomised
// exponential backoff; the server's Retry-After; and a retry budget shared
// between requests, which stops a retry storm when a service is down.
//
//   auto quota = std::make_shared<RetryQuota>();
//   ClientConfiguration configuration;
//   configuration.withRetryStrategy(withRetryQuota(honorRetryAfter(jitteredRetryStrategy()), quota));
//   // a GET that was refused, cut, timed out or got a 408, 429 or 5xx is tried
//   // up to 3 times, pausing a random 0-100 ms, then 0-200 ms (0-1 s, 0-2 s
//   // after a 429 or 503, or as long as the server's Retry-After asks);
//   // retrying stops for everyone once the shared budget of 500 runs out.
//
// Retry-After grammar (delta-seconds or an HTTP-date, times in GMT):
//   1*DIGIT                              "120"
//   IMF-fixdate                          "Sun, 06 Nov 1994 08:49:37 GMT"
//   obsolete RFC 850 form                "Sunday, 06-Nov-94 08:49:37 GMT"
//   asctime form                         "Sun Nov  6 08:49:37 1994"
#pragma once

#include <httpclient_core/DefaultRetry.hpp>
#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace foundation::httpclient_core {

// False when method is not in methods. Otherwise true after a time-out, for
// code -1 (no response at all: refused, reset, DNS, TLS), for a 2xx (asked
// only after a failed attempt, a 2xx means the body was cut), for a code in
// statuses, and for a 416 on a GET (the frame then restarts the body).
// (DELETE is set aside as in HttpMethod.hpp: system headers define it.)
#pragma push_macro("DELETE")
#undef DELETE
HTTPCLIENT_CORE_EXPORT IsRetriableFunction idempotentIsRetriable(
    std::set<HttpMethod> methods = {HttpMethod::GET, HttpMethod::HEAD, HttpMethod::PUT, HttpMethod::DELETE},
    std::set<HttpResponseCode> statuses = {HttpResponseCode::RequestTimeout, HttpResponseCode::TooManyRequests,
                                           HttpResponseCode::InternalServerError, HttpResponseCode::BadGateway,
                                           HttpResponseCode::ServiceUnavailable, HttpResponseCode::GatewayTimeout});
#pragma pop_macro("DELETE")

// The options of jitteredRetryStrategy.
struct JitteredBackoff {
    // None: the pause is the ceiling; Full: uniform01() x ceiling;
    // Equal: ceiling/2 + uniform01() x ceiling/2.
    enum class Jitter { None, Full, Equal };

    // No retry once the attempt just made is this one.
    int maxAttempts = 3;
    // The ceiling of the n-th pause in a row is base x 2^(n-1), at most cap.
    std::chrono::milliseconds base{100};
    // Takes the place of base after a 429 or a 503.
    std::chrono::milliseconds throttlingBase{1000};
    std::chrono::milliseconds cap{20000};
    Jitter jitter = Jitter::Full;
    IsRetriableFunction isRetriable = idempotentIsRetriable();
    // Empty: std::this_thread::sleep_for.
    std::function<void(std::chrono::milliseconds)> sleep;
    // Empty: a generator of the calling thread's own, in [0, 1). A value
    // outside [0, 1] is taken as the nearest end (NaN as 0).
    std::function<double()> uniform01;
};

// In this order: false for an attempt cancelled with
// HttpRequestCancelledException; false for a 2xx without an exception; false
// once attempt reaches maxAttempts; false unless isRetriable says yes (an empty
// or throwing one counts as no, its exception swallowed); otherwise it pauses
// and gives true. With n = max(1, failuresSinceSuccess) the ceiling is
// min(cap, b x 2^(n-1)), b being throttlingBase after a 429 or 503 and base
// otherwise (no overflow; a base or cap of 0 or less gives no pause); the pause
// is jittered as options.jitter says, floored to whole milliseconds, and a
// pause under 1 ms calls no sleep.
HTTPCLIENT_CORE_EXPORT RetryStrategy jitteredRetryStrategy(JitteredBackoff options = {});

// The wait that a Retry-After value asks for, counted from now: "120" is 120 s;
// an HTTP-date in one of the three forms above gives the time from now until
// then, rounded up to whole seconds, and 0 s when it has passed. Anything else
// (blanks, signs, a wrong day or month name, an impossible date, lower-case
// "gmt") gives no value. A two-digit RFC 850 year is the year with those last
// digits within 50 years of now's. Waits beyond 2^31 s are read as 2^31 s.
// Independent of every locale; allocates nothing.
HTTPCLIENT_CORE_EXPORT std::optional<std::chrono::seconds> retryAfterDelay(const std::string& value,
                                                                           std::chrono::system_clock::time_point now);

// Reads now() once, at t0, then asks inner, which decides (and may pause); its
// no is final, and an empty inner says no. When the response's code is in
// statuses and its "Retry-After" parses, the server's wait is
// retryAfterDelay(value, t0): above maxRetryAfter the answer is false, without
// a sleep of its own, so the caller gets the 429 or 503 rather than a blocked
// thread. Otherwise, after inner's yes, this sleeps what is left of the wait,
// wait - (now() - t0) with the elapsed time floored to whole milliseconds,
// when that is positive: inner's own pause counts towards it. Empty sleep and
// now stand for std::this_thread::sleep_for and the system clock.
HTTPCLIENT_CORE_EXPORT RetryStrategy honorRetryAfter(
    RetryStrategy inner, std::chrono::seconds maxRetryAfter = std::chrono::seconds(120),
    std::set<HttpResponseCode> statuses = {HttpResponseCode::PayloadTooLarge, HttpResponseCode::TooManyRequests,
                                           HttpResponseCode::ServiceUnavailable},
    std::function<void(std::chrono::milliseconds)> sleep = {},
    std::function<std::chrono::system_clock::time_point()> now = {});

// A budget of retry tokens; thread-safe, so one quota may be shared between
// requests and clients. A retry costs tokens, a success pays some back.
class HTTPCLIENT_CORE_EXPORT RetryQuota {
public:
    // Starts full. Here and below a negative number of tokens throws
    // std::invalid_argument "RetryQuota: a capacity, cost or amount must not
    // be negative".
    explicit RetryQuota(int capacity = 500, int retryCost = 5, int timeoutCost = 10, int successIncrement = 1);

    // Takes cost tokens and gives true when that many are available; otherwise
    // takes none and gives false.
    bool tryAcquire(int cost);
    // Puts amount tokens back, never above the capacity.
    void release(int amount);
    int available() const;

    int retryCost() const { return retryCost_; }
    int timeoutCost() const { return timeoutCost_; }
    int successIncrement() const { return successIncrement_; }

private:
    const int capacity_;
    const int retryCost_;
    const int timeoutCost_;
    const int successIncrement_;
    std::atomic<int> available_;
};

// A successful attempt (a 2xx without an exception) pays tokens back, the
// quota's successIncrement when it was the first attempt and otherwise what
// the retry before it cost, and gives false. Otherwise, when inner says retry
// (an empty inner says no), the retry costs timeoutCost after a time-out and
// retryCost after anything else, and the answer is false when the quota
// cannot pay. The cost of the last retry is remembered by the strategy object:
// in the synchronous loop one copy judges every attempt of a request, so the
// refund is exact; the asynchronous chain judges each attempt with a fresh
// copy, which pays back retryCost. A strategy object is therefore not to be
// called from two threads at once (copies may). Throws std::invalid_argument
// "withRetryQuota needs a quota" for a null quota.
HTTPCLIENT_CORE_EXPORT RetryStrategy withRetryQuota(RetryStrategy inner, std::shared_ptr<RetryQuota> quota);

} // namespace foundation::httpclient_core
