#include <httpclient_core/FormUrlEncoded.hpp>

#include <httpclient_core/PercentEncoder.hpp>

#include <sstream>

namespace foundation::httpclient_core {

// The fields are taken by value, as every stored-or-consumed argument of this
// library is, so callers can hand over a collection they no longer need.
// cppcheck-suppress passedByValue
FormUrlEncoded::FormUrlEncoded(NameValueCollection fields) // NOLINT(performance-unnecessary-value-param)
    : body(fields.toString("&", "=", PercentEncoder("+")))
{
}

std::unique_ptr<std::istream> FormUrlEncoded::stream() const
{
    return std::make_unique<std::istringstream>(body);
}

ContentType FormUrlEncoded::contentType() const
{
    return ContentType("application/x-www-form-urlencoded", {});
}

} // namespace foundation::httpclient_core
