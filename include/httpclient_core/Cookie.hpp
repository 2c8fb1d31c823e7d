// Cookie: converts the text of a "Cookie" request header to and from the
// cookie names and values it carries.
//
//   auto cookies = Cookie::parse(" a=1; b=x=y ;; a=2");
//   cookies.getAll("A");          // {"1", "2"}
//   cookies.get("b");             // "x=y"
//   Cookie::toString(cookies);    // "a=1; b=x=y; a=2"
//
// Grammar, with no quoting, decoding or attributes (a ";" always separates):
//   cookie-header = [ pair ] *( ";" [ pair ] )   ; blank elements are skipped
//   pair          = OWS name OWS "=" OWS value OWS
// Names and values may be empty ("=x", "a="); repeated names are all kept, in
// text order.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT Cookie {
public:
    Cookie() = delete;

    // Throws HttpHeaders::splitParameter's std::runtime_error
    // "Missing delimiter <=> when parsing : <element>" (the element trimmed)
    // for an element without "="; nothing is returned then.
    static NameValueCollection parse(const std::string& text);

    // Every pair as "name=value", joined by "; ", written as stored.
    static std::string toString(const NameValueCollection& cookies);
};

} // namespace foundation::httpclient_core
