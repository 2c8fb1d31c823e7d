// Accept: the value of an "Accept" header, an ordered list of media types.
//
//   auto accept = Accept::parse("text/html, application/json;q=0.9");
//   accept.size();                        // 2
//   accept[1].getParameters().get("q");   // "0.9"
//   accept.toString();                    // "text/html, application/json; q=0.9"
//
// Grammar, with no quoting (a "," always separates, also inside double quotes):
//   accept = [ element ] *( "," [ element ] )   ; blank elements are skipped
//   element = OWS content-type OWS              ; see ContentType
// By design "q" is an ordinary parameter: the list keeps the order of the text
// and is never sorted by preference.
#pragma once

#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Export.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT Accept {
public:
    using const_iterator = std::vector<ContentType>::const_iterator;

    // The list may be empty.
    explicit Accept(std::vector<ContentType> types);

    // Parses every non-blank element with ContentType::parse and passes its
    // std::runtime_error through unchanged ("Missing parameter value for <q>",
    // "Missing delimiter <=> when parsing : <level>"). A blank text gives an
    // empty list.
    static Accept parse(const std::string& text);

    std::vector<ContentType> getTypes() const;
    std::size_t size() const noexcept { return types.size(); }

    const_iterator begin() const noexcept { return types.begin(); }
    const_iterator end() const noexcept { return types.end(); }

    // No bounds check: an index at or past size() is undefined.
    const ContentType& operator[](std::size_t index) const { return types[index]; }
    // Throws std::out_of_range, with the standard vector's message, for an
    // index at or past size().
    const ContentType& at(std::size_t index) const { return types.at(index); }

    // Same types in the same order.
    bool operator==(const Accept& other) const;
    bool operator!=(const Accept& other) const { return !(*this == other); }

    // Each type's ContentType::toString(), joined by ", "; "" for an empty list.
    std::string toString() const;

private:
    std::vector<ContentType> types;
};

} // namespace foundation::httpclient_core
