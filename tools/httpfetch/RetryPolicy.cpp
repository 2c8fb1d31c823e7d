#include "RetryPolicy.hpp"

#include "Messages.hpp"

#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <exception>
#include <memory>
#include <string>
#include <thread>

namespace httpfetch {

namespace {

using foundation::httpclient_core::DefaultRetry;
using foundation::httpclient_core::HttpMethod;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::HttpResponse;
using foundation::httpclient_core::HttpResponseCode;
using foundation::httpclient_core::RetryStrategy;

constexpr std::chrono::seconds maximumPause{60};
const std::string acceptRangesHeader = "Accept-Ranges";

bool retriable(HttpMethod method, bool timedOut, HttpResponseCode code)
{
    if (method != HttpMethod::GET) {
        return false;
    }
    // DefaultRetry asks only after a failure, so a success code or none at
    // all means that the attempt threw: the connection failed or was cut.
    return timedOut || code == HttpResponseCode::RequestNotMade || isSuccess(code) ||
           code == HttpResponseCode::RequestTimeout || code == HttpResponseCode::RangeNotSatisfiable ||
           code == HttpResponseCode::TooManyRequests || isServerError(code);
}

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
    const DefaultRetry pacing(maxAttempts, static_cast<long>(settings.backoff.count()), maximumPause, retriable,
                              maxAttempts);
    // Filled by the strategy below, printed by the override before it pauses.
    const auto pending = std::make_shared<RetryNotice>();
    DefaultRetry retry = pacing;
    retry.setBackoffOverride([pacing, pending, &reporter](int failuresSinceSuccess) {
        pending->pause = pacing.backoffDuration(failuresSinceSuccess);
        reporter.retrying(*pending);
        std::this_thread::sleep_for(pending->pause);
    });
    return [retry, pending, &log, maxAttempts,
            resume = settings.resume](const HttpRequest& request, const HttpResponse& response,
                                      const std::exception_ptr& error, int attempt, int failuresSinceSuccess) {
        log.attempts = attempt;
        *pending = RetryNotice{attempt, maxAttempts, reasonOf(response, error), resumeOffset(response, resume),
                               std::chrono::milliseconds(0)};
        const bool again = retry(request, response, error, attempt, failuresSinceSuccess);
        if (again && pending->resumeAt) {
            log.resumedAt = pending->resumeAt;
        }
        return again;
    };
}

} // namespace httpfetch
