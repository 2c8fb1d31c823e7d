#include "FrameDecoder.hpp"

#include <algorithm>

namespace foundation::httpclient_websocket {

namespace {

constexpr std::uint64_t maxControlPayload = 125;

[[noreturn]] void failProtocol(const std::string& message)
{
    throw ProtocolError(closeCode::protocolError, message);
}

[[noreturn]] void failUtf8()
{
    throw ProtocolError(closeCode::invalidPayload, "Invalid UTF-8 in a text message");
}

bool isControl(Opcode opcode)
{
    return (static_cast<std::uint8_t>(opcode) & 0x8U) != 0;
}

bool isKnown(std::uint8_t opcode)
{
    return opcode <= 0x2 || (opcode >= 0x8 && opcode <= 0xA);
}

} // namespace

FrameDecoder::FrameDecoder(std::size_t maxPieceSize) : maxPieceSize(std::max<std::size_t>(maxPieceSize, 1))
{
}

void FrameDecoder::feed(std::string_view bytes)
{
    if (position == buffer.size()) {
        buffer.clear();
        position = 0;
    } else if (position > 4096 && position > buffer.size() / 2) {
        buffer.erase(0, position);
        position = 0;
    }
    buffer.append(bytes);
}

std::optional<Incoming> FrameDecoder::next()
{
    for (;;) {
        if (message.size() > maxPieceSize) {
            return emitPiece(maxPieceSize, false);
        }
        if (!header) {
            header = parseHeader();
            if (!header) {
                return std::nullopt;
            }
        }
        if (isControl(header->opcode)) {
            return takeControlPayload();
        }
        if (header->remaining > 0) {
            if (position == buffer.size()) {
                return std::nullopt;
            }
            takeDataPayload();
            continue;
        }
        const bool isFinal = header->isFinal;
        header.reset();
        if (isFinal) {
            if (!utf8.complete()) {
                failUtf8();
            }
            return emitPiece(message.size(), true);
        }
    }
}

// Section 5.2: FIN, three reserved bits, the opcode, MASK, then the length in
// 7, 7+16 or 7+64 bits, then the masking key when MASK is set.
std::optional<FrameDecoder::Header> FrameDecoder::parseHeader()
{
    const std::size_t available = buffer.size() - position;
    if (available < 2) {
        return std::nullopt;
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(buffer.data() + position);
    const bool isFinal = (bytes[0] & 0x80U) != 0;
    if ((bytes[0] & 0x70U) != 0) {
        failProtocol("Reserved bits set without an extension"); // section 5.2
    }
    const std::uint8_t opcodeBits = bytes[0] & 0x0FU;
    if (!isKnown(opcodeBits)) {
        failProtocol("Unknown opcode " + std::to_string(opcodeBits)); // section 5.2
    }
    if ((bytes[1] & 0x80U) != 0) {
        failProtocol("Masked frame from the server"); // section 5.1
    }
    const std::uint8_t shortLength = bytes[1] & 0x7FU;
    std::size_t headerSize = 2;
    std::uint64_t length = shortLength;
    if (shortLength >= 126) {
        const unsigned extended = shortLength == 126 ? 2 : 8;
        headerSize += extended;
        if (available < headerSize) {
            return std::nullopt;
        }
        length = 0;
        for (unsigned i = 0; i < extended; ++i) {
            length = length << 8U | bytes[2 + i];
        }
        if ((length >> 63U) != 0) {
            failProtocol("Frame length with its most significant bit set"); // section 5.2
        }
        if (length < (extended == 2 ? 126U : 0x10000U)) {
            failProtocol("Frame length not in its shortest form"); // section 5.2
        }
    }
    const auto opcode = static_cast<Opcode>(opcodeBits);
    if (isControl(opcode)) {
        // Section 5.5: control frames are never fragmented and carry at most
        // 125 bytes.
        if (!isFinal) {
            failProtocol("Fragmented control frame");
        }
        if (length > maxControlPayload) {
            failProtocol("Control frame longer than 125 bytes");
        }
    } else if (opcode == Opcode::Continuation) {
        if (!messageType) {
            failProtocol("Continuation frame without a message to continue"); // section 5.4
        }
    } else {
        if (messageType) {
            failProtocol("New message before the previous one ended"); // section 5.4
        }
        messageType = opcode;
        utf8 = Utf8Validator();
    }
    position += headerSize;
    return Header{opcode, isFinal, length};
}

std::optional<Incoming> FrameDecoder::takeControlPayload()
{
    if (buffer.size() - position < header->remaining) {
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(header->remaining);
    const std::string_view payload(buffer.data() + position, size);
    position += size;
    Incoming control;
    switch (header->opcode) {
    case Opcode::Ping:
        control.kind = Incoming::Kind::Ping;
        control.data = payload;
        break;
    case Opcode::Pong:
        control.kind = Incoming::Kind::Pong;
        control.data = payload;
        break;
    default: {
        auto close = parseClosePayload(payload);
        control.kind = Incoming::Kind::Close;
        control.closeCode = close.code;
        control.data = std::move(close.reason);
        break;
    }
    }
    header.reset();
    return control;
}

// Takes no more than one byte beyond a full piece, so that a piece is handed
// out as non-final only when another byte of its message is known to follow.
void FrameDecoder::takeDataPayload()
{
    const std::size_t room = maxPieceSize + 1 - message.size();
    const std::size_t size = static_cast<std::size_t>(
        std::min<std::uint64_t>({header->remaining, buffer.size() - position, static_cast<std::uint64_t>(room)}));
    const std::string_view bytes(buffer.data() + position, size);
    if (messageType == Opcode::Text && !utf8.feed(bytes)) {
        failUtf8();
    }
    message.append(bytes);
    position += size;
    header->remaining -= size;
}

Incoming FrameDecoder::emitPiece(std::size_t size, bool isFinal)
{
    Incoming piece;
    piece.messageType = *messageType;
    piece.data = message.substr(0, size);
    piece.isFinal = isFinal;
    message.erase(0, size);
    if (isFinal) {
        messageType.reset();
    }
    return piece;
}

} // namespace foundation::httpclient_websocket
