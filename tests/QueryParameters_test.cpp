#include <httpclient_core/QueryParameters.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <type_traits>

using namespace foundation::httpclient_core;
using Strings = std::vector<std::string>;

static_assert(std::is_copy_constructible_v<QueryParameters> && std::is_move_constructible_v<QueryParameters>);

// The rendering is checked against a strict decoder by fuzz_query_parameters,
// whose corpus runs with the tests.
TEST(QueryParametersToString, AppendsToTheStreamAndReturnsIt)
{
    EXPECT_EQ(QueryParameters().getEntrySep() + QueryParameters().getKeyValueSep(), "&=");
    const QueryParameters query{{"q", "a b"}, {"flag", ""}};
    std::ostringstream out;
    out << "/search";
    EXPECT_EQ(&query.toStream(out), &out);
    EXPECT_EQ(out.str(), "/search?q=a%20b&flag");
}

TEST(QueryParameters, FindsKeysWithoutCaseButCollectsValuesOnlyForTheExactKeyByDesign)
{
    QueryParameters query{{"Page", "1"}, {"x", "9"}, {"Page", "2"}, {"PAGE", "3"}};
    EXPECT_TRUE(query.hasParameterKey("page"));
    EXPECT_EQ(query.getParameterValue("pAGE"), "1");
    EXPECT_EQ(query.getAllParameterValues("Page"), (Strings{"1", "2"}));
    EXPECT_EQ(query.getAllParameterValues("page"), Strings{});
}

TEST(QueryParameters, RejectsEmptyAndMissingKeysAndStaysUnchanged)
{
    QueryParameters query{{"a", "1"}};
    EXPECT_THROW_MSG(query.addQueryParameter("", "v"), std::logic_error, "Cannot add QueryParameter with an empty key");
    EXPECT_THROW_MSG(query.getParameterValue("missing"), std::logic_error,
                     "Requested query parameter (missing) doesn't exist");
    EXPECT_THROW_MSG(query.getAllParameterValues(" a "), std::logic_error,
                     "Requested query parameter ( a ) doesn't exist");
    EXPECT_EQ(query.size(), 1U);
    EXPECT_EQ(query.toString(), "?a=1");
    EXPECT_THROW_MSG(static_cast<void>(QueryParameters{{"a", "1"}, {"b", ""}, {"", "3"}}), std::logic_error,
                     "Cannot create QueryParameter with an empty key");
}

TEST(QueryParameters, TakesACollectionUncheckedSoAnEmptyKeyIsRenderedEmpty)
{
    QueryParameters query(NameValueCollection{{"", "v"}, {"k", ""}});
    EXPECT_EQ(query.toString(), "?=v&k");
    EXPECT_EQ(query.getParameterValue(""), "v");
}
