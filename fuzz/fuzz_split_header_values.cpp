// Fuzzes the header-value splitting functions of HttpHeaders: splitElements,
// splitParameters and splitParameter, against the documented grammar.
//
// Input: byte 0 holds skipEmpty in its lowest bit and, above it, the number of
// the element at which a second, throwing callback stops; byte 1 modulo 4 is
// the number of separator bytes that follow; the rest is the text. The
// separators also serve as splitParameter's delimiter, so empty and
// multi-byte delimiters are covered.
//
// Properties:
// - splitElements delivers every trimmed piece between separators, in order,
//   blank ones left out only with skipEmpty; the non-whitespace bytes of the
//   elements are exactly the text's non-whitespace, non-separator bytes;
//   an exception thrown by the callback passes through and ends the split;
// - splitParameters gives the first non-empty piece, untrimmed, and every
//   later piece cut at its first "=", or throws exactly std::runtime_error
//   "Missing delimiter <=> when parsing : <piece>" for the first piece that
//   is not blank and has no "=";
// - splitParameter gives the trimmed name before the delimiter and the
//   trimmed value from one byte after its position, or throws exactly
//   std::runtime_error "Missing delimiter <delimiter> when parsing : <text>".
#include <httpclient_core/HttpHeaders.hpp>

#include "Check.hpp"
#include "Grammar.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

using foundation::httpclient_core::HttpHeaders;

namespace {

struct StopSplitting {};

std::string nonWhitespace(const std::string& text, const std::string& separators)
{
    std::string kept;
    for (const char c : text) {
        if (!fuzz::isWhitespace(c) && separators.find(c) == std::string::npos) {
            kept += c;
        }
    }
    return kept;
}

void checkElements(const std::string& text, const std::string& separators, bool skipEmpty, std::size_t stopAt)
{
    std::vector<std::string> delivered;
    HttpHeaders::splitElements(
        text, [&delivered](const std::string& element) { delivered.push_back(element); }, separators, skipEmpty);
    fuzz::require(delivered == fuzz::elements(text, separators, skipEmpty),
                  "splitElements delivers the trimmed pieces between separators");

    std::string joined;
    for (const auto& element : delivered) {
        joined += element;
    }
    fuzz::require(nonWhitespace(joined, "") == nonWhitespace(text, separators),
                  "the elements cover exactly the text's non-whitespace, non-separator bytes");

    std::size_t calls = 0;
    try {
        HttpHeaders::splitElements(
            text,
            [&calls, stopAt](const std::string&) {
                if (calls++ == stopAt) {
                    throw StopSplitting{};
                }
            },
            separators, skipEmpty);
        fuzz::require(stopAt >= delivered.size() && calls == delivered.size(),
                      "every element reaches a callback that does not throw");
    } catch (const StopSplitting&) {
        fuzz::require(stopAt < delivered.size() && calls == stopAt + 1,
                      "the callback's exception passes through and ends the split");
    }
}

void checkParameters(const std::string& text, const std::string& separators)
{
    const auto expected = fuzz::parameters(text, separators);
    try {
        const auto [leading, parameters] = HttpHeaders::splitParameters(text, separators);
        fuzz::require(expected.error.empty(), "a parameter piece that is not blank and has no \"=\" is refused");
        fuzz::require(leading == expected.leading, "the leading value is the first non-empty piece, untrimmed");
        fuzz::require(fuzz::Fields(parameters.begin(), parameters.end()) == expected.parameters,
                      "each later piece is cut at its first \"=\", in order");
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "only a piece without \"=\" makes splitParameters throw");
        fuzz::require(fuzz::hasMessage(error, expected.error), "the message names the first piece without \"=\"");
    }
}

void checkParameter(const std::string& text, const std::string& delimiter)
{
    const auto expected = fuzz::parameter(text, delimiter);
    try {
        const auto field = HttpHeaders::splitParameter(text, delimiter);
        fuzz::require(expected.error.empty(), "a non-blank text without the delimiter is refused");
        fuzz::require(field == expected.field, "the name and value are cut at the delimiter and trimmed");
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "only a missing delimiter makes splitParameter throw");
        fuzz::require(fuzz::hasMessage(error, expected.error),
                      "the message is \"Missing delimiter <delimiter> when parsing : <text>\"");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const bool skipEmpty = (data[0] & 1U) != 0;
    const std::size_t stopAt = data[0] >> 1U;
    const std::size_t separatorCount = std::min<std::size_t>(data[1] % 4U, size - 2);
    const auto* rest = reinterpret_cast<const char*>(data) + 2;
    const std::string separators(rest, separatorCount);
    const std::string text(rest + separatorCount, size - 2 - separatorCount);

    checkElements(text, separators, skipEmpty, stopAt);
    checkParameters(text, separators);
    checkParameter(text, separators);
    return 0;
}
