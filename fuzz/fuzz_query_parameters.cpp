// Fuzzes the rendering of QueryParameters.
//
// Input: name/value pairs, cut as fuzz::pairsOf describes ("|q|a b|flag|").
// Every pair is offered to addQueryParameter, and all of them, empty keys
// included, go into a QueryParameters made from a NameValueCollection.
//
// Properties: addQueryParameter refuses exactly the empty keys, with exactly
// std::logic_error "Cannot add QueryParameter with an empty key", and keeps
// every other pair; toString and toStream write the same text; that text is
// empty for no pairs, else "?" and one "&"-separated entry per pair, in order:
// the encoded key, then "=" and the encoded value unless the value is empty.
// Keys and values hold only unreserved bytes and upper-case "%XX" triplets
// (a space is "%20") and decode back to the pairs.
#include <httpclient_core/QueryParameters.hpp>

#include "Check.hpp"
#include "Encoding.hpp"
#include "Grammar.hpp"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

using foundation::httpclient_core::NameValueCollection;
using foundation::httpclient_core::QueryParameters;

namespace {

void checkRendering(const QueryParameters& query, const fuzz::Fields& pairs)
{
    const auto text = query.toString();
    std::ostringstream streamed;
    query.toStream(streamed);
    fuzz::require(streamed.str() == text, "toStream writes the text of toString");

    if (pairs.empty()) {
        fuzz::require(text.empty(), "a query without pairs renders as nothing");
        return;
    }
    fuzz::require(!text.empty() && text.front() == '?', "a query with pairs starts with \"?\"");
    const auto entries = fuzz::cut(text.substr(1), "&");
    fuzz::require(entries.size() == pairs.size(), "each pair renders as one entry");
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto& [key, value] = pairs[i];
        const auto equals = entries[i].find('=');
        fuzz::require(value.empty() == (equals == std::string::npos),
                      "an empty value renders as the bare key, any other after \"=\"");
        const auto decodedKey = fuzz::percentDecode(entries[i].substr(0, equals), "%20");
        fuzz::require(decodedKey == key, "a key is encoded and decodes back");
        if (!value.empty()) {
            const auto decodedValue = fuzz::percentDecode(entries[i].substr(equals + 1), "%20");
            fuzz::require(decodedValue == value, "a value is encoded and decodes back");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pairs = fuzz::pairsOf(data, size);

    QueryParameters added;
    fuzz::Fields accepted;
    NameValueCollection all;
    for (const auto& [key, value] : pairs) {
        all.add(key, value);
        try {
            added.addQueryParameter(key, value);
            fuzz::require(!key.empty(), "an empty key is refused");
            accepted.emplace_back(key, value);
        } catch (const std::logic_error& error) {
            fuzz::requireExactly(error);
            fuzz::require(key.empty(), "only an empty key is refused");
            fuzz::require(fuzz::hasMessage(error, "Cannot add QueryParameter with an empty key"),
                          "the message is \"Cannot add QueryParameter with an empty key\"");
        }
    }
    fuzz::require(added.size() == accepted.size(), "a refused pair leaves the parameters unchanged");

    checkRendering(added, accepted);
    checkRendering(QueryParameters(all), pairs);
    return 0;
}
