#include <httpclient_core/WebSocketClientConfiguration.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <type_traits>

using namespace foundation::httpclient_core;
using std::chrono::milliseconds;

static_assert(std::is_copy_constructible_v<WebSocketClientConfiguration> &&
              std::is_move_constructible_v<WebSocketClientConfiguration>);

TEST(WebSocketClientConfiguration, StartsWithItsDefaultsAndNoCallbackSet)
{
    const WebSocketClientConfiguration config;
    EXPECT_TRUE(config.certificateFile().empty());
    EXPECT_TRUE(config.customHandshakeHeaders().empty());
    EXPECT_EQ(config.connectTimeout(), 5000);
    EXPECT_FALSE(config.pingInterval().has_value());
    EXPECT_EQ(config.recoverableConnectErrorCodes(),
              std::set<HttpResponseCode>{HttpResponseCode::ProxyAuthenticationRequired});
    EXPECT_EQ(config.maxReadFrameSize(), 1532U);
    EXPECT_FALSE(config.connectErrorRecoveryEnabled() || config.reconnectEnabled() || config.hasOnReconnectAborted());
    EXPECT_THROW_MSG(config.onRecoverableConnectError(), std::logic_error, "OnRecoverableConnectError not set.");
    EXPECT_THROW_MSG(config.onReconnected(), std::logic_error, "OnReconnected not set.");
    EXPECT_THROW_MSG(config.onReconnectAborted(), std::logic_error, "OnReconnectAborted not set.");
}

TEST(WebSocketClientConfiguration, AnEmptyCallbackOrBackoffCountsAsSetAndTheLatestOneWins)
{
    WebSocketClientConfiguration config;
    config.setConnectErrorRecovery({});
    config.setReconnectEnabled({});
    config.setOnReconnectAborted({});
    config.setCustomReconnectBackoffFcn({});
    EXPECT_TRUE(config.connectErrorRecoveryEnabled() && config.reconnectEnabled() && config.hasOnReconnectAborted());
    EXPECT_FALSE(config.onRecoverableConnectError() || config.onReconnectAborted() || config.reconnectBackoffFcn());
    EXPECT_THROW(config.onReconnected()(HttpResponse()), std::bad_function_call);

    config.setConnectErrorRecovery([](HttpResponse&&, unsigned long count) { return count == 3; });
    EXPECT_TRUE(config.onRecoverableConnectError()(HttpResponse(), 3));
    config.setCustomReconnectBackoffFcn(
        [](const milliseconds&, unsigned long) { return std::make_pair(milliseconds(7), false); });
    EXPECT_EQ(config.reconnectBackoffFcn()(milliseconds(30), 0), std::make_pair(milliseconds(7), false));
}

TEST(WebSocketClientConfiguration, DefaultBackoffDoublesFromThirtyMillisecondsUpToTwentySecondsUnguarded)
{
    const auto backoff = WebSocketClientConfiguration().reconnectBackoffFcn();
    const struct {
        milliseconds previous;
        unsigned long attempt;
        milliseconds next;
    } rows[] = {
        {milliseconds(30), 1, milliseconds(30)},      {milliseconds(30), 2, milliseconds(60)},
        {milliseconds(7680), 9, milliseconds(15360)}, {milliseconds(15000), 5, milliseconds(20000)},
        {milliseconds(0), 7, milliseconds(0)},        {milliseconds(500), 0, milliseconds(30)},
        {milliseconds(-100), 3, milliseconds(-200)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.previous.count());
        EXPECT_EQ(backoff(row.previous, row.attempt), std::make_pair(row.next, true));
    }
}

TEST(WebSocketClientConfiguration, RejectsReadFramesAboveTheLimitAndKeepsThePreviousSize)
{
    WebSocketClientConfiguration config;
    config.setMaxReadFrameSize(0);
    EXPECT_EQ(config.maxReadFrameSize(), 0U);
    config.setMaxReadFrameSize(1532);
    EXPECT_EQ(config.maxReadFrameSize(), 1532U);
    config.setMaxReadFrameSize(100);
    EXPECT_THROW_MSG(config.setMaxReadFrameSize(1533), std::invalid_argument,
                     "Read frames cannot be configured to be larger than 1532 bytes");
    EXPECT_THROW_MSG(config.withMaxReadFrameSize(static_cast<std::size_t>(-1)), std::invalid_argument,
                     "Read frames cannot be configured to be larger than 1532 bytes");
    EXPECT_EQ(config.maxReadFrameSize(), 100U);
}

TEST(WebSocketClientConfiguration, WithFormsChangeAndReturnTheSameRecord)
{
    WebSocketClientConfiguration config;
    auto& chained = config.withCertificateFile("/etc/ca.pem")
                        .withCustomHandshakeHeaders({{"Origin", "http://a.test"}})
                        .withConnectTimeout(250)
                        .withPingInterval(1000)
                        .withConnectErrorRecovery([](HttpResponse&&, unsigned long) { return true; })
                        .withRecoverableConnectErrorCodes({})
                        .withReconnectEnabled([](HttpResponse&&) {})
                        .withCustomReconnectBackoffFcn({})
                        .withOnReconnectAborted([] {})
                        .withMaxReadFrameSize(1000);
    EXPECT_EQ(&chained, &config);
    EXPECT_EQ(config.certificateFile(), "/etc/ca.pem");
    EXPECT_EQ(config.customHandshakeHeaders().getHeaderValue("origin"), "http://a.test");
    EXPECT_EQ(config.connectTimeout(), 250);
    EXPECT_EQ(config.pingInterval(), 1000);
    EXPECT_TRUE(config.connectErrorRecoveryEnabled() && config.reconnectEnabled() && config.hasOnReconnectAborted());
    EXPECT_TRUE(config.recoverableConnectErrorCodes().empty());
    EXPECT_FALSE(config.reconnectBackoffFcn());
    EXPECT_EQ(config.maxReadFrameSize(), 1000U);

    config.setRecoverableConnectErrorRespCodes({HttpResponseCode::Unauthorized});
    EXPECT_EQ(config.recoverableConnectErrorCodes(), std::set<HttpResponseCode>{HttpResponseCode::Unauthorized});
}
