// A strict decoder of percent-encoded text, and the cutting of a fuzz input
// into the name/value pairs of a query or a form.
#pragma once

#include "Grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

inline bool isUnreserved(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

// The value of an upper-case hexadecimal digit, or -1 for any other byte.
inline int upperHexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Decodes text exactly as the encoder with the given space text must have
// written it: an unreserved byte stands for itself, "%" and two upper-case hex
// digits for any other byte, and spaceText for a space (a space text of "%20"
// is a triplet itself). Returns nullopt at the first thing the encoder must
// never write: another byte, a lower-case digit, a triplet of an unreserved
// byte, or a triplet of a space when the space text is something else.
inline std::optional<std::string> percentDecode(const std::string& text, const std::string& spaceText)
{
    std::string decoded;
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '%') {
            if (i + 2 >= text.size()) {
                return std::nullopt;
            }
            const int high = upperHexValue(text[i + 1]);
            const int low = upperHexValue(text[i + 2]);
            if (high < 0 || low < 0) {
                return std::nullopt;
            }
            const auto byte = static_cast<char>(high * 16 + low);
            if (isUnreserved(byte) || (byte == ' ' && spaceText != "%20")) {
                return std::nullopt;
            }
            decoded += byte;
            i += 3;
        } else if (isUnreserved(text[i])) {
            decoded += text[i];
            ++i;
        } else if (!spaceText.empty() && text.compare(i, spaceText.size(), spaceText) == 0) {
            decoded += ' ';
            i += spaceText.size();
        } else {
            return std::nullopt;
        }
    }
    return decoded;
}

// Cuts a fuzz input into pairs: its first byte is the separator, the rest is
// cut at every occurrence of it, and consecutive fields pair up as (name,
// value); a last name without a partner gets an empty value. "|q|a b|flag|"
// gives ("q", "a b"), ("flag", ""). An empty input gives no pairs.
inline Fields pairsOf(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return {};
    }
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto fields = cut(rest, std::string(1, static_cast<char>(data[0])));
    Fields pairs;
    for (std::size_t i = 0; i < fields.size(); i += 2) {
        pairs.emplace_back(fields[i], i + 1 < fields.size() ? fields[i + 1] : std::string());
    }
    return pairs;
}

} // namespace fuzz
