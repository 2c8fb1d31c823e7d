#include <httpclient_core/Exceptions.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(!std::is_base_of_v<HttpRequestFailedException, NoExistingConnectionException>);
static_assert(!std::is_base_of_v<HttpRequestFailedException, BadWebSocketException>);
static_assert(!std::is_base_of_v<HttpRequestFailedException, ReadCalledWhenAlreadyReadingException>);
static_assert(!std::is_base_of_v<HttpRequestTimeoutException, HttpRequestCancelledException>);
// Public bases, so that a handler for the base catches them.
static_assert(std::is_convertible_v<HttpRequestTimeoutException*, HttpRequestFailedException*> &&
              std::is_convertible_v<HttpRequestCancelledException*, HttpRequestFailedException*> &&
              std::is_convertible_v<HttpRequestFailedException*, std::runtime_error*> &&
              std::is_convertible_v<NoExistingConnectionException*, std::runtime_error*>);

TEST(Exceptions, CarryTheirFixedOrGivenTexts)
{
    EXPECT_THROW_MSG(throw HttpRequestFailedException("x"), HttpRequestFailedException, "x");
    EXPECT_THROW_MSG(throw HttpRequestFailedException(""), HttpRequestFailedException, "");
    EXPECT_THROW_MSG(throw HttpRequestTimeoutException(), HttpRequestTimeoutException, "Request timed out.");
    EXPECT_THROW_MSG(throw HttpRequestCancelledException(), HttpRequestCancelledException, "Request cancelled");
    EXPECT_THROW_MSG(throw BadWebSocketException("closed"), BadWebSocketException, "closed");
    EXPECT_THROW_MSG(throw NoExistingConnectionException(), NoExistingConnectionException,
                     "No working WebSocket connection. Open was not completed or network error occurred and has "
                     "not been recovered from.");
    EXPECT_THROW_MSG(throw ReadCalledWhenAlreadyReadingException(), ReadCalledWhenAlreadyReadingException,
                     "Calling read before the previous read completes is illegal.");
}
