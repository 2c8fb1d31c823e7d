// HttpMethod: the request method, parsed from and printed as its text.
//
//   createHttpMethod("DELETE");      // HttpMethod::DELETE
//   std::cout << HttpMethod::PATCH;  // "PATCH"
//
// The enumerators keep this order on purpose (DELETE before PUT).
#pragma once

#include <httpclient_core/Export.hpp>

#include <ostream>
#include <string>

namespace foundation::httpclient_core {

// System headers (<arpa/nameser_compat.h> through <resolv.h>, <protocols/talkd.h>)
// define DELETE as a macro; it is set aside here so that this header compiles
// whatever was included before it.
#pragma push_macro("DELETE")
#undef DELETE
enum class HttpMethod { GET = 0, POST = 1, DELETE = 2, PUT = 3, HEAD = 4, PATCH = 5, UNKNOWN = 6 };
#pragma pop_macro("DELETE")

// The method whose text is exactly name (case-sensitive, untrimmed).
// Throws std::out_of_range "map::at:  key not found" (two blanks) for any other
// text, "UNKNOWN" included.
HTTPCLIENT_CORE_EXPORT HttpMethod createHttpMethod(const std::string& name);

// The method's text ("DELETE"); any value outside GET to PATCH gives "UNKNOWN".
HTTPCLIENT_CORE_EXPORT std::string to_string(HttpMethod method);

// Writes to_string(method).
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& out, HttpMethod method);

} // namespace foundation::httpclient_core
