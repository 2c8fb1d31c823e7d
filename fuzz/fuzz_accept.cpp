// Fuzzes Accept::parse with the whole input as header text.
//
// Properties:
// - the list holds, in text order, the ContentType of every non-blank trimmed
//   element between commas, each parsed by the documented media-type rules,
//   or the parse throws exactly the std::runtime_error of the first element
//   that fails, with its message unchanged;
// - the list renders as the rendering of each media type joined by ", ";
//   parsing that text again never fails, and gives an equal list exactly
//   when every type survives the trimming of its element in the rendering:
//   the type is not empty, does not start with whitespace, and does not end
//   with whitespace unless parameters follow it. A type that breaks this
//   (";  a/b" parses to the type "  a/b") is changed or dropped.
#include <httpclient_core/Accept.hpp>

#include "Check.hpp"
#include "Grammar.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using foundation::httpclient_core::Accept;
using foundation::httpclient_core::ContentType;

namespace {

struct ExpectedList {
    std::vector<fuzz::ParametersCut> types;
    std::string error;
};

ExpectedList expectedList(const std::string& text)
{
    ExpectedList expected;
    for (const auto& element : fuzz::elements(text, ",", true)) {
        auto type = fuzz::contentType(element);
        if (!type.error.empty()) {
            return {{}, std::move(type.error)};
        }
        expected.types.push_back(std::move(type));
    }
    return expected;
}

bool matches(const ContentType& type, const fuzz::ParametersCut& expected)
{
    const auto parameters = type.getParameters();
    return type.getType() == expected.leading &&
           fuzz::Fields(parameters.begin(), parameters.end()) == expected.parameters;
}

bool survivesTrimming(const ContentType& type)
{
    const auto name = type.getType();
    return !name.empty() && !fuzz::isWhitespace(name.front()) &&
           (!type.getParameters().empty() || !fuzz::isWhitespace(name.back()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = expectedList(text);
    std::optional<Accept> parsed;
    try {
        parsed = Accept::parse(text);
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "only an element that is no valid media type is refused");
        fuzz::require(fuzz::hasMessage(error, expected.error),
                      "the first failing element's message passes through unchanged");
        return 0;
    }
    fuzz::require(expected.error.empty(), "an element that is no valid media type is refused");
    fuzz::require(parsed->size() == expected.types.size() &&
                      std::equal(parsed->begin(), parsed->end(), expected.types.begin(), matches),
                  "the list holds every non-blank element's media type, in text order");

    std::string expectedText;
    for (std::size_t i = 0; i < expected.types.size(); ++i) {
        expectedText += (i == 0 ? "" : ", ") + fuzz::render(expected.types[i]);
    }
    const auto rendered = parsed->toString();
    fuzz::require(rendered == expectedText, "the list renders as its media types joined by \", \"");
    const auto reparsed = Accept::parse(rendered);
    const bool survives = std::all_of(parsed->begin(), parsed->end(), survivesTrimming);
    fuzz::require((reparsed == *parsed) == survives,
                  "a rendered list parses back to an equal list exactly when every type survives trimming");
    return 0;
}
