#include <httpclient_core/RetryStrategies.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace foundation::httpclient_core {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Sleep = std::function<void(milliseconds)>;

// The longest wait a Retry-After value is read as.
constexpr std::int64_t kLongestWait = std::int64_t{1} << 31;

enum class Outcome { Returned, TimedOut, Cancelled, Failed };

Outcome outcomeOf(const std::exception_ptr& error)
{
    if (!error) {
        return Outcome::Returned;
    }
    try {
        std::rethrow_exception(error);
    } catch (const HttpRequestCancelledException&) {
        return Outcome::Cancelled;
    } catch (const HttpRequestTimeoutException&) {
        return Outcome::TimedOut;
    } catch (...) {
        return Outcome::Failed;
    }
}

bool succeeded(const HttpResponse& response, const std::exception_ptr& error)
{
    return !error && isSuccess(response.getResponseCode());
}

bool isThrottling(HttpResponseCode code)
{
    return code == HttpResponseCode::TooManyRequests || code == HttpResponseCode::ServiceUnavailable;
}

void sleepFor(const Sleep& sleep, milliseconds pause)
{
    if (pause.count() < 1) {
        return;
    }
    if (sleep) {
        sleep(pause);
    } else {
        std::this_thread::sleep_for(pause);
    }
}

// A double in [0, 1) from the calling thread's own generator.
double threadUniform01()
{
    thread_local std::mt19937_64 generator{std::random_device{}()};
    return static_cast<double>(generator() >> 11U) * 0x1.0p-53;
}

// min(cap, base x 2^(failures-1)) without overflow; 0 when base or cap is not positive.
std::int64_t ceilingOf(const JitteredBackoff& options, HttpResponseCode code, int failures)
{
    const std::int64_t base = (isThrottling(code) ? options.throttlingBase : options.base).count();
    const std::int64_t cap = options.cap.count();
    if (base <= 0 || cap <= 0) {
        return 0;
    }
    const int exponent = std::max(1, failures) - 1;
    if (exponent >= 62 || base > (cap >> exponent)) {
        return cap;
    }
    return std::min(cap, base << exponent);
}

milliseconds jitteredPause(const JitteredBackoff& options, std::int64_t ceiling)
{
    if (options.jitter == JitteredBackoff::Jitter::None || ceiling == 0) {
        return milliseconds(ceiling);
    }
    double u = options.uniform01 ? options.uniform01() : threadUniform01();
    if (!(u >= 0.0)) {
        u = 0.0;
    }
    u = std::min(u, 1.0);
    const auto whole = static_cast<double>(ceiling);
    const double pause = options.jitter == JitteredBackoff::Jitter::Full ? u * whole : whole / 2 + u * whole / 2;
    return milliseconds(static_cast<std::int64_t>(pause));
}

// HTTP-date parsing: a cursor over the value that reads fixed pieces and
// fails (returns false) at the first piece that does not match.
class DateReader {
public:
    explicit DateReader(std::string_view text) : text(text) {}

    bool literal(std::string_view piece)
    {
        if (text.substr(position, piece.size()) != piece) {
            return false;
        }
        position += piece.size();
        return true;
    }

    // Exactly count decimal digits.
    bool digits(std::size_t count, int& value)
    {
        if (text.size() - position < count) {
            return false;
        }
        value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const char c = text[position + i];
            if (c < '0' || c > '9') {
                return false;
            }
            value = value * 10 + (c - '0');
        }
        position += count;
        return true;
    }

    // The index of the name that follows, out of names.
    template <std::size_t N>
    bool oneOf(const std::array<std::string_view, N>& names, int& index)
    {
        for (std::size_t i = 0; i < N; ++i) {
            if (literal(names[i])) {
                index = static_cast<int>(i);
                return true;
            }
        }
        return false;
    }

    bool atEnd() const { return position == text.size(); }

private:
    std::string_view text;
    std::size_t position = 0;
};

constexpr std::array<std::string_view, 7> kDays{"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::array<std::string_view, 7> kLongDays{"Monday", "Tuesday",  "Wednesday", "Thursday",
                                                    "Friday", "Saturday", "Sunday"};
constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct CivilTime {
    int year = 0;
    int month = 0; // 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

bool readMonth(DateReader& reader, CivilTime& time)
{
    int index = 0;
    if (!reader.oneOf(kMonths, index)) {
        return false;
    }
    time.month = index + 1;
    return true;
}

bool readTimeOfDay(DateReader& reader, CivilTime& time)
{
    return reader.digits(2, time.hour) && reader.literal(":") && reader.digits(2, time.minute) && reader.literal(":") &&
           reader.digits(2, time.second);
}

// "Sun, 06 Nov 1994 08:49:37 GMT"
bool readImfFixdate(std::string_view text, CivilTime& time)
{
    DateReader reader(text);
    int day = 0;
    return reader.oneOf(kDays, day) && reader.literal(", ") && reader.digits(2, time.day) && reader.literal(" ") &&
           readMonth(reader, time) && reader.literal(" ") && reader.digits(4, time.year) && reader.literal(" ") &&
           readTimeOfDay(reader, time) && reader.literal(" GMT") && reader.atEnd();
}

// "Sunday, 06-Nov-94 08:49:37 GMT"; the year still has two digits.
bool readRfc850Date(std::string_view text, CivilTime& time)
{
    DateReader reader(text);
    int day = 0;
    return reader.oneOf(kLongDays, day) && reader.literal(", ") && reader.digits(2, time.day) && reader.literal("-") &&
           readMonth(reader, time) && reader.literal("-") && reader.digits(2, time.year) && reader.literal(" ") &&
           readTimeOfDay(reader, time) && reader.literal(" GMT") && reader.atEnd();
}

// "Sun Nov  6 08:49:37 1994"
bool readAsctimeDate(std::string_view text, CivilTime& time)
{
    DateReader reader(text);
    int day = 0;
    if (!(reader.oneOf(kDays, day) && reader.literal(" ") && readMonth(reader, time) && reader.literal(" "))) {
        return false;
    }
    const bool dayRead = reader.literal(" ") ? reader.digits(1, time.day) : reader.digits(2, time.day);
    return dayRead && reader.literal(" ") && readTimeOfDay(reader, time) && reader.literal(" ") &&
           reader.digits(4, time.year) && reader.atEnd();
}

std::int64_t floorDivide(std::int64_t dividend, std::int64_t divisor)
{
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

bool isLeapYear(std::int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Days from 1970-01-01 to the given proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t year, int month, int day)
{
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// The year of the given day counted from 1970-01-01.
std::int64_t yearOfDay(std::int64_t days)
{
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    return yearOfEra + era * 400 + (shiftedMonth >= 10 ? 1 : 0);
}

bool isValid(const CivilTime& time)
{
    static constexpr std::array<int, 12> kMonthDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int monthDays =
        kMonthDays[static_cast<std::size_t>(time.month - 1)] + (time.month == 2 && isLeapYear(time.year) ? 1 : 0);
    return time.day >= 1 && time.day <= monthDays && time.hour <= 23 && time.minute <= 59 && time.second <= 60;
}

std::optional<std::int64_t> deltaSeconds(std::string_view text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = std::min(kLongestWait, value * 10 + (c - '0'));
    }
    return value;
}

// Seconds since 1970-01-01 00:00:00 GMT of an HTTP-date, if text is one.
std::optional<std::int64_t> httpDate(std::string_view text, std::int64_t nowMilliseconds)
{
    CivilTime time;
    if (readRfc850Date(text, time)) {
        const std::int64_t nowYear = yearOfDay(floorDivide(nowMilliseconds, 86400000));
        std::int64_t year = nowYear - nowYear % 100 + time.year;
        year += year > nowYear + 50 ? -100 : (year <= nowYear - 50 ? 100 : 0);
        time.year = static_cast<int>(year);
    } else if (!readImfFixdate(text, time) && !readAsctimeDate(text, time)) {
        return std::nullopt;
    }
    if (!isValid(time)) {
        return std::nullopt;
    }
    const std::int64_t secondOfDay = (std::int64_t{time.hour} * 60 + time.minute) * 60 + time.second;
    return daysFromCivil(time.year, time.month, time.day) * 86400 + secondOfDay;
}

[[noreturn]] void throwNegativeTokens()
{
    throw std::invalid_argument("RetryQuota: a capacity, cost or amount must not be negative");
}

class JitteredRetry {
public:
    explicit JitteredRetry(JitteredBackoff options) : options(std::move(options)) {}

    bool operator()(const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                    int attempt, int failuresSinceSuccess) const
    {
        const Outcome outcome = outcomeOf(error);
        if (outcome == Outcome::Cancelled || succeeded(response, error) || attempt >= options.maxAttempts) {
            return false;
        }
        const HttpResponseCode code = response.getResponseCode();
        try {
            if (!options.isRetriable ||
                !options.isRetriable(request.getHttpMethod(), outcome == Outcome::TimedOut, code)) {
                return false;
            }
        } catch (...) {
            return false;
        }
        sleepFor(options.sleep, jitteredPause(options, ceilingOf(options, code, failuresSinceSuccess)));
        return true;
    }

private:
    JitteredBackoff options;
};

class RetryAfter {
public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    RetryAfter(RetryStrategy inner, seconds maxRetryAfter, std::set<HttpResponseCode> statuses, Sleep sleep, Clock now)
        : inner(std::move(inner)),
          maxRetryAfter(maxRetryAfter),
          statuses(std::move(statuses)),
          sleep(std::move(sleep)),
          now(std::move(now))
    {
    }

    bool operator()(const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                    int attempt, int failuresSinceSuccess) const
    {
        const auto start = clock();
        if (!inner || !inner(request, response, error, attempt, failuresSinceSuccess)) {
            return false;
        }
        const auto wait = serverWait(response, start);
        if (wait && *wait > maxRetryAfter) {
            return false;
        }
        if (wait) {
            sleepFor(sleep, *wait - std::chrono::floor<milliseconds>(clock() - start));
        }
        return true;
    }

private:
    std::chrono::system_clock::time_point clock() const { return now ? now() : std::chrono::system_clock::now(); }

    std::optional<seconds> serverWait(const HttpResponse& response, std::chrono::system_clock::time_point at) const
    {
        static const std::string kRetryAfter = "Retry-After";
        if (statuses.count(response.getResponseCode()) == 0 || !response.hasHeader(kRetryAfter)) {
            return std::nullopt;
        }
        return retryAfterDelay(response.getHeaderValue(kRetryAfter), at);
    }

    RetryStrategy inner;
    seconds maxRetryAfter;
    std::set<HttpResponseCode> statuses;
    Sleep sleep;
    Clock now;
};

class QuotaRetry {
public:
    QuotaRetry(RetryStrategy inner, std::shared_ptr<RetryQuota> quota)
        : inner(std::move(inner)),
          quota(std::move(quota))
    {
    }

    bool operator()(const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                    int attempt, int failuresSinceSuccess) const
    {
        if (succeeded(response, error)) {
            quota->release(attempt == 1 ? quota->successIncrement() : lastRetryCost.value_or(quota->retryCost()));
            return false;
        }
        if (!inner || !inner(request, response, error, attempt, failuresSinceSuccess)) {
            return false;
        }
        const int cost = outcomeOf(error) == Outcome::TimedOut ? quota->timeoutCost() : quota->retryCost();
        if (!quota->tryAcquire(cost)) {
            return false;
        }
        lastRetryCost = cost;
        return true;
    }

private:
    RetryStrategy inner;
    std::shared_ptr<RetryQuota> quota;
    mutable std::optional<int> lastRetryCost;
};

} // namespace

IsRetriableFunction idempotentIsRetriable(std::set<HttpMethod> methods, std::set<HttpResponseCode> statuses)
{
    return [methods = std::move(methods), statuses = std::move(statuses)](HttpMethod method, bool timedOut,
                                                                          HttpResponseCode code) {
        if (methods.count(method) == 0) {
            return false;
        }
        return timedOut || code == HttpResponseCode::RequestNotMade || isSuccess(code) || statuses.count(code) != 0 ||
               (code == HttpResponseCode::RangeNotSatisfiable && method == HttpMethod::GET);
    };
}

RetryStrategy jitteredRetryStrategy(JitteredBackoff options)
{
    return JitteredRetry(std::move(options));
}

std::optional<seconds> retryAfterDelay(const std::string& value, std::chrono::system_clock::time_point now)
{
    if (const auto delta = deltaSeconds(value)) {
        return seconds(*delta);
    }
    const std::int64_t nowMilliseconds = std::chrono::floor<milliseconds>(now.time_since_epoch()).count();
    const auto date = httpDate(value, nowMilliseconds);
    if (!date) {
        return std::nullopt;
    }
    const std::int64_t aheadMilliseconds = *date * 1000 - nowMilliseconds;
    if (aheadMilliseconds <= 0) {
        return seconds(0);
    }
    return seconds(std::min(kLongestWait, (aheadMilliseconds + 999) / 1000));
}

RetryStrategy honorRetryAfter(RetryStrategy inner, seconds maxRetryAfter, std::set<HttpResponseCode> statuses,
                              std::function<void(milliseconds)> sleep,
                              std::function<std::chrono::system_clock::time_point()> now)
{
    return RetryAfter(std::move(inner), maxRetryAfter, std::move(statuses), std::move(sleep), std::move(now));
}

RetryQuota::RetryQuota(int capacity, int retryCost, int timeoutCost, int successIncrement)
    : capacity_(capacity),
      retryCost_(retryCost),
      timeoutCost_(timeoutCost),
      successIncrement_(successIncrement),
      available_(capacity)
{
    if (capacity < 0 || retryCost < 0 || timeoutCost < 0 || successIncrement < 0) {
        throwNegativeTokens();
    }
}

bool RetryQuota::tryAcquire(int cost)
{
    if (cost < 0) {
        throwNegativeTokens();
    }
    int current = available_.load();
    do {
        if (current < cost) {
            return false;
        }
    } while (!available_.compare_exchange_weak(current, current - cost));
    return true;
}

void RetryQuota::release(int amount)
{
    if (amount < 0) {
        throwNegativeTokens();
    }
    int current = available_.load();
    while (!available_.compare_exchange_weak(current, current + std::min(amount, capacity_ - current))) {
    }
}

int RetryQuota::available() const
{
    return available_.load();
}

RetryStrategy withRetryQuota(RetryStrategy inner, std::shared_ptr<RetryQuota> quota)
{
    if (!quota) {
        throw std::invalid_argument("withRetryQuota needs a quota");
    }
    return QuotaRetry(std::move(inner), std::move(quota));
}

} // namespace foundation::httpclient_core
