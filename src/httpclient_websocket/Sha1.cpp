#include "Sha1.hpp"

#include <cstddef>

namespace foundation::httpclient_websocket {

namespace {

std::uint32_t rotateLeft(std::uint32_t value, unsigned bits)
{
    return (value << bits) | (value >> (32U - bits));
}

// One 64-byte block into the running state (RFC 3174, section 6.1).
void processBlock(std::array<std::uint32_t, 5>& state, const std::uint8_t* block)
{
    std::array<std::uint32_t, 80> w{};
    for (std::size_t t = 0; t < 16; ++t) {
        w[t] = static_cast<std::uint32_t>(block[4 * t]) << 24U | static_cast<std::uint32_t>(block[4 * t + 1]) << 16U |
               static_cast<std::uint32_t>(block[4 * t + 2]) << 8U | static_cast<std::uint32_t>(block[4 * t + 3]);
    }
    for (std::size_t t = 16; t < 80; ++t) {
        w[t] = rotateLeft(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
    }
    auto [a, b, c, d, e] = state;
    for (std::size_t t = 0; t < 80; ++t) {
        std::uint32_t f = 0;
        std::uint32_t k = 0;
        if (t < 20) {
            f = (b & c) | (~b & d);
            k = 0x5A827999U;
        } else if (t < 40) {
            f = b ^ c ^ d;
            k = 0x6ED9EBA1U;
        } else if (t < 60) {
            f = (b & c) | (b & d) | (c & d);
            k = 0x8F1BBCDCU;
        } else {
            f = b ^ c ^ d;
            k = 0xCA62C1D6U;
        }
        const std::uint32_t temp = rotateLeft(a, 5) + f + e + k + w[t];
        e = d;
        d = c;
        c = rotateLeft(b, 30);
        b = a;
        a = temp;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
}

} // namespace

std::array<std::uint8_t, 20> sha1(std::string_view bytes)
{
    std::array<std::uint32_t, 5> state{0x67452301U, 0xEFCDAB89U, 0x98BADCFEU, 0x10325476U, 0xC3D2E1F0U};
    // The message, a 1 bit, zeros up to 56 bytes mod 64, then the bit length
    // as a 64-bit big-endian number (RFC 3174, section 4).
    std::string padded(bytes);
    padded.push_back('\x80');
    while (padded.size() % 64 != 56) {
        padded.push_back('\0');
    }
    const std::uint64_t bitLength = static_cast<std::uint64_t>(bytes.size()) * 8U;
    for (int shift = 56; shift >= 0; shift -= 8) {
        padded.push_back(static_cast<char>((bitLength >> static_cast<unsigned>(shift)) & 0xFFU));
    }
    for (std::size_t offset = 0; offset < padded.size(); offset += 64) {
        processBlock(state, reinterpret_cast<const std::uint8_t*>(padded.data() + offset));
    }
    std::array<std::uint8_t, 20> digest{};
    for (std::size_t i = 0; i < 20; ++i) {
        digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (24U - 8U * (i % 4)));
    }
    return digest;
}

std::string base64(const std::uint8_t* data, std::size_t size)
{
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        const std::size_t remaining = size - i;
        std::uint32_t group = static_cast<std::uint32_t>(data[i]) << 16U;
        if (remaining > 1) {
            group |= static_cast<std::uint32_t>(data[i + 1]) << 8U;
        }
        if (remaining > 2) {
            group |= data[i + 2];
        }
        text.push_back(alphabet[(group >> 18U) & 0x3FU]);
        text.push_back(alphabet[(group >> 12U) & 0x3FU]);
        text.push_back(remaining > 1 ? alphabet[(group >> 6U) & 0x3FU] : '=');
        text.push_back(remaining > 2 ? alphabet[group & 0x3FU] : '=');
    }
    return text;
}

} // namespace foundation::httpclient_websocket
