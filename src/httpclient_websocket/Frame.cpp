#include "Frame.hpp"

#include "Utf8Validator.hpp"

namespace foundation::httpclient_websocket {

namespace {

constexpr std::size_t maxControlPayload = 125;

void appendBigEndian(std::string& out, std::uint64_t value, unsigned bytes)
{
    for (unsigned i = bytes; i > 0; --i) {
        out.push_back(static_cast<char>((value >> (8U * (i - 1))) & 0xFFU));
    }
}

} // namespace

ProtocolError::ProtocolError(std::uint16_t closeCode, const std::string& message)
    : std::runtime_error(message),
      code(closeCode)
{
}

void applyMask(char* data, std::size_t size, const MaskKey& key, std::size_t offset)
{
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<char>(static_cast<std::uint8_t>(data[i]) ^ key[(offset + i) % 4]);
    }
}

std::string encodeFrame(Opcode opcode, bool isFinal, std::string_view payload, const std::optional<MaskKey>& key)
{
    std::string frame;
    frame.reserve(payload.size() + 14);
    frame.push_back(static_cast<char>((isFinal ? 0x80U : 0U) | static_cast<std::uint8_t>(opcode)));
    const std::uint8_t maskBit = key ? 0x80U : 0U;
    // Section 5.2: 7 bits up to 125, 126 and 16 bits up to 65535, else 127
    // and 64 bits.
    if (payload.size() <= maxControlPayload) {
        frame.push_back(static_cast<char>(maskBit | payload.size()));
    } else if (payload.size() <= 0xFFFFU) {
        frame.push_back(static_cast<char>(maskBit | 126U));
        appendBigEndian(frame, payload.size(), 2);
    } else {
        frame.push_back(static_cast<char>(maskBit | 127U));
        appendBigEndian(frame, payload.size(), 8);
    }
    if (key) {
        frame.append(reinterpret_cast<const char*>(key->data()), key->size());
    }
    const std::size_t start = frame.size();
    frame.append(payload);
    if (key) {
        applyMask(frame.data() + start, payload.size(), *key);
    }
    return frame;
}

bool isValidCloseCode(std::uint16_t code)
{
    return (code >= 1000 && code <= 1003) || (code >= 1007 && code <= 1014) || (code >= 3000 && code <= 4999);
}

std::string closePayload(std::uint16_t code, std::string_view reason)
{
    if (!isValidCloseCode(code)) {
        throw std::invalid_argument("Close code " + std::to_string(code) + " cannot be sent");
    }
    if (reason.size() > maxControlPayload - 2 || !isValidUtf8(reason)) {
        throw std::invalid_argument("Close reason must be valid UTF-8 of at most 123 bytes");
    }
    std::string payload;
    appendBigEndian(payload, code, 2);
    payload.append(reason);
    return payload;
}

CloseFrame parseClosePayload(std::string_view payload)
{
    if (payload.empty()) {
        return {};
    }
    if (payload.size() == 1) {
        throw ProtocolError(closeCode::protocolError, "Close frame with a one-byte payload");
    }
    const auto code =
        static_cast<std::uint16_t>(static_cast<std::uint8_t>(payload[0]) << 8U | static_cast<std::uint8_t>(payload[1]));
    if (!isValidCloseCode(code)) {
        throw ProtocolError(closeCode::protocolError, "Invalid close code " + std::to_string(code));
    }
    const auto reason = payload.substr(2);
    if (!isValidUtf8(reason)) {
        throw ProtocolError(closeCode::invalidPayload, "Invalid UTF-8 in a close reason");
    }
    return {code, std::string(reason)};
}

} // namespace foundation::httpclient_websocket
