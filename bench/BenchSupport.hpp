// Helpers shared by the benchmark programs: reproducible inputs and the
// correctness check that runs before anything is timed.
//
//   const std::string text = bench::randomBytes(1 << 20, 42);
//   bench::requireEqual("PercentEncoder vs curl_easy_escape", ours, theirs);   // aborts on a difference
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace bench {

// Prints "<what>: <message>" to stderr and aborts: a benchmark whose outputs
// are wrong must not print a figure.
[[noreturn]] inline void fail(const std::string& what, const std::string& message)
{
    std::fprintf(stderr, "benchmark check failed: %s: %s\n", what.c_str(), message.c_str());
    std::abort();
}

inline void require(bool condition, const std::string& what, const std::string& message)
{
    if (!condition) {
        fail(what, message);
    }
}

// Aborts unless both texts are equal byte for byte; names the first differing offset.
inline void requireEqual(const std::string& what, const std::string& expected, const std::string& actual)
{
    if (expected == actual) {
        return;
    }
    std::size_t offset = 0;
    while (offset < expected.size() && offset < actual.size() && expected[offset] == actual[offset]) {
        ++offset;
    }
    fail(what, "outputs differ at byte " + std::to_string(offset) + " (sizes " + std::to_string(expected.size()) +
                   " and " + std::to_string(actual.size()) + ")");
}

// size bytes drawn uniformly from 0..255 with a fixed seed.
inline std::string randomBytes(std::size_t size, std::uint32_t seed)
{
    std::mt19937 engine(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::string text(size, '\0');
    for (auto& c : text) {
        c = static_cast<char>(byte(engine));
    }
    return text;
}

// size bytes of text: about reservedShare of them drawn from the reserved
// and sub-delimiter characters (space included), the rest unreserved.
inline std::string textWithReserved(std::size_t size, double reservedShare, std::uint32_t seed)
{
    static const std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    static const std::string reserved = " !*'();:@&=+$,/?#[]";
    std::mt19937 engine(seed);
    std::bernoulli_distribution isReserved(reservedShare);
    std::uniform_int_distribution<std::size_t> pickUnreserved(0, unreserved.size() - 1);
    std::uniform_int_distribution<std::size_t> pickReserved(0, reserved.size() - 1);
    std::string text(size, '\0');
    for (auto& c : text) {
        c = isReserved(engine) ? reserved[pickReserved(engine)] : unreserved[pickUnreserved(engine)];
    }
    return text;
}

} // namespace bench
