// ContentType: a media type with its parameters, the value of a "Content-Type"
// header and of each entry of an "Accept" header.
//
//   auto type = ContentType::parse("text/html ; charset=utf-8");
//   type.getType();                           // "text/html " (kept untrimmed)
//   type.getParameters().get("CHARSET");      // "utf-8"
//   ContentType("text/plain", {{"a", "1"}, {"b", "2"}}).toString();
//                                             // "text/plain; a=1;b=2"
//
// Grammar, with no quoting (a ";" always separates, also inside double quotes):
//   content-type = type *( ";" parameter )
//   parameter    = OWS name OWS "=" OWS value OWS   ; value not empty
//   OWS          = *( SP / HTAB / CR / LF )
// The type is the first non-empty piece, untrimmed. Nothing is lower-cased,
// unquoted or checked: the type need not hold a slash, and quotes around a
// value are part of the value.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT ContentType {
public:
    ContentType(std::string type, NameValueCollection parameters);

    // Throws std::runtime_error "Missing parameter value for <name>" for the
    // first parameter with an empty value (a trailing ";" gives one named ""),
    // and HttpHeaders::splitParameter's std::runtime_error
    // "Missing delimiter <=> when parsing : <piece>" for a piece without "=".
    // An empty text gives an empty type without parameters.
    static ContentType parse(const std::string& text);

    std::string getType() const;
    // Names are matched without regard to case on lookup.
    NameValueCollection getParameters() const;

    // Types and parameters equal byte for byte, parameters in the same order:
    // by design "charset=UTF-8" and "CHARSET=UTF-8" make two values unequal.
    bool operator==(const ContentType& other) const;
    bool operator!=(const ContentType& other) const { return !(*this == other); }

    // The type alone when there are no parameters; otherwise the type, "; " and
    // the "name=value" pairs joined by a bare ";". By design only the first
    // separator has a blank: "text/plain; a=1;b=2".
    std::string toString() const;

private:
    std::string type;
    NameValueCollection parameters;
};

} // namespace foundation::httpclient_core
