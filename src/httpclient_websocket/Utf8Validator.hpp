// Utf8Validator: checks UTF-8 text that arrives in pieces, failing on the
// first byte that cannot belong to well-formed UTF-8 (RFC 3629, section 4;
// RFC 6455, section 8.1: "fail the WebSocket connection" as soon as possible).
//
//   Utf8Validator v;
//   v.feed("\xE2\x82");   // true: a sequence that may still complete
//   v.complete();         // false: the text stops inside a character
//   v.feed("\xAC");       // true, and now complete() is true ("€")
//
// Overlong forms, surrogates (U+D800..U+DFFF) and code points above U+10FFFF
// are rejected. Once a feed has failed the validator stays failed.
#pragma once

#include <cstdint>
#include <string_view>

namespace foundation::httpclient_websocket {

class Utf8Validator {
public:
    // Whether everything fed so far is a prefix of well-formed UTF-8.
    bool feed(std::string_view bytes);
    // Whether everything fed so far is well-formed UTF-8 that ends on a
    // character boundary.
    bool complete() const { return !failed && remaining == 0; }

private:
    unsigned remaining = 0;     // continuation bytes still due
    std::uint8_t lowest = 0x80; // bounds of the next continuation byte
    std::uint8_t highest = 0xBF;
    bool failed = false;
};

// Whether text is well-formed UTF-8 as a whole.
bool isValidUtf8(std::string_view text);

} // namespace foundation::httpclient_websocket
