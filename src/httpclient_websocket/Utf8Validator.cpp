#include "Utf8Validator.hpp"

namespace foundation::httpclient_websocket {

bool Utf8Validator::feed(std::string_view bytes)
{
    for (const char c : bytes) {
        if (failed) {
            return false;
        }
        const auto byte = static_cast<std::uint8_t>(c);
        if (remaining > 0) {
            if (byte < lowest || byte > highest) {
                failed = true;
                break;
            }
            --remaining;
            lowest = 0x80;
            highest = 0xBF;
            continue;
        }
        // The lead byte fixes the length and, for E0, ED, F0 and F4, a
        // narrower range for the second byte (RFC 3629, section 4).
        if (byte < 0x80) {
            continue;
        }
        if (byte >= 0xC2 && byte <= 0xDF) {
            remaining = 1;
        } else if (byte >= 0xE0 && byte <= 0xEF) {
            remaining = 2;
            lowest = byte == 0xE0 ? 0xA0 : 0x80;
            highest = byte == 0xED ? 0x9F : 0xBF;
        } else if (byte >= 0xF0 && byte <= 0xF4) {
            remaining = 3;
            lowest = byte == 0xF0 ? 0x90 : 0x80;
            highest = byte == 0xF4 ? 0x8F : 0xBF;
        } else {
            failed = true;
        }
    }
    return !failed;
}

bool isValidUtf8(std::string_view text)
{
    Utf8Validator validator;
    validator.feed(text);
    return validator.complete();
}

} // namespace foundation::httpclient_websocket
