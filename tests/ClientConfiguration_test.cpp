#include <httpclient_core/ClientConfiguration.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <gtest/gtest.h>

#include <exception>
#include <tuple>

using namespace foundation::httpclient_core;

TEST(ClientConfiguration, DefaultsFollowFiveRedirectsWithoutResumingAndCarryTheTransportFigures)
{
    const ClientConfiguration config;
    EXPECT_TRUE(config.certificateFile().empty());
    EXPECT_TRUE(config.followRedirects());
    EXPECT_FALSE(config.resumeOnRetry());
    EXPECT_FALSE(config.acceptCompressed());
    EXPECT_EQ(config.proxy(), "");
    EXPECT_EQ(std::make_tuple(config.maxRedirects(), config.connectTimeout(), config.idleTimeout(),
                              config.connectionMaxIdle(), config.requestTimeout(), config.idleSpeed(),
                              config.maxThreads(), config.maxRequestsPerThread()),
              std::make_tuple(5L, 5000L, 30000L, 30000L, 0L, 1L, 4L, 2L));
}

TEST(ClientConfiguration, DefaultStrategyIsADefaultRetryThatRetriesATimedOutGetButNotAPost)
{
    const auto strategy = ClientConfiguration().retryStrategy();
    ASSERT_NE(strategy.target<DefaultRetry>(), nullptr);
    const auto timeout = std::make_exception_ptr(HttpRequestTimeoutException());
    const HttpRequest get(HttpMethod::GET, URL{"http://h/"}, {});
    const HttpResponse response;
    EXPECT_TRUE(strategy(get, response, timeout, 1, 1));
    EXPECT_FALSE(strategy(HttpRequest(HttpMethod::POST, URL{"http://h/"}, {}), response, timeout, 1, 1));
    EXPECT_FALSE(strategy(get, response, timeout, 5, 1)) << "the fifth attempt is the last";
}

TEST(ClientConfiguration, BuildersChainOnTheSameRecordAndStoreValuesUnchecked)
{
    ClientConfiguration config;
    ClientConfiguration& chained = config.withCertificateFile("/ca.pem")
                                       .withFollowRedirects(false)
                                       .withMaxRedirects(-1)
                                       .withRetryStrategy(RetryStrategy())
                                       .withResumeOnRetry(true)
                                       .withConnectTimeout(1)
                                       .withIdleTimeout(2)
                                       .withConnectionMaxIdle(3)
                                       .withRequestTimeout(-5)
                                       .withAcceptCompressed(true)
                                       .withIdleSpeed(0)
                                       .withMaxThreads(-4)
                                       .withMaxRequestsPerThread(7)
                                       .withProxy("http://proxy:3128");
    EXPECT_EQ(&chained, &config);
    EXPECT_EQ(config.certificateFile().string(), "/ca.pem");
    EXPECT_FALSE(config.followRedirects());
    EXPECT_FALSE(static_cast<bool>(config.retryStrategy())) << "an empty strategy is kept as it is";
    EXPECT_TRUE(config.resumeOnRetry());
    EXPECT_TRUE(config.acceptCompressed());
    EXPECT_EQ(config.proxy(), "http://proxy:3128");
    EXPECT_EQ(std::make_tuple(config.maxRedirects(), config.connectTimeout(), config.idleTimeout(),
                              config.connectionMaxIdle(), config.requestTimeout(), config.idleSpeed(),
                              config.maxThreads(), config.maxRequestsPerThread()),
              std::make_tuple(-1L, 1L, 2L, 3L, -5L, 0L, -4L, 7L));
}
