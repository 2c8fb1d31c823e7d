#include <httpclient_core/DefaultRetry.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <thread>
#include <utility>

namespace foundation::httpclient_core {

namespace {

// 2^(count-1) x base with 64-bit arithmetic, saturating where the product
// would not fit (counts that large never occur under the attempt limits).
std::int64_t scaledBackoff(int count, std::int64_t base)
{
    const int exponent = count - 1;
    if (exponent >= 63) {
        return base > 0 ? std::numeric_limits<std::int64_t>::max()
                        : (base < 0 ? std::numeric_limits<std::int64_t>::min() : 0);
    }
    const std::int64_t power = std::int64_t{1} << exponent;
    std::int64_t product = 0;
    if (__builtin_mul_overflow(power, base, &product)) {
        return base > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
    }
    return product;
}

} // namespace

DefaultRetry::DefaultRetry(int maxAttempts, long backoffBase, std::chrono::seconds maxBackoff,
                           IsRetriableFunction isRetriable, int maxConsecutiveFailures)
    : maxAttempts(maxAttempts),
      maxConsecutiveFailures(maxConsecutiveFailures),
      backoffBase(backoffBase),
      maxBackoff(static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(maxBackoff).count())),
      isRetriable(std::move(isRetriable))
{
}

bool DefaultRetry::operator()(const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                              int attempt, int failuresSinceSuccess) const
{
    if (!error && isSuccess(response.getResponseCode())) {
        return false;
    }
    if (attempt >= maxAttempts || failuresSinceSuccess >= maxConsecutiveFailures) {
        return false;
    }
    const HttpMethod method = request.getHttpMethod();
    const bool timedOut = error && isTimeoutException(error);
    const HttpResponseCode code = response.getResponseCode();
    try {
        if (!isRetriable || !isRetriable(method, timedOut, code)) {
            return false;
        }
    } catch (...) {
        return false;
    }
    if (backoffOverride) {
        backoffOverride(failuresSinceSuccess);
    } else if (failuresSinceSuccess >= 2) {
        const auto pause = backoffDuration(failuresSinceSuccess);
        if (pause.count() >= 1) {
            std::this_thread::sleep_for(pause);
        }
    }
    return true;
}

bool DefaultRetry::isTimeoutException(const std::exception_ptr& error) const
{
    if (!error) {
        return false;
    }
    try {
        std::rethrow_exception(error);
    } catch (const HttpRequestTimeoutException&) {
        return true;
    } catch (...) {
        return false;
    }
}

std::chrono::milliseconds DefaultRetry::backoffDuration(int count) const
{
    if (count < 2) {
        return std::chrono::milliseconds(0);
    }
    return std::chrono::milliseconds(std::min<std::int64_t>(scaledBackoff(count, backoffBase), maxBackoff));
}

void DefaultRetry::setBackoffOverride(std::function<void(int)> override)
{
    backoffOverride = std::move(override);
}

RetryStrategy defaultRetryStrategy(int maxAttempts, long backoffBase, std::chrono::seconds maxBackoff,
                                   IsRetriableFunction isRetriable, int maxConsecutiveFailures)
{
    return DefaultRetry(maxAttempts, backoffBase, maxBackoff, std::move(isRetriable), maxConsecutiveFailures);
}

RetryStrategy defaultRetryStrategy(int maxAttempts, long backoffBase, std::chrono::seconds maxBackoff,
                                   IsRetriableFunction isRetriable)
{
    return defaultRetryStrategy(maxAttempts, backoffBase, maxBackoff, std::move(isRetriable), maxAttempts);
}

RetryStrategy noRetriesStrategy()
{
    return [](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int) { return false; };
}

IsRetriableFunction defaultIsRetriable()
{
    return [](HttpMethod method, bool timedOut, HttpResponseCode code) {
        if (method != HttpMethod::GET) {
            return false;
        }
        return timedOut || isServerError(code) || code == HttpResponseCode::RangeNotSatisfiable;
    };
}

} // namespace foundation::httpclient_core
