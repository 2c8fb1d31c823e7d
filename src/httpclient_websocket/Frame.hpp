// The WebSocket frame format (RFC 6455, section 5.2), close codes (section
// 7.4) and the error that fails a connection on a protocol violation.
//
//   encodeFrame(Opcode::Text, true, "Hi", MaskKey{1, 2, 3, 4});
//       // "\x81\x82\x01\x02\x03\x04" followed by "H"^1, "i"^2
//   closePayload(1000, "bye");        // "\x03\xE8" "bye"
//   parseClosePayload("\x03\xE8");    // {1000, ""}
//
// A client masks every frame it sends with a fresh random key (section
// 5.3); frames from a server are never masked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation::httpclient_websocket {

// Section 5.2; every other value is reserved.
enum class Opcode : std::uint8_t { Continuation = 0x0, Text = 0x1, Binary = 0x2, Close = 0x8, Ping = 0x9, Pong = 0xA };

// The close codes this client sends itself (section 7.4.1).
namespace closeCode {
constexpr std::uint16_t normal = 1000;
constexpr std::uint16_t goingAway = 1001;
constexpr std::uint16_t protocolError = 1002;
constexpr std::uint16_t invalidPayload = 1007;
} // namespace closeCode

// A violation of the protocol by the peer: what() says what was wrong and
// closeCode() is the code to close the connection with.
class ProtocolError : public std::runtime_error {
public:
    ProtocolError(std::uint16_t closeCode, const std::string& message);
    std::uint16_t closeCode() const { return code; }

private:
    std::uint16_t code;
};

using MaskKey = std::array<std::uint8_t, 4>;

// XORs size bytes at data with the key (section 5.3), starting at byte
// offset of the key's cycle; applying it twice restores the data.
void applyMask(char* data, std::size_t size, const MaskKey& key, std::size_t offset = 0);

// One frame with the payload length in its shortest form; masked when a key
// is given. Endpoints in tests play the server by leaving the key out.
std::string encodeFrame(Opcode opcode, bool isFinal, std::string_view payload, const std::optional<MaskKey>& key);

// Whether code may appear in a close frame: 1000-1003, 1007-1014 and the
// private ranges 3000-4999. 1005, 1006 and 1015 stand for states, not for
// codes on the wire (section 7.4.1).
bool isValidCloseCode(std::uint16_t code);

// The payload of a close frame: the code in network order and the reason.
// Throws std::invalid_argument "Close code <code> cannot be sent" for a code
// that isValidCloseCode refuses, and "Close reason must be valid UTF-8 of at
// most 123 bytes" for a reason that does not fit a control frame.
std::string closePayload(std::uint16_t code, std::string_view reason);

struct CloseFrame {
    std::optional<std::uint16_t> code; // none when the payload is empty
    std::string reason;
};

// The code and reason of a received close frame (section 5.5.1); throws
// ProtocolError for a one-byte payload or an invalid code (1002) or a reason
// that is not UTF-8 (1007).
CloseFrame parseClosePayload(std::string_view payload);

} // namespace foundation::httpclient_websocket
