#include "FrameDecoder.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace foundation::httpclient_websocket;

namespace {

std::string frame(Opcode opcode, std::string_view payload, bool isFinal = true)
{
    return encodeFrame(opcode, isFinal, payload, std::nullopt);
}

// Everything the decoder hands out for bytes fed in chunks of chunk bytes,
// written as "T:text", "T:text|" for a final piece, "B:..." for binary,
// "ping:...", "pong:..." and "close:<code>:reason", or "error <code>: <what>"
// for a protocol error.
std::vector<std::string> decode(const std::string& bytes, std::size_t maxPieceSize, std::size_t chunk)
{
    FrameDecoder decoder(maxPieceSize);
    std::vector<std::string> out;
    try {
        for (std::size_t offset = 0; offset < bytes.size(); offset += chunk) {
            decoder.feed(std::string_view(bytes).substr(offset, chunk));
            while (auto incoming = decoder.next()) {
                switch (incoming->kind) {
                case Incoming::Kind::Piece:
                    out.push_back(std::string(incoming->messageType == Opcode::Text ? "T:" : "B:") + incoming->data +
                                  (incoming->isFinal ? "|" : ""));
                    break;
                case Incoming::Kind::Ping:
                    out.push_back("ping:" + incoming->data);
                    break;
                case Incoming::Kind::Pong:
                    out.push_back("pong:" + incoming->data);
                    break;
                case Incoming::Kind::Close:
                    out.push_back("close:" + (incoming->closeCode ? std::to_string(*incoming->closeCode) : "") + ":" +
                                  incoming->data);
                    break;
                }
            }
        }
    } catch (const ProtocolError& error) {
        out.push_back("error " + std::to_string(error.closeCode()) + ": " + error.what());
    }
    return out;
}

using Output = std::vector<std::string>;

} // namespace

TEST(FrameDecoder, ReassemblesMessagesIntoPiecesOfAtMostTheLimit)
{
    const struct {
        const char* name;
        std::string bytes;
        std::size_t limit;
        Output expected;
    } rows[] = {
        {"empty message", frame(Opcode::Text, ""), 4, {"T:|"}},
        {"exactly the limit", frame(Opcode::Binary, "abcd"), 4, {"B:abcd|"}},
        {"twice the limit", frame(Opcode::Text, "abcdefgh"), 4, {"T:abcd", "T:efgh|"}},
        {"one more than the limit", frame(Opcode::Text, "abcde"), 4, {"T:abcd", "T:e|"}},
        {"server fragments",
         frame(Opcode::Text, "ab", false) + frame(Opcode::Continuation, "cd", false) +
             frame(Opcode::Continuation, "ef"),
         4,
         {"T:abcd", "T:ef|"}},
        {"empty final fragment after a full piece",
         frame(Opcode::Binary, "abcd", false) + frame(Opcode::Continuation, ""),
         4,
         {"B:abcd|"}},
        {"control frames between fragments",
         frame(Opcode::Text, "ab", false) + frame(Opcode::Ping, "p") + frame(Opcode::Continuation, "c") +
             frame(Opcode::Pong, "q"),
         4,
         {"ping:p", "T:abc|", "pong:q"}},
        {"close with and without a code",
         frame(Opcode::Close, "\x03\xE8"
                              "bye") +
             frame(Opcode::Close, ""),
         4,
         {"close:1000:bye", "close::"}},
        {"a limit of 0 counts as 1", frame(Opcode::Text, "ab"), 0, {"T:a", "T:b|"}},
        {"a character cut by a piece", frame(Opcode::Text, "a\xE2\x82\xAC"), 2, {"T:a\xE2", "T:\x82\xAC|"}},
        {"a large frame", frame(Opcode::Binary, std::string(70000, 'z')), 1532, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto whole = decode(row.bytes, row.limit, row.bytes.size());
        if (row.expected.empty()) {
            ASSERT_EQ(whole.size(), 46U);
            EXPECT_EQ(whole.back(), "B:" + std::string(70000 - 45 * 1532, 'z') + "|");
        } else {
            EXPECT_EQ(whole, row.expected);
        }
        EXPECT_EQ(decode(row.bytes, row.limit, 1), whole) << "fed byte by byte";
    }
}

TEST(FrameDecoder, FailsProtocolViolationsWithTheirCloseCode)
{
    const struct {
        const char* name;
        std::string bytes;
        const char* error;
    } rows[] = {
        {"masked", std::string("\x81\x81\x00\x00\x00\x00x", 7), "error 1002: Masked frame from the server"},
        {"reserved bit", std::string("\xC1\x00", 2), "error 1002: Reserved bits set without an extension"},
        {"unknown opcode", std::string("\x83\x00", 2), "error 1002: Unknown opcode 3"},
        {"unknown control opcode", std::string("\x8B\x00", 2), "error 1002: Unknown opcode 11"},
        {"fragmented ping", frame(Opcode::Ping, "", false), "error 1002: Fragmented control frame"},
        {"long ping", frame(Opcode::Ping, std::string(126, 'p')), "error 1002: Control frame longer than 125 bytes"},
        {"lone continuation", frame(Opcode::Continuation, "x"),
         "error 1002: Continuation frame without a message to continue"},
        {"interleaved message", frame(Opcode::Text, "a", false) + frame(Opcode::Binary, "b"),
         "error 1002: New message before the previous one ended"},
        {"non-minimal 16-bit length", std::string("\x82\x7E\x00\x05", 4) + "abcde",
         "error 1002: Frame length not in its shortest form"},
        {"non-minimal 64-bit length", std::string("\x82\x7F\x00\x00\x00\x00\x00\x00\xFF\xFF", 10),
         "error 1002: Frame length not in its shortest form"},
        {"64-bit length with its top bit", std::string("\x82\x7F\x80\x00\x00\x00\x00\x00\x00\x00", 10),
         "error 1002: Frame length with its most significant bit set"},
        {"bad close code", frame(Opcode::Close, "\x03\xEE"), "error 1002: Invalid close code 1006"},
        {"invalid UTF-8", frame(Opcode::Text, "ok\xFF"), "error 1007: Invalid UTF-8 in a text message"},
        {"text ends inside a character", frame(Opcode::Text, "\xE2\x82"),
         "error 1007: Invalid UTF-8 in a text message"},
        {"bad UTF-8 across fragments", frame(Opcode::Text, "\xED", false) + frame(Opcode::Continuation, "\xA0\x80"),
         "error 1007: Invalid UTF-8 in a text message"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto whole = decode(row.bytes, 1532, row.bytes.size());
        ASSERT_FALSE(whole.empty());
        EXPECT_EQ(whole.back(), row.error);
        EXPECT_EQ(decode(row.bytes, 1532, 1), whole) << "fed byte by byte";
    }
}

TEST(FrameDecoder, FailsBadUtf8BeforeTheMessageEnds)
{
    const auto bytes = frame(Opcode::Text, "\xFF", false);
    EXPECT_EQ(decode(bytes, 1532, bytes.size()), Output{"error 1007: Invalid UTF-8 in a text message"});
}
