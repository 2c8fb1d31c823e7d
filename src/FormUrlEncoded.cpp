#include <httpclient_core/FormUrlEncoded.hpp>

#include <httpclient_core/PercentEncoder.hpp>

#include <sstream>

namespace foundation::httpclient_core {

FormUrlEncoded::FormUrlEncoded(NameValueCollection fields) : body(fields.toString("&", "=", PercentEncoder("+"))) {}

std::unique_ptr<std::istream> FormUrlEncoded::stream() const
{
    return std::make_unique<std::istringstream>(body);
}

ContentType FormUrlEncoded::contentType() const
{
    return ContentType("application/x-www-form-urlencoded", {});
}

} // namespace foundation::httpclient_core
