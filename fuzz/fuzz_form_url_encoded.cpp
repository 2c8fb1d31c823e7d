// Fuzzes FormUrlEncoded with the fields of a form.
//
// Input: name/value pairs, cut as fuzz::pairsOf describes
// ("|name|John Smith|flag|").
//
// Properties: the body is empty for no fields, else one "&"-separated entry
// per field, in order, each the encoded name, exactly one "=" and the encoded
// value (also when the value is empty); names and values hold only unreserved
// bytes, upper-case "%XX" triplets and "+" for a space, and decode back to the
// fields. contentLength() is the body's size; every stream() reads the whole
// body from its start, independently of the others; contentType() is
// "application/x-www-form-urlencoded" without parameters.
#include <httpclient_core/FormUrlEncoded.hpp>

#include "Check.hpp"
#include "Encoding.hpp"
#include "Grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <iterator>
#include <string>

using foundation::httpclient_core::FormUrlEncoded;
using foundation::httpclient_core::NameValueCollection;

namespace {

std::string readAll(std::istream& in)
{
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pairs = fuzz::pairsOf(data, size);
    NameValueCollection fields;
    for (const auto& [name, value] : pairs) {
        fields.add(name, value);
    }
    const FormUrlEncoded form(fields);

    const auto first = form.stream();
    const auto second = form.stream();
    const auto body = readAll(*first);
    fuzz::require(readAll(*second) == body, "each stream reads the whole body from its start");
    fuzz::require(form.contentLength() == body.size(), "the content length is the body's size");
    const auto type = form.contentType();
    fuzz::require(type.getType() == "application/x-www-form-urlencoded" && type.getParameters().empty(),
                  "the content type is application/x-www-form-urlencoded without parameters");

    if (pairs.empty()) {
        fuzz::require(body.empty(), "a form without fields has an empty body");
        return 0;
    }
    const auto entries = fuzz::cut(body, "&");
    fuzz::require(entries.size() == pairs.size(), "each field renders as one entry");
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto equals = entries[i].find('=');
        fuzz::require(equals != std::string::npos && entries[i].find('=', equals + 1) == std::string::npos,
                      "each entry holds exactly one \"=\"");
        fuzz::require(fuzz::percentDecode(entries[i].substr(0, equals), "+") == pairs[i].first,
                      "a name is encoded and decodes back");
        fuzz::require(fuzz::percentDecode(entries[i].substr(equals + 1), "+") == pairs[i].second,
                      "a value is encoded and decodes back");
    }
    return 0;
}
