#include "Frame.hpp"

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace foundation::httpclient_websocket;

TEST(EncodeFrame, WritesTheLengthInItsShortestFormAndMasksThePayload)
{
    const struct {
        std::size_t size;
        std::string lengthBytes;
    } rows[] = {
        {0, std::string("\x80", 1)},
        {125, "\xFD"},
        {126, std::string("\xFE\x00\x7E", 3)},
        {65535, "\xFE\xFF\xFF"},
        {65536, std::string("\xFF\x00\x00\x00\x00\x00\x01\x00\x00", 9)},
    };
    const MaskKey key{0x11, 0x22, 0x33, 0x44};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        const std::string payload(row.size, 'x');
        const auto frame = encodeFrame(Opcode::Binary, true, payload, key);
        ASSERT_EQ(frame.size(), 1 + row.lengthBytes.size() + 4 + row.size);
        EXPECT_EQ(frame[0], '\x82');
        EXPECT_EQ(frame.substr(1, row.lengthBytes.size()), row.lengthBytes);
        auto body = frame.substr(1 + row.lengthBytes.size() + 4);
        applyMask(body.data(), body.size(), key);
        EXPECT_EQ(body, payload);
    }
    EXPECT_EQ(encodeFrame(Opcode::Continuation, false, "ab", std::nullopt), std::string("\x00\x02"
                                                                                        "ab",
                                                                                        4));
}

TEST(ApplyMask, ContinuesTheKeyCycleAtAnOffset)
{
    const MaskKey key{1, 2, 3, 4};
    std::string whole = "abcdefg";
    applyMask(whole.data(), whole.size(), key);
    std::string split = "abcdefg";
    applyMask(split.data(), 3, key);
    applyMask(split.data() + 3, 4, key, 3);
    EXPECT_EQ(split, whole);
}

TEST(CloseCodes, OnlyRegisteredAndPrivateCodesGoOnTheWire)
{
    for (unsigned code = 0; code <= 0xFFFF; ++code) {
        const bool expected =
            (code >= 1000 && code <= 1003) || (code >= 1007 && code <= 1014) || (code >= 3000 && code <= 4999);
        ASSERT_EQ(isValidCloseCode(static_cast<std::uint16_t>(code)), expected) << code;
    }
}

TEST(ClosePayload, CarriesCodeAndReasonOrRefusesThem)
{
    EXPECT_EQ(closePayload(1000, "bye"), "\x03\xE8"
                                         "bye");
    EXPECT_EQ(closePayload(4999, ""), "\x13\x87");
    EXPECT_THROW_MSG(closePayload(1005, ""), std::invalid_argument, "Close code 1005 cannot be sent");
    EXPECT_THROW_MSG(closePayload(1000, std::string(124, 'x')), std::invalid_argument,
                     "Close reason must be valid UTF-8 of at most 123 bytes");
    EXPECT_THROW_MSG(closePayload(1000, "\xC3"), std::invalid_argument,
                     "Close reason must be valid UTF-8 of at most 123 bytes");
}

TEST(ParseClosePayload, ReadsCodeAndReasonAndFailsWithTheRightCode)
{
    EXPECT_FALSE(parseClosePayload("").code.has_value());
    const auto close = parseClosePayload("\x0F\xA0"
                                         "done");
    EXPECT_EQ(close.code, 4000);
    EXPECT_EQ(close.reason, "done");

    const struct {
        std::string payload;
        std::uint16_t code;
        const char* message;
    } rows[] = {
        {"\x03", 1002, "Close frame with a one-byte payload"},
        {"\x03\xED", 1002, "Invalid close code 1005"},
        {std::string("\x00\x00", 2), 1002, "Invalid close code 0"},
        {"\x03\xE8\xFF", 1007, "Invalid UTF-8 in a close reason"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        try {
            parseClosePayload(row.payload);
            ADD_FAILURE() << "accepted";
        } catch (const ProtocolError& error) {
            EXPECT_EQ(error.closeCode(), row.code);
            EXPECT_STREQ(error.what(), row.message);
        }
    }
}
