// FrameDecoder: turns the bytes a server sends into message pieces and
// control frames, checking every rule a client must check (RFC 6455,
// sections 5.1 to 5.6 and 8.1).
//
//   FrameDecoder decoder(4);
//   decoder.feed(encodeFrame(Opcode::Text, true, "hello", std::nullopt));
//   decoder.next();   // Piece: Text "hell", not final
//   decoder.next();   // Piece: Text "o", final
//   decoder.next();   // nothing: more bytes are needed
//
// Data frames are reassembled into pieces of at most maxPieceSize bytes, so
// the server's own fragmentation shows only in where pieces end; a piece of a
// text message may end inside a character. Every message, the empty one
// included, ends with a final piece; pieces are handed out as soon as their
// bytes have arrived, so a large frame needs no buffer of its own size.
// Control frames may arrive between the fragments of a message and come out
// as they arrive. Text is checked for UTF-8 as it arrives, so a bad byte
// fails before the message ends. A limit of 0 counts as 1.
#pragma once

#include "Frame.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Utf8Validator.hpp"

namespace foundation::httpclient_websocket {

struct Incoming {
    enum class Kind { Piece, Ping, Pong, Close };
    Kind kind = Kind::Piece;
    Opcode messageType = Opcode::Text; // Text or Binary, for a piece
    std::string data;                  // the piece, the ping or pong payload, the close reason
    bool isFinal = false;              // for a piece
    std::optional<std::uint16_t> closeCode;
};

class FrameDecoder {
public:
    explicit FrameDecoder(std::size_t maxPieceSize);

    // Appends bytes received from the server.
    void feed(std::string_view bytes);

    // The next piece or control frame, or nothing until more bytes are fed.
    // Throws ProtocolError for a violation; the decoder must not be used
    // afterwards.
    std::optional<Incoming> next();

private:
    struct Header {
        Opcode opcode;
        bool isFinal;
        std::uint64_t remaining; // payload bytes not yet taken
    };

    std::optional<Header> parseHeader();
    std::optional<Incoming> takeControlPayload();
    void takeDataPayload();
    Incoming emitPiece(std::size_t size, bool isFinal);

    std::size_t maxPieceSize;
    std::string buffer;
    std::size_t position = 0; // start of the unread bytes in buffer
    std::optional<Header> header;
    std::optional<Opcode> messageType; // set while a message is in progress
    std::string message;               // received bytes of the message not yet handed out
    Utf8Validator utf8;
};

} // namespace foundation::httpclient_websocket
