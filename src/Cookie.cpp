#include <httpclient_core/Cookie.hpp>

#include <httpclient_core/HttpHeaders.hpp>

namespace foundation::httpclient_core {

NameValueCollection Cookie::parse(const std::string& text)
{
    NameValueCollection cookies;
    HttpHeaders::splitElements(
        text, [&cookies](const std::string& element) { cookies.add(HttpHeaders::splitParameter(element, "=")); }, ";",
        true);
    return cookies;
}

std::string Cookie::toString(const NameValueCollection& cookies)
{
    return cookies.toString("; ", "=");
}

} // namespace foundation::httpclient_core
