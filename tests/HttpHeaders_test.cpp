#include <httpclient_core/HttpHeaders.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <type_traits>

using namespace foundation::httpclient_core;
using Strings = std::vector<std::string>;

static_assert(std::is_copy_constructible_v<HttpHeaders> && std::is_nothrow_move_constructible_v<HttpHeaders>);

TEST(HttpHeaders, NameConstantsHoldTheWellKnownFieldNames)
{
    EXPECT_EQ((Strings{HttpHeaders::ACCEPT, HttpHeaders::CONTENT_TYPE, HttpHeaders::CONTENT_LENGTH, HttpHeaders::COOKIE,
                       HttpHeaders::TRANSFER_ENCODING}),
              (Strings{"Accept", "Content-Type", "Content-Length", "Cookie", "Transfer-Encoding"}));
}

TEST(HttpHeadersAddHeader, TrimsTheNameAndCutsTheValueAtTheFirstColon)
{
    const struct {
        std::string line, name, value;
    } rows[] = {
        {"  Content-Type :  text/plain \r\n", "Content-Type", "text/plain"},
        {"Host: a:8080", "Host", "a:8080"},
        {"X-Empty:", "X-Empty", ""},
        {"\tX-Tab\t:\tv  1\t", "X-Tab", "v  1"},
        {"X-VT:\v", "X-VT", "\v"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        HttpHeaders headers;
        headers.addHeader(row.line);
        ASSERT_EQ(headers.size(), 1U);
        EXPECT_EQ(*headers.begin(), std::make_pair(row.name, row.value));
    }
}

TEST(HttpHeadersAddHeader, SkipsBlankLinesAndEmptyNamesButRejectsALineWithoutAColon)
{
    HttpHeaders headers{{"A", "1"}};
    for (const char* line : {"", "   ", "\r\n", ": x", " \t:x"}) {
        SCOPED_TRACE(line);
        EXPECT_NO_THROW(headers.addHeader(line));
    }
    EXPECT_THROW_MSG(headers.addHeader("garbage"), std::runtime_error,
                     "Missing delimiter <:> when parsing : <garbage>");
    EXPECT_THROW_MSG(headers.addHeader(" no colon\r\n"), std::runtime_error,
                     "Missing delimiter <:> when parsing : < no colon\r\n>");
    EXPECT_EQ(headers.size(), 1U);
}

TEST(HttpHeaders, KeepsRepeatedFieldsInOrderAndRemovesThemTogether)
{
    HttpHeaders headers{{"Set-Cookie", "a"}, {"X", "1"}};
    headers.addHeaderValue("set-cookie", "b");
    headers.addHeader("SET-COOKIE: c");
    EXPECT_EQ(headers.getHeaderValue("SET-COOKIE"), "a");
    EXPECT_EQ(headers.size(), 4U);
    headers.setHeaderValue("set-COOKIE", "z");
    EXPECT_EQ(headers.find("set-cookie"), headers.cbegin());
    EXPECT_EQ(*headers.begin(), std::make_pair(std::string("Set-Cookie"), std::string("z")));
    headers.removeHeader("Set-Cookie");
    EXPECT_FALSE(headers.hasHeader("set-cookie"));
    EXPECT_EQ(headers.size(), 1U);
    EXPECT_THROW_MSG(headers.getHeaderValue("Set-Cookie"), std::out_of_range, "Set-Cookie not found.");
}

TEST(HttpHeadersSplitElements, DeliversTrimmedElementsWithEmptyOnesUnlessSkipped)
{
    const struct {
        std::string text, separators;
        bool skipEmpty;
        Strings expected;
    } rows[] = {
        {"a, b,,c ,", ",", false, {"a", "b", "", "c", ""}},
        {"a, b,,c ,", ",", true, {"a", "b", "c"}},
        {"", ",", false, {""}},
        {"", ",", true, {}},
        {" \t\r\n ", ",", true, {}},
        {",a", ",", false, {"", "a"}},
        {"a;b,c", ",;", true, {"a", "b", "c"}},
        {"\"x,y\"", ",", false, {"\"x", "y\""}},
        {" a, b ", "", false, {"a, b"}},
        {"\va\f", ",", false, {"\va\f"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text + " | " + row.separators);
        Strings seen;
        HttpHeaders::splitElements(
            row.text, [&seen](const std::string& e) { seen.push_back(e); }, row.separators, row.skipEmpty);
        EXPECT_EQ(seen, row.expected);
    }
}

TEST(HttpHeadersSplitElements, LetsCallbackExceptionsPassAfterEarlierElementsWereDelivered)
{
    Strings seen;
    const auto stopAtB = [&seen](const std::string& element) {
        seen.push_back(element);
        if (element == "b") {
            throw std::runtime_error("stop");
        }
    };
    EXPECT_THROW_MSG(HttpHeaders::splitElements("a,b,c", stopAtB, ",", false), std::runtime_error, "stop");
    EXPECT_EQ(seen, (Strings{"a", "b"}));
    EXPECT_THROW(HttpHeaders::splitElements("a", nullptr, ",", false), std::bad_function_call);
    EXPECT_NO_THROW(HttpHeaders::splitElements("", nullptr, ",", true));
}

TEST(HttpHeadersSplitParameter, CutsAtTheDelimiterAndStartsTheValueOneCharacterAfterIt)
{
    const struct {
        std::string text, delimiter, name, value;
    } rows[] = {
        {"  a = b  ", "=", "a", "b"}, {"a=b=c", "=", "a", "b=c"}, {"a=", "=", "a", ""},
        {"   ", "=", "", ""},         {"=x", "=", "", "x"},       {"a:=b", ":=", "a", "=b"},
        {"a:=", ":=", "a", "="},      {"abc", "", "", "bc"},      {"\"a=b\"", "=", "\"a", "b\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text + " | " + row.delimiter);
        EXPECT_EQ(HttpHeaders::splitParameter(row.text, row.delimiter), std::make_pair(row.name, row.value));
    }
    EXPECT_THROW_MSG(HttpHeaders::splitParameter(" ab ", "="), std::runtime_error,
                     "Missing delimiter <=> when parsing : < ab >");
    EXPECT_THROW_MSG(HttpHeaders::splitParameter("a:b", ":="), std::runtime_error,
                     "Missing delimiter <:=> when parsing : <a:b>");
}

TEST(HttpHeadersSplitParameters, TakesTheFirstNonEmptyPieceUntrimmedAsTheLeadingValue)
{
    const struct {
        std::string text, separators, leading;
        NameValueCollection parameters;
    } rows[] = {
        {"text/html; charset=utf-8; q=1", ";", "text/html", {{"charset", "utf-8"}, {"q", "1"}}},
        {" text/html ;a=1", ";", " text/html ", {{"a", "1"}}},
        {"text/html;", ";", "text/html", {{"", ""}}},
        {";a=1;b=2", ";", "a=1", {{"b", "2"}}},
        {" ;a=1", ";", " ", {{"a", "1"}}},
        {"", ";", "", {}},
        {"a;x=1;X=2;x=3", ";", "a", {{"x", "1"}, {"X", "2"}, {"x", "3"}}},
        {"a,b=1;c=\"2\"", ",;", "a", {{"b", "1"}, {"c", "\"2\""}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto [leading, parameters] = HttpHeaders::splitParameters(row.text, row.separators);
        EXPECT_EQ(leading, row.leading);
        EXPECT_EQ(parameters, row.parameters);
    }
    EXPECT_THROW_MSG(HttpHeaders::splitParameters("text/html; charset", ";"), std::runtime_error,
                     "Missing delimiter <=> when parsing : < charset>");
    EXPECT_THROW_MSG(HttpHeaders::splitParameters("a;b=\"1;2\"", ";"), std::runtime_error,
                     "Missing delimiter <=> when parsing : <2\">");
}
