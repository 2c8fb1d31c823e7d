#include <httpclient_core/Cookie.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace foundation::httpclient_core;

namespace {

struct ParseRow {
    std::string input;
    NameValueCollection cookies;
    std::string rendered;
};

} // namespace

TEST(Cookie, ParsesTrimmedPairsInTextOrderSkippingEmptyElements)
{
    const ParseRow rows[] = {
        {"a=1; b=2", {{"a", "1"}, {"b", "2"}}, "a=1; b=2"},
        {" ; a=1 ;; ", {{"a", "1"}}, "a=1"},
        {"", {}, ""},
        {"a=1; A=2;a=3", {{"a", "1"}, {"A", "2"}, {"a", "3"}}, "a=1; A=2; a=3"},
        {"a=b=c", {{"a", "b=c"}}, "a=b=c"},
        {"=x;\ta= ", {{"", "x"}, {"a", ""}}, "=x; a="},
        {"s=\"x;y=1\"", {{"s", "\"x"}, {"y", "1\""}}, "s=\"x; y=1\""},
        {"n=%41+b", {{"n", "%41+b"}}, "n=%41+b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        const auto cookies = Cookie::parse(row.input);
        EXPECT_EQ(cookies, row.cookies);
        EXPECT_EQ(Cookie::toString(cookies), row.rendered);
    }
    EXPECT_EQ(Cookie::parse("a=1; A=2").get("A"), "1");
}

TEST(Cookie, RejectsAnElementWithoutEqualsSignNamingItTrimmed)
{
    EXPECT_THROW_MSG(Cookie::parse("a=1; flag"), std::runtime_error, "Missing delimiter <=> when parsing : <flag>");
    EXPECT_THROW_MSG(Cookie::parse(" x y ;a=1"), std::runtime_error, "Missing delimiter <=> when parsing : <x y>");
}
