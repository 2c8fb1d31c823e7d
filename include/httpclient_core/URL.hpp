// URL: the text of a request URL, held as given.
//
//   URL url{"http://example.test/a?b=1"};
//   url.toAsciiString();   // "http://example.test/a?b=1"
//
// An aggregate: nothing is parsed, validated or normalised, and equality is
// byte for byte (case-sensitive).
#pragma once

#include <httpclient_core/Export.hpp>

#include <ostream>
#include <string>

namespace foundation::httpclient_core {

struct HTTPCLIENT_CORE_EXPORT URL {
    std::string url;

    std::string toAsciiString() const { return url; }
    bool operator==(const URL& other) const { return url == other.url; }
    bool operator!=(const URL& other) const { return url != other.url; }
};

// Writes the text as a formatted string insertion.
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& out, const URL& url);

} // namespace foundation::httpclient_core
