#include "Sha1.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using namespace foundation::httpclient_websocket;

namespace {

std::string hex(const std::array<std::uint8_t, 20>& digest)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const auto byte : digest) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

} // namespace

TEST(Sha1, MatchesTheKnownDigestsAcrossBlockBoundaries)
{
    const struct {
        std::string input;
        const char* digest;
    } rows[] = {
        {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {std::string(64, 'a'), "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
        {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input.substr(0, 60));
        EXPECT_EQ(hex(sha1(row.input)), row.digest);
    }
}

TEST(Base64, PadsToWholeGroupsOfFour)
{
    const struct {
        const char* input;
        const char* encoded;
    } rows[] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xff\xfe", "//4="}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        const std::string input(row.input);
        EXPECT_EQ(base64(reinterpret_cast<const std::uint8_t*>(input.data()), input.size()), row.encoded);
    }
}
