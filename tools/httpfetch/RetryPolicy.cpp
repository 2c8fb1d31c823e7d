#include "RetryPolicy.hpp"

#include "Messages.hpp"

#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <thread>

namespace httpfetch {

namespace {

using foundation::httpclient_core::HttpMethod;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::HttpResponse;
using foundation::httpclient_core::HttpResponseCode;
using foundation::httpclient_core::JitteredBackoff;
using foundation::httpclient_core::RetryStrategy;
using std::chrono::milliseconds;

constexpr std::chrono::seconds maximumPause{60};
const std::string acceptRangesHeader = "Accept-Ranges";

std::string reasonOf(const HttpResponse& response, const std::exception_ptr& error)
{
    if (!error) {
        return messages::statusLine(response.getResponseCode(), response.getResponseCodeReason());
    }
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return messages::unknownFailure();
    }
}

// Where the next attempt starts, decided as the request frame decides it: at
// the bytes received so far when resuming is on and the reply announced
// byte ranges; otherwise from the start.
std::optional<std::int64_t> resumeOffset(const HttpResponse& response, bool resume)
{
    const HttpResponseCode code = response.getResponseCode();
    if (!resume || code == HttpResponseCode::RequestNotMade || code == HttpResponseCode::RangeNotSatisfiable ||
        !response.hasHeader(acceptRangesHeader) || response.getHeaderValue(acceptRangesHeader) != "bytes") {
        return std::nullopt;
    }
    return static_cast<std::streamoff>(response.getResponseBody().tellp());
}

} // namespace

RetryStrategy makeRetryStrategy(const RetrySettings& settings, ProgressReporter& reporter, AttemptLog& log)
{
    const int maxAttempts = settings.retries + 1;
    // The strategies below only record their pauses; the one pause slept is
    // the longer of the two, which is what sleeping the backoff and then the
    // rest of the server's wait would come to.
    const auto pending = std::make_shared<RetryNotice>();
    JitteredBackoff backoff;
    backoff.maxAttempts = maxAttempts;
    backoff.base = settings.delay;
    backoff.throttlingBase = settings.delay;
    backoff.cap = maximumPause;
    backoff.jitter = JitteredBackoff::Jitter::None;
    if (settings.allErrors) {
        backoff.isRetriable = [](HttpMethod, bool, HttpResponseCode) { return true; };
    }
    backoff.sleep = [pending](milliseconds pause) { pending->pause = pause; };
    const RetryStrategy retry = honorRetryAfter(
        jitteredRetryStrategy(std::move(backoff)), std::chrono::seconds(120),
        {HttpResponseCode::PayloadTooLarge, HttpResponseCode::TooManyRequests, HttpResponseCode::ServiceUnavailable},
        [pending](milliseconds wait) { pending->serverWait = wait; });
    const auto start = std::chrono::steady_clock::now();
    return [retry, pending, start, &log, &reporter, settings,
            maxAttempts](const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                         int attempt, int failuresSinceSuccess) {
        log.attempts = attempt;
        *pending = RetryNotice{
            attempt,         maxAttempts, reasonOf(response, error), resumeOffset(response, settings.resume),
            milliseconds(0), std::nullopt};
        if (settings.maxTime.count() > 0 && std::chrono::steady_clock::now() - start >= settings.maxTime) {
            return false;
        }
        if (!retry(request, response, error, attempt, failuresSinceSuccess)) {
            return false;
        }
        if (pending->serverWait) {
            pending->pause = std::max(pending->pause, *pending->serverWait);
        }
        if (pending->resumeAt) {
            log.resumedAt = pending->resumeAt;
        }
        reporter.retrying(*pending);
        std::this_thread::sleep_for(pending->pause);
        return true;
    };
}

} // namespace httpfetch
