// Small builders shared by the engine tests.
#pragma once

#include <httpclient_core/HttpClient.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>

namespace support {

using namespace foundation::httpclient_core;

inline HttpRequest get(std::string url = "http://test/")
{
    return HttpRequest(HttpMethod::GET, URL{std::move(url)}, {});
}

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
