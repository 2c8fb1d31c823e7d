#include <httpclient_core/PercentEncoder.hpp>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <functional>
#include <locale>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<PercentEncoder> && std::is_nothrow_move_constructible_v<PercentEncoder>);
static_assert(!std::is_convertible_v<std::string, PercentEncoder>);
static_assert(std::is_constructible_v<std::function<std::string(std::string)>, PercentEncoder>);

namespace {

// The expected text of one byte, worked out independently of the encoder.
std::string expectedFor(unsigned byte)
{
    static const std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    if (byte == ' ') {
        return "+";
    }
    if (unreserved.find(static_cast<char>(byte)) != std::string::npos) {
        return std::string(1, static_cast<char>(byte));
    }
    char text[4];
    std::snprintf(text, sizeof text, "%%%02X", byte);
    return text;
}

void expectEveryByteEncodedByTheUnreservedRule()
{
    const PercentEncoder encode("+");
    std::string all, allExpected;
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        all += static_cast<char>(byte);
        allExpected += expectedFor(byte);
        EXPECT_EQ(encode(all.substr(byte)), expectedFor(byte));
    }
    EXPECT_EQ(encode(all), allExpected);
}

// Counts every byte from 128 up, and some punctuation, as a letter.
class HostileCtype : public std::ctype<char> {
public:
    HostileCtype() : std::ctype<char>(table()) {}

private:
    static const mask* table()
    {
        static mask hostile[table_size];
        const auto letter = static_cast<mask>(alpha | alnum | lower | upper | graph | print);
        for (std::size_t i = 0; i < table_size; ++i) {
            const bool promoted = i >= 128 || std::string("!%*+/@[]").find(static_cast<char>(i)) != std::string::npos;
            hostile[i] = promoted ? letter : classic_table()[i];
        }
        return hostile;
    }
};

// Installs HostileCtype as the global C++ locale, and a C locale other than
// "C" where one exists, until destroyed.
class HostileLocale {
public:
    HostileLocale() { std::setlocale(LC_ALL, "C.UTF-8"); }
    ~HostileLocale()
    {
        std::setlocale(LC_ALL, "C");
        std::locale::global(previous);
    }

private:
    std::locale previous = std::locale::global(std::locale(std::locale::classic(), new HostileCtype));
};

} // namespace

// The space text and whole strings are checked against a strict decoder by
// fuzz_percent_encoder, whose corpus runs with the tests.
TEST(PercentEncoder, EncodesEachOfTheTwoHundredFiftySixBytesByTheUnreservedRule)
{
    expectEveryByteEncodedByTheUnreservedRule();
}

TEST(PercentEncoder, IgnoresAGlobalLocaleThatCountsOtherBytesAsLetters)
{
    const HostileLocale hostile;
    ASSERT_TRUE(std::isalpha('\xE9', std::locale()));
    ASSERT_TRUE(std::isalnum('@', std::locale()));
    expectEveryByteEncodedByTheUnreservedRule();
}
