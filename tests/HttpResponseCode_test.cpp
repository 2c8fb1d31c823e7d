#include <httpclient_core/HttpResponseCode.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_same_v<std::underlying_type_t<HttpResponseCode>, std::int32_t>);
static_assert(static_cast<std::int32_t>(HttpResponseCode::RequestNotMade) == -1);

TEST(HttpResponseCode, BelongsToExactlyOneClassPerHundredAndToNoneOutside)
{
    // Expected class: 1 informational, 2 success, 3 redirection, 4 client error, 5 server error, 0 none.
    constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
    constexpr auto highest = std::numeric_limits<std::int32_t>::max();
    const struct {
        std::int32_t code;
        int expectedClass;
    } rows[] = {{-1, 0},  {99, 0},  {100, 1}, {199, 1}, {200, 2}, {299, 2},    {300, 3},    {399, 3},
                {400, 4}, {499, 4}, {500, 5}, {599, 5}, {600, 0}, {lowest, 0}, {highest, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        const auto code = static_cast<HttpResponseCode>(row.code);
        EXPECT_EQ(isInformational(code), row.expectedClass == 1);
        EXPECT_EQ(isSuccess(code), row.expectedClass == 2);
        EXPECT_EQ(isRedirection(code), row.expectedClass == 3);
        EXPECT_EQ(isClientError(code), row.expectedClass == 4);
        EXPECT_EQ(isServerError(code), row.expectedClass == 5);
    }
}

TEST(HttpResponseCode, PrintsAsASignedDecimalNumber)
{
    EXPECT_EQ(to_string(HttpResponseCode::RequestNotMade), "-1");
    EXPECT_EQ(to_string(HttpResponseCode::NotFound), "404");
    EXPECT_EQ(to_string(static_cast<HttpResponseCode>(799)), "799");
    std::ostringstream out;
    out << HttpResponseCode::OK << ' ' << HttpResponseCode::RequestNotMade << ' ' << std::showpos
        << HttpResponseCode::NotFound;
    EXPECT_EQ(out.str(), "200 -1 +404");
}
