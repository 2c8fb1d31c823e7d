// Small builders shared by the engine tests.
#pragma once

#include <httpclient_core/HttpClient.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

namespace support {

using namespace foundation::httpclient_core;

inline HttpRequest get(std::string url = "http://test/")
{
    return HttpRequest(HttpMethod::GET, URL{std::move(url)}, {});
}

// A strategy that records every (attempt, failuresSinceSuccess) pair it is
// asked about and allows the first `retries` retries.
struct StrategyLog {
    std::vector<std::pair<int, int>> calls;

    RetryStrategy allow(int retries)
    {
        return [this, retries](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int attempt,
                               int failures) {
            calls.emplace_back(attempt, failures);
            return static_cast<int>(calls.size()) <= retries;
        };
    }
};

inline ClientConfiguration with(RetryStrategy strategy, bool resume = false)
{
    ClientConfiguration configuration;
    configuration.withRetryStrategy(std::move(strategy)).withResumeOnRetry(resume);
    return configuration;
}

// Waits generously, failing the test instead of hanging.
template <typename T>
bool ready(std::future<T>& future)
{
    return future.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
}

} // namespace support
