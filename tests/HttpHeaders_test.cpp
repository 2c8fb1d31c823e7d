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

// The cutting rules themselves are checked against a model of the grammar by
// fuzz_add_header and fuzz_split_header_values, whose corpora run with the tests.
TEST(HttpHeadersSplitParameter, NamesTheDelimiterAndTheWholeUntrimmedTextWhenTheDelimiterIsMissing)
{
    EXPECT_THROW_MSG(HttpHeaders::splitParameter(" ab ", "="), std::runtime_error,
                     "Missing delimiter <=> when parsing : < ab >");
    EXPECT_THROW_MSG(HttpHeaders::splitParameter("a:b", ":="), std::runtime_error,
                     "Missing delimiter <:=> when parsing : <a:b>");
    EXPECT_THROW_MSG(HttpHeaders::splitParameters("text/html; charset", ";"), std::runtime_error,
                     "Missing delimiter <=> when parsing : < charset>");
    EXPECT_THROW_MSG(HttpHeaders::splitParameters("a;b=\"1;2\"", ";"), std::runtime_error,
                     "Missing delimiter <=> when parsing : <2\">");
}
