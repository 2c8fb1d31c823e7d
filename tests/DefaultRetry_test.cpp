#include <httpclient_core/DefaultRetry.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

const auto kTimeout = std::make_exception_ptr(HttpRequestTimeoutException());
const auto kFailure = std::make_exception_ptr(HttpRequestFailedException("reset"));

class DerivedTimeout : public HttpRequestTimeoutException {};

bool decide(const RetryStrategy& retry, HttpMethod method, const std::exception_ptr& error, int code, int attempt,
            int failures)
{
    HttpResponse response;
    response.setResponseCode(static_cast<HttpResponseCode>(code));
    return retry(HttpRequest(method, URL{"http://h/"}, {}), response, error, attempt, failures);
}

} // namespace

TEST(DefaultRetry, DecidesBySuccessThenLimitsThenThePredicate)
{
    struct Row {
        const char* name;
        HttpMethod method;
        std::exception_ptr error;
        int code, attempt, failures;
        bool expected, predicateAsked;
    };
    const Row rows[] = {
        {"success without exception", HttpMethod::GET, nullptr, 200, 1, 1, false, false},
        {"failure after a 200", HttpMethod::GET, kFailure, 200, 1, 1, false, true},
        {"time-out after a 200", HttpMethod::GET, kTimeout, 200, 1, 1, true, true},
        {"server error", HttpMethod::GET, nullptr, 503, 2, 0, true, true},
        {"attempt reached the limit", HttpMethod::GET, kTimeout, 200, 4, 1, false, false},
        {"failures reached the limit", HttpMethod::GET, kTimeout, 200, 1, 3, false, false},
        {"post", HttpMethod::POST, kTimeout, 200, 1, 1, false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        int asked = 0;
        const auto counting = [&](HttpMethod method, bool timedOut, HttpResponseCode code) {
            ++asked;
            return defaultIsRetriable()(method, timedOut, code);
        };
        const DefaultRetry retry(4, 0, seconds(120), counting, 3);
        EXPECT_EQ(decide(retry, row.method, row.error, row.code, row.attempt, row.failures), row.expected);
        EXPECT_EQ(asked, row.predicateAsked ? 1 : 0);
    }
}

TEST(DefaultRetry, AnEmptyOrThrowingPredicateMeansNoRetryAndThrowsNothing)
{
    const auto throwing = [](HttpMethod, bool, HttpResponseCode) -> bool { throw std::runtime_error("predicate"); };
    EXPECT_FALSE(decide(DefaultRetry(5, 0, seconds(1), nullptr, 5), HttpMethod::GET, kTimeout, 200, 1, 1));
    EXPECT_FALSE(decide(DefaultRetry(5, 0, seconds(1), throwing, 5), HttpMethod::GET, kTimeout, 200, 1, 1));
}

TEST(DefaultRetry, BackoffOverrideReplacesTheSleepForEveryCountAndItsExceptionsPropagate)
{
    auto strategy = defaultRetryStrategy(10, 20, seconds(1), defaultIsRetriable());
    std::vector<int> calls;
    strategy.target<DefaultRetry>()->setBackoffOverride([&](int failures) { calls.push_back(failures); });
    for (const int failures : {0, 1, 2, 7}) {
        EXPECT_TRUE(decide(strategy, HttpMethod::GET, kTimeout, 200, 1, failures));
    }
    EXPECT_FALSE(decide(strategy, HttpMethod::POST, kTimeout, 200, 1, 2));
    EXPECT_EQ(calls, (std::vector<int>{0, 1, 2, 7})) << "called only before a retry";

    strategy.target<DefaultRetry>()->setBackoffOverride([](int) { throw std::logic_error("stop"); });
    EXPECT_THROW(decide(strategy, HttpMethod::GET, kTimeout, 200, 1, 2), std::logic_error);
}

TEST(DefaultRetry, SleepsTheBackoffOfFailuresSinceSuccessBeforeRetrying)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(
        decide(DefaultRetry(10, 20, seconds(1), defaultIsRetriable(), 10), HttpMethod::GET, kTimeout, 200, 1, 3));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(80)) << "2^(3-1) x 20 ms";
}

TEST(DefaultRetry, BackoffDoublesFromTheSecondFailureUpToTheCap)
{
    const DefaultRetry retry(5, 500, seconds(120), defaultIsRetriable(), 5);
    const std::pair<int, long> rows[] = {{INT_MIN, 0}, {-1, 0},    {0, 0},      {1, 0},       {2, 1000},
                                         {3, 2000},    {8, 64000}, {9, 120000}, {64, 120000}, {INT_MAX, 120000}};
    for (const auto& [count, expected] : rows) {
        SCOPED_TRACE(count);
        EXPECT_EQ(retry.backoffDuration(count), milliseconds(expected));
    }
    EXPECT_EQ(DefaultRetry(5, 0, seconds(120), nullptr, 5).backoffDuration(INT_MAX), milliseconds(0));
}

TEST(DefaultRetry, DefaultIsRetriableAcceptsOnlyGetsThatTimedOutOrGotA5xxOrA416)
{
    struct Row {
        HttpMethod method;
        bool timedOut;
        int code;
        bool expected;
    };
    const Row rows[] = {
        {HttpMethod::GET, true, 200, true},    {HttpMethod::GET, true, -1, true},
        {HttpMethod::GET, false, 500, true},   {HttpMethod::GET, false, 599, true},
        {HttpMethod::GET, false, 416, true},   {HttpMethod::GET, false, 404, false},
        {HttpMethod::GET, false, 600, false},  {HttpMethod::GET, false, 200, false},
        {HttpMethod::POST, true, 503, false},  {HttpMethod::PUT, false, 503, false},
        {HttpMethod::HEAD, false, 416, false}, {HttpMethod::DELETE, true, 500, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(static_cast<int>(row.method)) + " " + std::to_string(row.code));
        EXPECT_EQ(defaultIsRetriable()(row.method, row.timedOut, static_cast<HttpResponseCode>(row.code)),
                  row.expected);
    }
}

TEST(DefaultRetry, RecognisesTimeoutsAndClassesDerivedFromThemOnly)
{
    const DefaultRetry retry(5, 0, seconds(1), defaultIsRetriable(), 5);
    EXPECT_TRUE(retry.isTimeoutException(kTimeout));
    EXPECT_TRUE(retry.isTimeoutException(std::make_exception_ptr(DerivedTimeout())));
    EXPECT_FALSE(retry.isTimeoutException(std::make_exception_ptr(HttpRequestCancelledException())));
    EXPECT_FALSE(retry.isTimeoutException(std::make_exception_ptr(HttpRequestFailedException("Request timed out."))));
    EXPECT_FALSE(retry.isTimeoutException(std::make_exception_ptr(42)));
}

TEST(DefaultRetry, FactoriesLimitConsecutiveFailuresToMaxAttemptsByDefaultOrNeverRetry)
{
    EXPECT_FALSE(decide(noRetriesStrategy(), HttpMethod::GET, kTimeout, 503, 1, 1));
    const auto strategy = defaultRetryStrategy(3, 0, seconds(1), defaultIsRetriable());
    ASSERT_NE(strategy.target<DefaultRetry>(), nullptr);
    EXPECT_TRUE(decide(strategy, HttpMethod::GET, kTimeout, 200, 1, 2));
    EXPECT_FALSE(decide(strategy, HttpMethod::GET, kTimeout, 200, 1, 3));
    const auto lenient = defaultRetryStrategy(3, 0, seconds(1), defaultIsRetriable(), 9);
    EXPECT_TRUE(decide(lenient, HttpMethod::GET, kTimeout, 200, 1, 8));
    EXPECT_FALSE(decide(lenient, HttpMethod::GET, kTimeout, 200, 3, 0));
}
