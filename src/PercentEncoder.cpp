#include <httpclient_core/PercentEncoder.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

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

// Sixteen bytes at a time in the compiler's generic vector type (SSE2 on
// x86-64, NEON on AArch64, scalar code elsewhere); a comparison gives -1 in
// every lane where it holds and 0 elsewhere.
using Block = unsigned char __attribute__((vector_size(16)));
using Lanes = decltype(std::declval<Block>() == std::declval<Block>());
constexpr std::size_t blockSize = sizeof(Block);
// Lanes count up by one per block, so at most 127 blocks are counted before
// the lanes are summed.
constexpr std::size_t maxBlocksPerCount = 127;

Block loadBlock(const unsigned char* bytes)
{
    Block block;
    std::memcpy(&block, bytes, blockSize);
    return block;
}

// The rule of isUnreserved, for sixteen bytes at once.
Lanes unreservedLanes(Block c)
{
    const Block folded = c | 0x20;
    return (folded - 'a' < 26) | (c - '0' < 10) | (c - '-' < 2) | (c == '_') | (c == '~');
}

// The length of the encoding: an unreserved byte takes one character, a space
// the length of the space text, any other byte three.
std::size_t encodedLength(const unsigned char* bytes, std::size_t count, std::size_t spaceSize)
{
    std::size_t unreserved = 0;
    std::size_t spaces = 0;
    std::size_t i = 0;
    while (count - i >= blockSize) {
        const std::size_t blocks = std::min((count - i) / blockSize, maxBlocksPerCount);
        Lanes unreservedCount = {};
        Lanes spaceCount = {};
        for (std::size_t b = 0; b < blocks; ++b, i += blockSize) {
            const Block c = loadBlock(bytes + i);
            unreservedCount -= unreservedLanes(c);
            spaceCount -= c == ' ';
        }
        for (std::size_t lane = 0; lane < blockSize; ++lane) {
            unreserved += static_cast<std::size_t>(unreservedCount[lane]);
            spaces += static_cast<std::size_t>(spaceCount[lane]);
        }
    }
    for (; i < count; ++i) {
        unreserved += codes[bytes[i]][3] == 1 ? 1u : 0u;
        spaces += bytes[i] == ' ' ? 1u : 0u;
    }
    return unreserved + 3 * (count - unreserved - spaces) + spaces * spaceSize;
}

} // namespace

PercentEncoder::PercentEncoder(std::string spaceEncoding) : spaceEncoding(std::move(spaceEncoding))
{
}

std::string PercentEncoder::operator()(const std::string& input) const
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(input.data());
    const std::size_t count = input.size();
    const std::size_t length = encodedLength(bytes, count, spaceEncoding.size());

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
