#include "Utf8Validator.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace foundation::httpclient_websocket;

TEST(Utf8Validator, AcceptsWellFormedTextWhereverThePiecesEnd)
{
    const struct {
        std::string text;
        bool valid;
    } rows[] = {
        {"", true},
        {"plain ascii", true},
        {"\xC2\x80 \xDF\xBF", true},                      // two-byte bounds
        {"\xE0\xA0\x80 \xED\x9F\xBF \xEF\xBF\xBF", true}, // three-byte bounds around the surrogates
        {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", true},      // U+10000 and U+10FFFF
        {"\x80", false},                                  // continuation without a lead
        {"\xC0\xAF", false},                              // overlong two-byte form
        {"\xC1\xBF", false},
        {"\xE0\x9F\xBF", false},     // overlong three-byte form
        {"\xED\xA0\x80", false},     // surrogate U+D800
        {"\xF0\x8F\xBF\xBF", false}, // overlong four-byte form
        {"\xF4\x90\x80\x80", false}, // above U+10FFFF
        {"\xF5\x80\x80\x80", false},
        {"\xFF", false},
        {"\xE2\x82", false}, // stops inside a character
        {"\xE2\x82\x41", false},
        {"ok\xC3", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        EXPECT_EQ(isValidUtf8(row.text), row.valid);
        Utf8Validator byByte;
        for (const char c : row.text) {
            byByte.feed(std::string(1, c));
        }
        EXPECT_EQ(byByte.complete(), row.valid);
    }
}

TEST(Utf8Validator, FailsOnTheFirstBadByteAndStaysFailed)
{
    Utf8Validator validator;
    EXPECT_TRUE(validator.feed("\xE2\x82"));
    EXPECT_FALSE(validator.complete());
    EXPECT_FALSE(validator.feed("\xED"));
    EXPECT_FALSE(validator.feed("a"));
    EXPECT_FALSE(validator.complete());
}
