#include <httpclient_core/ContentType.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<ContentType> && std::is_nothrow_move_constructible_v<ContentType>);

namespace {

struct ParseRow {
    std::string input;
    std::string type;
    NameValueCollection parameters;
    std::string rendered;
};

struct FailureRow {
    std::string input;
    std::string message;
};

} // namespace

TEST(ContentType, ParsesTypeUntrimmedAndParametersTrimmedAndRendersThemBack)
{
    const ParseRow rows[] = {
        {"text/html; charset=utf-8", "text/html", {{"charset", "utf-8"}}, "text/html; charset=utf-8"},
        {"text/html ; charset=utf-8", "text/html ", {{"charset", "utf-8"}}, "text/html ; charset=utf-8"},
        {"application/json", "application/json", {}, "application/json"},
        {"", "", {}, ""},
        {"Text/HTML;A = 1 ;b=x=y", "Text/HTML", {{"A", "1"}, {"b", "x=y"}}, "Text/HTML; A=1;b=x=y"},
        {";a=1;b=2", "a=1", {{"b", "2"}}, "a=1; b=2"},
        {"a/b; q=\"x\"", "a/b", {{"q", "\"x\""}}, "a/b; q=\"x\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        const auto parsed = ContentType::parse(row.input);
        EXPECT_EQ(parsed.getType(), row.type);
        EXPECT_EQ(parsed.getParameters(), row.parameters);
        EXPECT_EQ(parsed.toString(), row.rendered);
    }
}

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

TEST(ContentType, RendersOnlyTheFirstSeparatorWithABlank)
{
    EXPECT_EQ(ContentType("text/plain", {{"a", "1"}, {"b", "2"}, {"c", "3"}}).toString(), "text/plain; a=1;b=2;c=3");
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
