#include <httpclient_core/PercentEncoder.hpp>

#include <array>
#include <cstdint>
#include <cstring>

namespace foundation::httpclient_core {

namespace {

// For every byte: its encoded text in the first three characters and the
// length of that text in the fourth. A space is marked with length 0 and
// written from the encoder's own space text.
using Code = std::array<char, 4>;

constexpr bool isUnreserved(unsigned c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

constexpr std::array<Code, 256> makeCodes()
{
    constexpr char hex[] = "0123456789ABCDEF";
    std::array<Code, 256> codes{};
    for (unsigned c = 0; c < 256; ++c) {
        if (c == ' ') {
            codes[c] = Code{0, 0, 0, 0};
        } else if (isUnreserved(c)) {
            codes[c] = Code{static_cast<char>(c), 0, 0, 1};
        } else {
            codes[c] = Code{'%', hex[c >> 4], hex[c & 15], 3};
        }
    }
    return codes;
}

constexpr std::array<Code, 256> codes = makeCodes();

} // namespace

PercentEncoder::PercentEncoder(std::string spaceEncoding) : spaceEncoding(std::move(spaceEncoding)) {}

std::string PercentEncoder::operator()(const std::string& input) const
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(input.data());
    const std::size_t count = input.size();

    std::size_t length = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto size = static_cast<std::size_t>(static_cast<unsigned char>(codes[bytes[i]][3]));
        length += size != 0 ? size : spaceEncoding.size();
    }

    // Each code is copied whole (four bytes) and the cursor advanced by its
    // length, so the buffer carries three bytes of slack past the end.
    std::string output(length + 3, '\0');
    char* out = output.data();
    for (std::size_t i = 0; i < count; ++i) {
        const Code& code = codes[bytes[i]];
        if (code[3] != 0) {
            std::memcpy(out, code.data(), 4);
            out += static_cast<unsigned char>(code[3]);
        } else {
            std::memcpy(out, spaceEncoding.data(), spaceEncoding.size());
            out += spaceEncoding.size();
        }
    }
    output.resize(length);
    return output;
}

} // namespace foundation::httpclient_core
