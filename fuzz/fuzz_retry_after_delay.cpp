// Fuzzes retryAfterDelay. The first 8 bytes of the input, little-endian,
// give "now" in milliseconds since 1970 (reduced to within 200 years of it);
// the rest is the Retry-After value.
//
// Properties:
// - it never throws, and a wait is between 0 s and 2^31 s;
// - a value of digits only is its number of seconds (2^31 at most), whatever now is;
// - any other value that gives a wait is an HTTP-date of one of the three
//   lengths (29 bytes IMF-fixdate, 24 asctime, 30 to 33 RFC 850), and names
//   one instant: at now + wait the wait is 0 s, and a second earlier it is 1 s
//   (while the wait is below the 2^31 s ceiling).
#include <httpclient_core/RetryStrategies.hpp>

#include "Check.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

using foundation::httpclient_core::retryAfterDelay;
using std::chrono::seconds;

namespace {

constexpr std::int64_t kLongestWait = std::int64_t{1} << 31;
constexpr std::int64_t kNowRange = 200LL * 366 * 86400 * 1000;

bool allDigits(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::int64_t expectedSeconds(const std::string& digits)
{
    std::int64_t value = 0;
    for (const char c : digits) {
        value = std::min(kLongestWait, value * 10 + (c - '0'));
    }
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 8) {
        return 0;
    }
    std::uint64_t raw = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        raw |= std::uint64_t{data[i]} << (8 * i);
    }
    const auto milliseconds = static_cast<std::int64_t>(raw % (2 * kNowRange)) - kNowRange;
    const std::chrono::system_clock::time_point now{std::chrono::milliseconds(milliseconds)};
    const std::string value(reinterpret_cast<const char*>(data + 8), size - 8);

    const auto wait = retryAfterDelay(value, now);
    if (!value.empty() && allDigits(value)) {
        fuzz::require(wait.has_value() && wait->count() == expectedSeconds(value), "digits are seconds");
        return 0;
    }
    if (!wait) {
        return 0;
    }
    fuzz::require(wait->count() >= 0 && wait->count() <= kLongestWait, "a wait lies between 0 s and 2^31 s");
    fuzz::require(value.size() == 29 || value.size() == 24 || (value.size() >= 30 && value.size() <= 33),
                  "only an HTTP-date of one of the three forms gives a wait");
    if (wait->count() > 0 && wait->count() < kLongestWait) {
        fuzz::require(retryAfterDelay(value, now + *wait) == seconds(0), "at the date named the wait is over");
        fuzz::require(retryAfterDelay(value, now + *wait - seconds(1)) == seconds(1),
                      "a second before the date named the wait is one second");
    }
    return 0;
}
