#include <httpclient_core/Accept.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<Accept> && std::is_nothrow_move_constructible_v<Accept>);

// Parsing and rendering are checked against a model of the grammar by
// fuzz_accept, whose corpus runs with the tests.
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
