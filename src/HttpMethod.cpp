#include <httpclient_core/HttpMethod.hpp>

#include <map>
#include <stdexcept>

namespace foundation::httpclient_core {

HttpMethod createHttpMethod(const std::string& name)
{
    static const std::map<std::string, HttpMethod> methods{
        {"GET", HttpMethod::GET}, {"POST", HttpMethod::POST}, {"DELETE", HttpMethod::DELETE},
        {"PUT", HttpMethod::PUT}, {"HEAD", HttpMethod::HEAD}, {"PATCH", HttpMethod::PATCH},
    };
    const auto found = methods.find(name);
    if (found == methods.end()) {
        // The text of a failed map lookup, fixed here rather than left to
        // whatever the standard library's own at() happens to say.
        throw std::out_of_range("map::at:  key not found");
    }
    return found->second;
}

std::string to_string(HttpMethod method)
{
    switch (method) {
    case HttpMethod::GET:
        return "GET";
    case HttpMethod::POST:
        return "POST";
    case HttpMethod::DELETE:
        return "DELETE";
    case HttpMethod::PUT:
        return "PUT";
    case HttpMethod::HEAD:
        return "HEAD";
    case HttpMethod::PATCH:
        return "PATCH";
    case HttpMethod::UNKNOWN:
        break;
    }
    return "UNKNOWN";
}

std::ostream& operator<<(std::ostream& out, HttpMethod method)
{
    return out << to_string(method);
}

} // namespace foundation::httpclient_core
