#include <httpclient_core/HttpResponse.hpp>

#include <iostream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwNoStream()
{
    throw std::logic_error("The response stream factory returned no stream.");
}

} // namespace

HttpResponse::HttpResponse() : HttpMessage(HttpHeaders()), responseStreamFactory(defaultResponseStreamFactory())
{
}

HttpResponse::HttpResponse(const HttpRequest& request)
    : HttpMessage(HttpHeaders()),
      responseStreamFactory(request.getResponseStreamFactory()),
      preRespCodeAndHeadersCallback(request.getPreRespCodeAndHeadersCallback())
{
}

HttpResponse::HttpResponse(HttpResponse&& other) noexcept
    : HttpMessage(std::move(other)),
      responseCode(other.responseCode),
      responseCodeReason(std::move(other.responseCodeReason)),
      transactionReport(std::move(other.transactionReport)),
      responseStreamFactory(std::move(other.responseStreamFactory)),
      preRespCodeAndHeadersCallback(std::move(other.preRespCodeAndHeadersCallback)),
      responseBody(std::move(other.responseBody)),
      initialBodyPosition(other.initialBodyPosition)
{
}

HttpResponse& HttpResponse::operator=(HttpResponse&& other) noexcept
{
    responseCode = other.responseCode;
    responseCodeReason = std::move(other.responseCodeReason);
    transactionReport = std::move(other.transactionReport);
    responseStreamFactory = std::move(other.responseStreamFactory);
    preRespCodeAndHeadersCallback = std::move(other.preRespCodeAndHeadersCallback);
    responseBody = std::move(other.responseBody);
    initialBodyPosition = other.initialBodyPosition;
    HttpMessage::operator=(std::move(other));
    return *this;
}

HttpResponse::~HttpResponse() = default;

HttpResponseCode HttpResponse::getResponseCode() const
{
    return responseCode;
}

std::string HttpResponse::getResponseCodeReason() const
{
    return responseCodeReason;
}

void HttpResponse::setResponseCode(HttpResponseCode code)
{
    beforeChange();
    responseCode = code;
}

void HttpResponse::setResponseCodeAndReason(HttpResponseCode code, std::string reason)
{
    beforeChange();
    responseCode = code;
    responseCodeReason = std::move(reason);
}

TransactionReport HttpResponse::getTransactionReport() const
{
    return transactionReport;
}

void HttpResponse::setTransactionReport(TransactionReport report)
{
    transactionReport = std::move(report);
}

void HttpResponse::setHeaders(HttpHeaders headers)
{
    beforeChange();
    HttpMessage::setHeaders(std::move(headers));
}

void HttpResponse::setHeaderValue(const std::string& name, std::string value)
{
    beforeChange();
    HttpMessage::setHeaderValue(name, std::move(value));
}

void HttpResponse::addHeaderValue(const std::string& name, std::string value)
{
    beforeChange();
    HttpMessage::addHeaderValue(name, std::move(value));
}

void HttpResponse::addHeader(const std::string& line)
{
    beforeChange();
    HttpMessage::addHeader(line);
}

void HttpResponse::removeHeader(const std::string& name)
{
    beforeChange();
    HttpMessage::removeHeader(name);
}

std::iostream& HttpResponse::getResponseBody() const
{
    const std::lock_guard<std::mutex> lock(bodyMutex);
    if (!responseBody) {
        // Copies, so that a change made while the factory runs does not show
        // through its arguments.
        const HttpResponseCode code = responseCode;
        const std::string reason = responseCodeReason;
        const HttpHeaders headersNow = headerFields();
        auto stream = responseStreamFactory(code, reason, headersNow);
        if (!stream) {
            throwNoStream();
        }
        responseBody = std::move(stream);
        initialBodyPosition = responseBody->tellp();
    }
    return *responseBody;
}

std::string HttpResponse::getResponseBodyString() const
{
    auto& body = getResponseBody();
    return std::string(std::istreambuf_iterator<char>(body.rdbuf()), std::istreambuf_iterator<char>());
}

// cppcheck-suppress passedByValue
void HttpResponse::setResponseBody(std::string body) // NOLINT(performance-unnecessary-value-param)
{
    setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(body.size()));
    getResponseBody() << body;
}

void HttpResponse::resetResponseBody()
{
    auto& body = getResponseBody();
    body.seekp(initialBodyPosition);
}

void HttpResponse::beforeChange() const
{
    if (preRespCodeAndHeadersCallback) {
        preRespCodeAndHeadersCallback();
    }
}

bool isInformational(const HttpResponse& response)
{
    return isInformational(response.getResponseCode());
}

bool isSuccess(const HttpResponse& response)
{
    return isSuccess(response.getResponseCode());
}

bool isRedirection(const HttpResponse& response)
{
    return isRedirection(response.getResponseCode());
}

bool isClientError(const HttpResponse& response)
{
    return isClientError(response.getResponseCode());
}

bool isServerError(const HttpResponse& response)
{
    return isServerError(response.getResponseCode());
}

} // namespace foundation::httpclient_core
