// Fuzzes FrameDecoder with the bytes a server might send. The first input
// byte picks the piece limit, the second the size of the chunks the rest is
// fed in.
//
// Properties:
// - the decoder hands out the same pieces and control frames, and fails with
//   the same error, whatever the chunk size;
// - only ProtocolError escapes, with close code 1002 or 1007;
// - every piece holds at most the limit (a limit of 0 counting as 1), and a
//   non-final piece exactly the limit; every text message is valid UTF-8;
// - the whole messages and the control frames, encoded again as single
//   unmasked frames and decoded with the same limit, come out as the same
//   pieces and the same control frames.
#include "Check.hpp"

#include "FrameDecoder.hpp"
#include "Utf8Validator.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

using namespace foundation::httpclient_websocket;

namespace {

struct Decoded {
    std::vector<Incoming> items;
    std::string error; // "<code> <what>" of the ProtocolError, if any
};

Decoded decode(std::string_view bytes, std::size_t limit, std::size_t chunk)
{
    Decoded decoded;
    FrameDecoder decoder(limit);
    try {
        for (std::size_t offset = 0; offset < bytes.size(); offset += chunk) {
            decoder.feed(bytes.substr(offset, chunk));
            while (auto incoming = decoder.next()) {
                decoded.items.push_back(std::move(*incoming));
            }
        }
    } catch (const ProtocolError& error) {
        fuzz::requireExactly(error);
        fuzz::require(error.closeCode() == 1002 || error.closeCode() == 1007, "the close code is 1002 or 1007");
        decoded.error = std::to_string(error.closeCode()) + " " + error.what();
    }
    return decoded;
}

bool same(const Incoming& a, const Incoming& b)
{
    return a.kind == b.kind && a.messageType == b.messageType && a.data == b.data && a.isFinal == b.isFinal &&
           a.closeCode == b.closeCode;
}

bool same(const std::vector<Incoming>& a, const std::vector<Incoming>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) { return same(x, y); });
}

// The pieces of the messages that ended, in order.
std::vector<Incoming> pieces(const std::vector<Incoming>& items)
{
    std::vector<Incoming> found;
    std::size_t ended = 0;
    for (const auto& item : items) {
        if (item.kind == Incoming::Kind::Piece) {
            found.push_back(item);
            if (item.isFinal) {
                ended = found.size();
            }
        }
    }
    found.resize(ended);
    return found;
}

std::vector<Incoming> controls(const std::vector<Incoming>& items)
{
    std::vector<Incoming> found;
    std::copy_if(items.begin(), items.end(), std::back_inserter(found),
                 [](const auto& item) { return item.kind != Incoming::Kind::Piece; });
    return found;
}

// Each control frame as it came, and each whole message and control frame as one unmasked frame.
std::string reencode(const std::vector<Incoming>& items)
{
    std::string bytes;
    std::string message;
    for (const auto& item : items) {
        switch (item.kind) {
        case Incoming::Kind::Piece:
            message += item.data;
            if (item.isFinal) {
                bytes += encodeFrame(item.messageType, true, message, std::nullopt);
                message.clear();
            }
            break;
        case Incoming::Kind::Ping:
            bytes += encodeFrame(Opcode::Ping, true, item.data, std::nullopt);
            break;
        case Incoming::Kind::Pong:
            bytes += encodeFrame(Opcode::Pong, true, item.data, std::nullopt);
            break;
        case Incoming::Kind::Close:
            bytes += encodeFrame(Opcode::Close, true, item.closeCode ? closePayload(*item.closeCode, item.data) : "",
                                 std::nullopt);
            break;
        }
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const std::size_t limit = data[0];
    const std::size_t chunk = data[1] % 16 + 1;
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);

    const auto whole = decode(bytes, limit, std::max<std::size_t>(bytes.size(), 1));
    const auto chunked = decode(bytes, limit, chunk);
    fuzz::require(same(whole.items, chunked.items) && whole.error == chunked.error, "the chunk size changes nothing");

    const std::size_t effectiveLimit = std::max<std::size_t>(limit, 1);
    Utf8Validator text;
    for (const auto& item : whole.items) {
        if (item.kind != Incoming::Kind::Piece) {
            continue;
        }
        fuzz::require(item.data.size() <= effectiveLimit, "a piece holds at most the limit");
        fuzz::require(item.isFinal || item.data.size() == effectiveLimit, "a non-final piece is full");
        if (item.messageType == Opcode::Text) {
            text.feed(item.data);
            if (item.isFinal) {
                fuzz::require(text.complete(), "a text message is valid UTF-8");
                text = Utf8Validator();
            }
        }
    }

    const auto again = decode(reencode(whole.items), limit, chunk);
    fuzz::require(again.error.empty(), "re-encoded frames decode without error");
    fuzz::require(same(pieces(again.items), pieces(whole.items)), "re-encoded messages decode to the same pieces");
    fuzz::require(same(controls(again.items), controls(whole.items)),
                  "re-encoded control frames decode to the same frames");
    return 0;
}
