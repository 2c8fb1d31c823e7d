#include <httpclient_core/Accept.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<Accept> && std::is_nothrow_move_constructible_v<Accept>);

namespace {

struct ParseRow {
    std::string input;
    std::vector<ContentType> types;
    std::string rendered;
};

} // namespace

TEST(Accept, ParsesElementsInTextOrderSkippingBlankOnesAndCuttingAtEveryComma)
{
    const ParseRow rows[] = {
        {"text/html, application/json;q=0.9",
         {ContentType("text/html", {}), ContentType("application/json", {{"q", "0.9"}})},
         "text/html, application/json; q=0.9"},
        {"a/b;q=0.1 ,\tc/d;q=1",
         {ContentType("a/b", {{"q", "0.1"}}), ContentType("c/d", {{"q", "1"}})},
         "a/b; q=0.1, c/d; q=1"},
        {"a/b,,c/d", {ContentType("a/b", {}), ContentType("c/d", {})}, "a/b, c/d"},
        {"", {}, ""},
        {" , ,", {}, ""},
        {"a/b;p=\"x,y\"", {ContentType("a/b", {{"p", "\"x"}}), ContentType("y\"", {})}, "a/b; p=\"x, y\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        const auto parsed = Accept::parse(row.input);
        EXPECT_EQ(parsed.getTypes(), row.types);
        EXPECT_EQ(parsed.size(), row.types.size());
        EXPECT_EQ(parsed.toString(), row.rendered);
    }
}

TEST(Accept, PassesContentTypeErrorsThroughUnchanged)
{
    EXPECT_THROW_MSG(Accept::parse("a/b, text/html;level"), std::runtime_error,
                     "Missing delimiter <=> when parsing : <level>");
    EXPECT_THROW_MSG(Accept::parse("text/html;q="), std::runtime_error, "Missing parameter value for <q>");
}

TEST(Accept, ComparesPositionByPositionAndChecksBoundsOnlyInAt)
{
    const Accept forward({ContentType("a/b", {}), ContentType("c/d", {})});
    EXPECT_EQ(forward, Accept::parse("a/b, c/d"));
    EXPECT_NE(forward, Accept::parse("c/d, a/b"));
    EXPECT_NE(forward, Accept::parse("a/b"));
    EXPECT_EQ(forward[1].getType(), "c/d");
    EXPECT_EQ(&forward.at(0), &*forward.begin());
    EXPECT_EQ(forward.end() - forward.begin(), 2);
    EXPECT_THROW(forward.at(forward.size()), std::out_of_range);
    EXPECT_EQ(Accept(std::vector<ContentType>{}).toString(), "");
}
