#include <httpclient_core/URL.hpp>

namespace foundation::httpclient_core {

std::ostream& operator<<(std::ostream& out, const URL& url)
{
    return out << url.toAsciiString();
}

} // namespace foundation::httpclient_core
