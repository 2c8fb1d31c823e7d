// Fuzzes ContentType::parse with the whole input as header text.
//
// Properties:
// - the parse gives the documented value or throws exactly the documented
//   std::runtime_error: the type is the first non-empty piece before a ";",
//   untrimmed, and every later piece is cut at its first "=" into a trimmed
//   name and value; the first piece that is not blank and has no "=" gives
//   "Missing delimiter <=> when parsing : <piece>", otherwise the first
//   parameter without a value gives "Missing parameter value for <name>";
// - the value renders as the type alone, or the type, "; " and the
//   "name=value" parameters joined by a bare ";", and parsing that text again
//   gives an equal value. This must hold for every parsed value: its
//   type holds no ";" and starts the rendering, and its parameter names (no
//   "=", no ";") and values (no ";", never empty) are trimmed, so each
//   " name=value" piece of the rendering cuts back into the same pair.
#include <httpclient_core/ContentType.hpp>

#include "Check.hpp"
#include "Grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

using foundation::httpclient_core::ContentType;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = fuzz::contentType(text);
    std::optional<ContentType> parsed;
    try {
        parsed = ContentType::parse(text);
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "only a parameter without \"=\" or without a value is refused");
        fuzz::require(fuzz::hasMessage(error, expected.error), "the message names the first offending parameter");
        return 0;
    }
    fuzz::require(expected.error.empty(), "a parameter without \"=\" or without a value is refused");
    fuzz::require(parsed->getType() == expected.leading, "the type is the first non-empty piece, untrimmed");
    const auto parameters = parsed->getParameters();
    fuzz::require(fuzz::Fields(parameters.begin(), parameters.end()) == expected.parameters,
                  "each later piece is a trimmed name and value, in order");

    const auto rendered = parsed->toString();
    fuzz::require(rendered == fuzz::render(expected),
                  "the value renders as the type, \"; \" and \";\"-joined parameters");
    fuzz::require(ContentType::parse(rendered) == *parsed, "a rendered value parses back to an equal value");
    return 0;
}
