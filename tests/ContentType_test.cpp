#include <httpclient_core/ContentType.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<ContentType> && std::is_nothrow_move_constructible_v<ContentType>);

namespace {

struct FailureRow {
    std::string input;
    std::string message;
};

} // namespace

// Parsing and rendering are checked against a model of the grammar by
// fuzz_content_type, whose corpus runs with the tests.
TEST(ContentType, RejectsEmptyValuesAndPiecesWithoutEqualsSignWithoutUnquoting)
{
    const FailureRow rows[] = {
        {"text/html;", "Missing parameter value for <>"},
        {"text/html; charset=", "Missing parameter value for <charset>"},
        {"text/html; a=1; b= ;c=", "Missing parameter value for <b>"},
        {"text/html; charset", "Missing delimiter <=> when parsing : < charset>"},
        {"a/b; q=\"x;y\"", "Missing delimiter <=> when parsing : <y\">"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        EXPECT_THROW_MSG(ContentType::parse(row.input), std::runtime_error, row.message);
    }
}

TEST(ContentType, ComparesTypesAndParameterNamesCaseSensitivelyButLooksNamesUpWithoutCase)
{
    const ContentType lower("text/html", {{"charset", "UTF-8"}});
    const ContentType upper("text/html", {{"CHARSET", "UTF-8"}});
    EXPECT_EQ(lower, ContentType::parse("text/html; charset=UTF-8"));
    EXPECT_NE(lower, upper);
    EXPECT_NE(lower, ContentType("Text/HTML", {{"charset", "UTF-8"}}));
    EXPECT_NE(ContentType("a/b", {{"x", "1"}, {"y", "2"}}), ContentType("a/b", {{"y", "2"}, {"x", "1"}}));
    EXPECT_EQ(upper.getParameters().get("charset"), "UTF-8");
}
