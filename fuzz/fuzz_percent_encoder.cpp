// Fuzzes PercentEncoder with every kind of space text.
//
// Input: the two lowest bits of byte 0 choose the space text: "%20" (as for
// queries), "+" (as for forms), "" (spaces dropped), or the next bytes of the
// input, as many as bits 2 to 4 of byte 0 count, without the unreserved bytes
// and "%" (so that the output stays decodable). The rest is the text encoded.
//
// Properties: the output holds only unreserved bytes (A-Z a-z 0-9 - . _ ~),
// "%XX" triplets with upper-case digits for every other byte, and the space
// text for each space, nothing else; it decodes back to the input, less its
// spaces when the space text is empty.
#include <httpclient_core/PercentEncoder.hpp>

#include "Check.hpp"
#include "Encoding.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

using foundation::httpclient_core::PercentEncoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const auto* rest = reinterpret_cast<const char*>(data) + 1;
    std::size_t restSize = size - 1;

    std::string spaceText;
    switch (data[0] & 3U) {
    case 0:
        spaceText = "%20";
        break;
    case 1:
        spaceText = "+";
        break;
    case 2:
        break;
    default: {
        const std::size_t length = std::min<std::size_t>((data[0] >> 2U) & 7U, restSize);
        std::copy_if(rest, rest + length, std::back_inserter(spaceText),
                     [](char c) { return c != '%' && !fuzz::isUnreserved(c); });
        rest += length;
        restSize -= length;
    }
    }
    const std::string input(rest, restSize);

    const auto encoded = PercentEncoder(spaceText)(input);
    const auto decoded = fuzz::percentDecode(encoded, spaceText);
    fuzz::require(decoded.has_value(),
                  "the output holds only unreserved bytes, upper-case %XX triplets and the space text");

    std::string expected = input;
    if (spaceText.empty()) {
        expected.erase(std::remove(expected.begin(), expected.end(), ' '), expected.end());
    }
    fuzz::require(*decoded == expected, "the output decodes back to the input");
    return 0;
}
