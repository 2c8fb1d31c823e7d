#include <httpclient_core/RetryStrategies.hpp>

#include "support/ExpectThrowMessage.hpp"
#include "support/Requests.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_scripted::ScriptedHttpClient;
using foundation::httpclient_scripted::ScriptedReply;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Jitter = JitteredBackoff::Jitter;

namespace {

const auto kTimeout = std::make_exception_ptr(HttpRequestTimeoutException());
const auto kCancelled = std::make_exception_ptr(HttpRequestCancelledException());
const auto kRefused = std::make_exception_ptr(HttpRequestFailedException("refused"));

// 1994-11-06 08:49:00 GMT.
const std::chrono::system_clock::time_point kNow{seconds(784111740)};

// A fake clock that only the fake sleep moves; the sleeps are recorded.
struct FakeTime {
    std::chrono::system_clock::time_point now = kNow;
    std::vector<long long> sleeps;

    std::function<void(milliseconds)> sleep()
    {
        return [this](milliseconds pause) {
            sleeps.push_back(pause.count());
            now += pause;
        };
    }
    std::function<std::chrono::system_clock::time_point()> clock()
    {
        return [this] { return now; };
    }
};

HttpResponse responseWith(int code, const std::string& retryAfter = {})
{
    HttpResponse response;
    response.setResponseCode(static_cast<HttpResponseCode>(code));
    if (!retryAfter.empty()) {
        response.setHeaderValue("Retry-After", retryAfter);
    }
    return response;
}

bool decide(const RetryStrategy& retry, const HttpResponse& response, const std::exception_ptr& error = nullptr,
            int attempt = 1, int failures = 1, HttpMethod method = HttpMethod::GET)
{
    return retry(HttpRequest(method, URL{"http://h/"}, {}), response, error, attempt, failures);
}

bool yes(const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int)
{
    return true;
}

} // namespace

TEST(IdempotentIsRetriable, RetriesIdempotentMethodsAfterTimeOutsLostConnectionsCutBodiesAndListedStatuses)
{
    struct Row {
        HttpMethod method;
        bool timedOut;
        int code;
        bool expected;
    };
    const Row rows[] = {
        {HttpMethod::GET, false, -1, true},     {HttpMethod::HEAD, true, -1, true},
        {HttpMethod::PUT, false, 200, true},    {HttpMethod::DELETE, false, 206, true},
        {HttpMethod::GET, false, 408, true},    {HttpMethod::GET, false, 429, true},
        {HttpMethod::GET, false, 504, true},    {HttpMethod::GET, false, 416, true},
        {HttpMethod::PUT, false, 416, false},   {HttpMethod::GET, false, 501, false},
        {HttpMethod::GET, false, 404, false},   {HttpMethod::POST, true, -1, false},
        {HttpMethod::PATCH, false, 503, false},
    };
    const auto retriable = idempotentIsRetriable();
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(static_cast<int>(row.method)) + " " + std::to_string(row.code));
        EXPECT_EQ(retriable(row.method, row.timedOut, static_cast<HttpResponseCode>(row.code)), row.expected);
    }
    const auto custom = idempotentIsRetriable({HttpMethod::POST}, {HttpResponseCode::NotFound});
    EXPECT_TRUE(custom(HttpMethod::POST, false, HttpResponseCode::NotFound));
    EXPECT_FALSE(custom(HttpMethod::POST, false, HttpResponseCode::InternalServerError));
    EXPECT_FALSE(custom(HttpMethod::GET, true, HttpResponseCode::RequestNotMade));
}

TEST(JitteredRetryStrategy, DecidesByCancellationSuccessLimitAndPredicate)
{
    const auto throwing = [](HttpMethod, bool, HttpResponseCode) -> bool { throw std::runtime_error("predicate"); };
    const auto onlyTimeouts = [](HttpMethod, bool timedOut, HttpResponseCode) { return timedOut; };
    struct Row {
        const char* name;
        std::exception_ptr error;
        int code, attempt;
        IsRetriableFunction predicate;
        bool expected;
    };
    const Row rows[] = {
        {"refused", kRefused, -1, 1, idempotentIsRetriable(), true},
        {"cut after a 200", kRefused, 200, 2, idempotentIsRetriable(), true},
        {"cancelled, even where the predicate says yes", kCancelled, -1, 1, idempotentIsRetriable(), false},
        {"success", nullptr, 204, 1, idempotentIsRetriable(), false},
        {"attempt limit", kTimeout, -1, 3, idempotentIsRetriable(), false},
        {"not retriable", nullptr, 404, 1, idempotentIsRetriable(), false},
        {"a time-out", kTimeout, -1, 1, onlyTimeouts, true},
        {"a failure is no time-out", kRefused, -1, 1, onlyTimeouts, false},
        {"empty predicate", kTimeout, -1, 1, nullptr, false},
        {"throwing predicate", kTimeout, -1, 1, throwing, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        FakeTime time;
        JitteredBackoff options;
        options.isRetriable = row.predicate;
        options.sleep = time.sleep();
        options.uniform01 = [] { return 0.5; };
        EXPECT_EQ(decide(jitteredRetryStrategy(options), responseWith(row.code), row.error, row.attempt), row.expected);
        EXPECT_EQ(time.sleeps.size(), row.expected ? 1U : 0U);
    }
}

TEST(JitteredRetryStrategy, PausesAJitteredCappedExponentialOfTheFailuresInARow)
{
    struct Row {
        const char* name;
        Jitter jitter;
        int code, failures;
        double uniform;
        std::optional<long long> pause; // none: no sleep call
    };
    const Row rows[] = {
        {"count 0 as 1", Jitter::None, 500, 0, 0.9, 100},
        {"doubles", Jitter::None, 500, 4, 0.9, 800},
        {"throttled 429", Jitter::None, 429, 2, 0.9, 2000},
        {"capped", Jitter::None, 503, 6, 0.9, 20000},
        {"no overflow", Jitter::None, 500, INT_MAX, 0.9, 20000},
        {"full", Jitter::Full, 500, 3, 0.25, 100},
        {"full floors", Jitter::Full, 500, 1, 0.999, 99},
        {"full zero sleeps not", Jitter::Full, 500, 3, 0.0, std::nullopt},
        {"full under 1 ms sleeps not", Jitter::Full, 500, 1, 0.005, std::nullopt},
        {"equal", Jitter::Equal, 500, 2, 0.0, 100},
        {"equal top", Jitter::Equal, 500, 2, 0.5, 150},
        {"above 1 taken as 1", Jitter::Full, 500, 1, 7.0, 100},
        {"NaN taken as 0", Jitter::Equal, 500, 1, std::nan(""), 50},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        FakeTime time;
        JitteredBackoff options;
        options.jitter = row.jitter;
        options.maxAttempts = 100;
        options.sleep = time.sleep();
        options.uniform01 = [&row] { return row.uniform; };
        EXPECT_TRUE(decide(jitteredRetryStrategy(options), responseWith(row.code), kRefused, 1, row.failures));
        EXPECT_EQ(time.sleeps, row.pause ? std::vector<long long>{*row.pause} : std::vector<long long>{});
    }
}

TEST(JitteredRetryStrategy, TheDefaultRandomSourceStaysBelowTheCeiling)
{
    FakeTime time;
    JitteredBackoff options;
    options.sleep = time.sleep();
    const auto retry = jitteredRetryStrategy(options);
    for (int i = 0; i < 200; ++i) {
        decide(retry, responseWith(500), nullptr, 1, 2);
    }
    for (const auto pause : time.sleeps) {
        EXPECT_LT(pause, 200);
    }
    EXPECT_GT(time.sleeps.size(), 150U); // a generator stuck at 0 would never sleep
}

TEST(RetryAfterDelay, ReadsSecondsAndTheThreeDateFormsLocaleFree)
{
    struct Row {
        const char* value;
        std::optional<long long> seconds;
    };
    const Row rows[] = {
        {"120", 120},
        {"99999999999999999999999", 2147483648LL},
        {"Sun, 06 Nov 1994 08:49:37 GMT", 37},
        {"Sunday, 06-Nov-94 08:49:37 GMT", 37},
        {"Sun Nov  6 08:49:37 1994", 37},
        {"Wed Nov 16 08:49:00 1994", 864000},
        {"Thu, 29 Feb 1996 00:00:00 GMT", 41440260},
        {"Sat, 01 Jan 1994 00:00:00 GMT", 0},
        {"Fri, 06 Nov 1994 08:49:37 GMT", 37}, // the day name is not checked against the date
        {"", std::nullopt},
        {" 120", std::nullopt},
        {"+1", std::nullopt},
        {"1.5", std::nullopt},
        {"Sun, 06 Nov 1994 08:49:37 gmt", std::nullopt},
        {"Sun, 6 Nov 1994 08:49:37 GMT", std::nullopt},
        {"Sun, 06 Nov 1994 08:49:37 GMT ", std::nullopt},
        {"Sun, 06 Nov 1994 24:00:00 GMT", std::nullopt},
        {"Tue, 29 Feb 1994 00:00:00 GMT", std::nullopt},
        {"Sun, 31 Apr 1994 00:00:00 GMT", std::nullopt},
        {"Sun, 06-Nov-94 08:49:37 GMT", std::nullopt},
        {"Sunday, 06 Nov 1994 08:49:37 GMT", std::nullopt},
        {"Sun Nov 6 08:49:37 1994", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        const auto delay = retryAfterDelay(row.value, kNow);
        ASSERT_EQ(delay.has_value(), row.seconds.has_value());
        if (delay) {
            EXPECT_EQ(delay->count(), *row.seconds);
        }
    }
    // A fraction of a second still to go counts as a whole one.
    EXPECT_EQ(retryAfterDelay("Sun, 06 Nov 1994 08:49:37 GMT", kNow + milliseconds(500)), seconds(37));
}

TEST(RetryAfterDelay, ReadsATwoDigitYearWithinFiftyYearsOfNow)
{
    const std::chrono::system_clock::time_point newYear2026{seconds(1767225600)};
    EXPECT_EQ(retryAfterDelay("Friday, 01-Jan-27 00:00:00 GMT", newYear2026), seconds(365 * 86400));
    EXPECT_EQ(retryAfterDelay("Saturday, 01-Jan-76 00:00:00 GMT", newYear2026), seconds(18262 * 86400LL));
    EXPECT_EQ(retryAfterDelay("Friday, 01-Jan-77 00:00:00 GMT", newYear2026), seconds(0)); // 1977
    const std::chrono::system_clock::time_point newYear2090{seconds(3786912000)};
    EXPECT_EQ(retryAfterDelay("Thursday, 01-Jan-91 00:00:00 GMT", newYear2090), seconds(365 * 86400));
    EXPECT_EQ(retryAfterDelay("Saturday, 01-Jan-10 00:00:00 GMT", newYear2090), seconds(7304 * 86400LL)); // 2110
}

TEST(HonorRetryAfter, WaitsUntilTheServerAsksCountingInnersPause)
{
    struct Row {
        const char* name;
        int code;
        std::string retryAfter;
        long long innerPause;
        bool innerSays, expected, innerAsked;
        std::vector<long long> sleeps;
    };
    const Row rows[] = {
        {"rest of the wait", 503, "10", 3000, true, true, true, {3000, 7000}},
        {"an HTTP-date", 429, "Sun, 06 Nov 1994 08:49:30 GMT", 0, true, true, true, {30000}},
        {"inner paused longer", 413, "2", 5000, true, true, true, {5000}},
        {"at the limit", 503, "120", 0, true, true, true, {120000}},
        {"above the limit", 503, "121", 2000, true, false, true, {2000}},
        {"inner says no", 503, "10", 0, false, false, true, {}},
        {"status not listed", 500, "10", 0, true, true, true, {}},
        {"unparsable", 503, "soon", 0, true, true, true, {}},
        {"no header", 503, "", 0, true, true, true, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        FakeTime time;
        int asked = 0;
        const RetryStrategy inner = [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int) {
            ++asked;
            if (row.innerPause > 0) {
                time.sleep()(milliseconds(row.innerPause));
            }
            return row.innerSays;
        };
        const auto retry = honorRetryAfter(inner, seconds(120),
                                           {HttpResponseCode::PayloadTooLarge, HttpResponseCode::TooManyRequests,
                                            HttpResponseCode::ServiceUnavailable},
                                           time.sleep(), time.clock());
        EXPECT_EQ(decide(retry, responseWith(row.code, row.retryAfter)), row.expected);
        EXPECT_EQ(asked, row.innerAsked ? 1 : 0);
        EXPECT_EQ(time.sleeps, row.sleeps);
    }
    EXPECT_FALSE(decide(honorRetryAfter(nullptr), responseWith(500)));
}

TEST(RetryQuota, PaysOnlyWhatItHoldsAndRefillsUpToItsCapacity)
{
    RetryQuota quota(12, 5, 10, 1);
    EXPECT_TRUE(quota.tryAcquire(10));
    EXPECT_FALSE(quota.tryAcquire(3));
    EXPECT_EQ(quota.available(), 2);
    quota.release(4);
    EXPECT_EQ(quota.available(), 6);
    quota.release(INT_MAX);
    EXPECT_EQ(quota.available(), 12);

    const char* message = "RetryQuota: a capacity, cost or amount must not be negative";
    EXPECT_THROW_MSG(RetryQuota(-1), std::invalid_argument, message);
    EXPECT_THROW_MSG(RetryQuota(10, 5, -1), std::invalid_argument, message);
    EXPECT_THROW_MSG(quota.tryAcquire(-1), std::invalid_argument, message);
    EXPECT_THROW_MSG(quota.release(-1), std::invalid_argument, message);
    EXPECT_EQ(quota.available(), 12);
    EXPECT_THROW_MSG(withRetryQuota(noRetriesStrategy(), nullptr), std::invalid_argument,
                     "withRetryQuota needs a quota");
}

TEST(WithRetryQuota, ChargesEachRetryAndRefundsOnSuccess)
{
    const auto quota = std::make_shared<RetryQuota>(20, 5, 10, 1);
    const auto retry = withRetryQuota(yes, quota);
    EXPECT_TRUE(decide(retry, responseWith(503), nullptr, 1));
    EXPECT_EQ(quota->available(), 15);
    EXPECT_TRUE(decide(retry, responseWith(-1), kTimeout, 2));
    EXPECT_EQ(quota->available(), 5);
    EXPECT_FALSE(decide(retry, responseWith(-1), kTimeout, 3)); // cannot pay 10
    EXPECT_EQ(quota->available(), 5);
    EXPECT_FALSE(decide(retry, responseWith(200), nullptr, 3)); // what the last retry cost
    EXPECT_EQ(quota->available(), 15);
    EXPECT_FALSE(decide(retry, responseWith(200), nullptr, 1)); // a first attempt
    EXPECT_EQ(quota->available(), 16);
    EXPECT_FALSE(decide(withRetryQuota(noRetriesStrategy(), quota), responseWith(503), nullptr, 1));
    EXPECT_EQ(quota->available(), 16);
}

TEST(WithRetryQuota, ManyThreadsSharingOneQuotaNeitherLoseNorMakeTokens)
{
    const auto quota = std::make_shared<RetryQuota>(50, 5, 10, 1);
    std::atomic<int> granted{0};
    const auto onEightThreads = [&](int code) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&] {
                const auto retry = withRetryQuota(yes, quota);
                for (int i = 0; i < 100; ++i) {
                    granted += decide(retry, responseWith(code)) ? 1 : 0;
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    };
    onEightThreads(503);
    EXPECT_EQ(granted, 10);
    EXPECT_EQ(quota->available(), 0);
    onEightThreads(200);
    EXPECT_EQ(quota->available(), 50);
}

TEST(RetryStrategies, ComposeInTheSynchronousLoopAndTheAsynchronousChainAlike)
{
    for (const bool async : {false, true}) {
        SCOPED_TRACE(async ? "asynchronous" : "synchronous");
        FakeTime time;
        JitteredBackoff options;
        options.maxAttempts = 5;
        options.sleep = time.sleep();
        options.uniform01 = [] { return 0.5; };
        const auto quota = std::make_shared<RetryQuota>();
        ClientConfiguration configuration;
        configuration.withResumeOnRetry(true).withRetryStrategy(
            honorRetryAfter(withRetryQuota(jitteredRetryStrategy(options), quota), seconds(120),
                            {HttpResponseCode::ServiceUnavailable}, time.sleep(), time.clock()));

        ScriptedHttpClient client;
        client.setClientConfiguration(support::with(noRetriesStrategy()));
        client.enqueue(ScriptedReply::failure(HttpRequestFailedException("refused")));
        client.enqueue(
            ScriptedReply::status(HttpResponseCode::ServiceUnavailable, "Busy").withHeader("Retry-After", "2"));
        client.enqueue(ScriptedReply::status(HttpResponseCode::OK, "OK")
                           .withHeader("Accept-Ranges", "bytes")
                           .withBody("hello ")
                           .thenThrow(HttpRequestFailedException("cut")));
        client.enqueue(ScriptedReply::status(HttpResponseCode::PartialContent, "Partial Content").withBody("world"));

        auto request = support::get();
        request.setClientConfiguration(configuration);
        std::optional<HttpResponse> response;
        if (async) {
            auto future = client.makeAsyncRequest(std::move(request)).first;
            ASSERT_TRUE(support::ready(future));
            response.emplace(future.get());
        } else {
            response.emplace(client.makeRequest(std::move(request)));
        }
        EXPECT_EQ(response->getResponseBodyString(), "hello world");
        const auto attempts = client.attempts();
        ASSERT_EQ(attempts.size(), 4U);
        EXPECT_EQ(attempts[3].headers.getHeaderValue("Range"), "bytes=6-");
        // Refused: half of 100 ms. The 503: half of 2 x 1000 ms, then the rest
        // of its 2 s. The cut: the synchronous count goes on (half of 4 x 100),
        // the asynchronous one restarts after the 200 (half of 100).
        EXPECT_EQ(time.sleeps, (std::vector<long long>{50, 1000, 1000, async ? 50 : 200}));
        EXPECT_EQ(quota->available(), 500 - 3 * 5 + 5); // three retries, the last one paid back
    }
}
