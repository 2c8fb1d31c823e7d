// PercentEncoder: RFC 3986 percent encoding for query strings and form bodies.
//
//   PercentEncoder query("%20"), form("+");
//   query("a b&c");      // "a%20b%26c"
//   form("a b+c");       // "a+b%2Bc"
//   query("\xC3\xA9");   // "%C3%A9"
//
// A-Z, a-z, 0-9, "-", ".", "_" and "~" are written unchanged, a space is
// written as the space text chosen at construction (which may be empty), and
// every other byte as "%" and two upper-case hex digits. Bytes are unsigned and
// classified without any locale. Nothing is decoded: "%" becomes "%25".
#pragma once

#include <httpclient_core/Export.hpp>

#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT PercentEncoder {
public:
    explicit PercentEncoder(std::string spaceEncoding);

    // Never throws except std::bad_alloc.
    std::string operator()(const std::string& input) const;

private:
    std::string spaceEncoding;
};

} // namespace foundation::httpclient_core
