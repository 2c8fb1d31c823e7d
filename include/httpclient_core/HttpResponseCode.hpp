// HttpResponseCode: the numeric status code of a response and its classes.
//
//   isSuccess(HttpResponseCode::OK);                 // true
//   isClientError(static_cast<HttpResponseCode>(404)); // true
//   to_string(HttpResponseCode::RequestNotMade);     // "-1"
//
// Any 32-bit value may be held; -1 marks a response that was never made. Each
// class covers exactly one hundred codes, so negative codes and codes of 600
// and above belong to none.
#pragma once

#include <httpclient_core/Export.hpp>

#include <cstdint>
#include <ostream>
#include <string>

namespace foundation::httpclient_core {

enum class HttpResponseCode : std::int32_t {
    RequestNotMade = -1,
    Continue = 100,
    SwitchingProtocols = 101,
    OK = 200,
    Created = 201,
    Accepted = 202,
    NoContent = 204,
    PartialContent = 206,
    MultipleChoices = 300,
    MovedPermanently = 301,
    Found = 302,
    SeeOther = 303,
    NotModified = 304,
    TemporaryRedirect = 307,
    PermanentRedirect = 308,
    BadRequest = 400,
    Unauthorized = 401,
    Forbidden = 403,
    NotFound = 404,
    MethodNotAllowed = 405,
    ProxyAuthenticationRequired = 407,
    RequestTimeout = 408,
    Conflict = 409,
    Gone = 410,
    PreconditionFailed = 412,
    PayloadTooLarge = 413,
    RangeNotSatisfiable = 416,
    TooManyRequests = 429,
    InternalServerError = 500,
    NotImplemented = 501,
    BadGateway = 502,
    ServiceUnavailable = 503,
    GatewayTimeout = 504,
};

// Writes the code as a signed decimal number with the stream's formatting.
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& out, HttpResponseCode code);
// The decimal text of the code: "404", "-1".
HTTPCLIENT_CORE_EXPORT std::string to_string(HttpResponseCode code);

HTTPCLIENT_CORE_EXPORT bool isInformational(HttpResponseCode code); // 100 to 199
HTTPCLIENT_CORE_EXPORT bool isSuccess(HttpResponseCode code);       // 200 to 299
HTTPCLIENT_CORE_EXPORT bool isRedirection(HttpResponseCode code);   // 300 to 399
HTTPCLIENT_CORE_EXPORT bool isClientError(HttpResponseCode code);   // 400 to 499
HTTPCLIENT_CORE_EXPORT bool isServerError(HttpResponseCode code);   // 500 to 599

} // namespace foundation::httpclient_core
