#include <httpclient_core/HttpResponseCode.hpp>

namespace foundation::httpclient_core {

namespace {

// One unsigned comparison: codes below the lower bound wrap to huge values.
// The subtraction is done in unsigned arithmetic, where wrapping is defined
// (a signed difference would overflow for codes near the most negative value).
bool inClass(HttpResponseCode code, std::uint32_t lowerBound)
{
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(code)) - lowerBound < 100U;
}

} // namespace

std::ostream& operator<<(std::ostream& out, HttpResponseCode code)
{
    return out << static_cast<std::int32_t>(code);
}

std::string to_string(HttpResponseCode code)
{
    return std::to_string(static_cast<std::int32_t>(code));
}

bool isInformational(HttpResponseCode code)
{
    return inClass(code, 100);
}

bool isSuccess(HttpResponseCode code)
{
    return inClass(code, 200);
}

bool isRedirection(HttpResponseCode code)
{
    return inClass(code, 300);
}

bool isClientError(HttpResponseCode code)
{
    return inClass(code, 400);
}

bool isServerError(HttpResponseCode code)
{
    return inClass(code, 500);
}

} // namespace foundation::httpclient_core
