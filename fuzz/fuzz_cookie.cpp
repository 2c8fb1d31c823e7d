// Fuzzes Cookie::parse with the whole input as header text.
//
// Properties:
// - the collection holds, in text order with repeats kept, every non-blank
//   trimmed element between semicolons cut at its first "=" into a trimmed
//   name and value, or the parse throws exactly std::runtime_error
//   "Missing delimiter <=> when parsing : <element>" for the first element
//   without "=";
// - the collection renders as "name=value" pairs joined by "; ", and parsing
//   that text again gives an equal collection. This must hold for every parsed
//   collection: no name or value holds ";" or surrounding whitespace and no
//   name holds "=", so each "name=value" of the rendering cuts back into the
//   same pair.
#include <httpclient_core/Cookie.hpp>

#include "Check.hpp"
#include "Grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

using foundation::httpclient_core::Cookie;
using foundation::httpclient_core::NameValueCollection;

namespace {

struct ExpectedCookies {
    fuzz::Fields cookies;
    std::string error;
};

ExpectedCookies expectedCookies(const std::string& text)
{
    ExpectedCookies expected;
    for (const auto& element : fuzz::elements(text, ";", true)) {
        auto cookie = fuzz::parameter(element, "=");
        if (!cookie.error.empty()) {
            return {{}, std::move(cookie.error)};
        }
        expected.cookies.push_back(std::move(cookie.field));
    }
    return expected;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = expectedCookies(text);
    std::optional<NameValueCollection> parsed;
    try {
        parsed = Cookie::parse(text);
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "only an element without \"=\" is refused");
        fuzz::require(fuzz::hasMessage(error, expected.error), "the message names the first element without \"=\"");
        return 0;
    }
    fuzz::require(expected.error.empty(), "an element without \"=\" is refused");
    fuzz::require(fuzz::Fields(parsed->begin(), parsed->end()) == expected.cookies,
                  "every non-blank element is a trimmed name and value, in text order");

    const auto rendered = Cookie::toString(*parsed);
    fuzz::require(rendered == fuzz::render(expected.cookies, "; "),
                  "the cookies render as name=value joined by \"; \"");
    fuzz::require(Cookie::parse(rendered) == *parsed, "a rendered collection parses back to an equal collection");
    return 0;
}
