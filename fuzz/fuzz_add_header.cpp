// Fuzzes HttpHeaders::addHeader with one raw header line (the whole input).
//
// Properties: a blank line, or one whose name is empty, changes nothing; a
// non-blank line without a colon throws exactly std::runtime_error
// "Missing delimiter <:> when parsing : <line>" and changes nothing; any other
// line appends exactly one field, the trimmed text before the first colon and
// the trimmed text after it, which lookups then find. Fields already present
// are never touched.
#include <httpclient_core/HttpHeaders.hpp>

#include "Check.hpp"
#include "Grammar.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

using foundation::httpclient_core::HttpHeaders;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    const fuzz::Fields before{{"Host", "example.com"}, {"accept", "*/*"}};
    HttpHeaders headers{before[0], before[1]};

    const auto expected = fuzz::parameter(line, ":");
    try {
        headers.addHeader(line);
        fuzz::require(expected.error.empty(), "a non-blank line without a colon is refused");
    } catch (const std::runtime_error& error) {
        fuzz::requireExactly(error);
        fuzz::require(!expected.error.empty(), "a line that is blank or holds a colon is accepted");
        fuzz::require(fuzz::hasMessage(error, expected.error),
                      "the message is \"Missing delimiter <:> when parsing : <line>\"");
    }

    const fuzz::Fields after(headers.begin(), headers.end());
    const bool adds = expected.error.empty() && !expected.field.first.empty();
    fuzz::require(after.size() == before.size() + (adds ? 1 : 0),
                  "the set grows by one field exactly when one is added");
    fuzz::require(std::equal(before.begin(), before.end(), after.begin()), "fields already present stay as they were");
    fuzz::require(headers.getHeaderValue("HOST") == "example.com", "a lookup still finds the earliest field of a name");
    if (adds) {
        fuzz::require(after.back() == expected.field, "the added field is the trimmed name and the trimmed value");
        fuzz::require(headers.hasHeader(expected.field.first), "the added field's name is found");
        fuzz::require(headers.find(expected.field.first) != headers.end(), "find locates the added field's name");
    }
    return 0;
}
