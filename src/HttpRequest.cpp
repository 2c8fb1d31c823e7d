#include <httpclient_core/HttpRequest.hpp>

#include <httpclient_core/ClientConfiguration.hpp>

#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwMissing(const char* what)
{
    throw std::logic_error(std::string("Request does not have ") + what);
}

} // namespace

ResponseStreamFactory defaultResponseStreamFactory()
{
    return [](HttpResponseCode, const std::string&, const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        return std::make_unique<std::stringstream>(std::ios::in | std::ios::out);
    };
}

HttpRequest::HttpRequest(HttpMethod method, URL url, HttpHeaders headers)
    : HttpMessage(std::move(headers)),
      method(method),
      url(std::move(url)),
      responseStreamFactory(defaultResponseStreamFactory())
{
}

HttpRequest::HttpRequest(HttpRequest&&) noexcept = default;
HttpRequest& HttpRequest::operator=(HttpRequest&&) noexcept = default;
HttpRequest::~HttpRequest() = default;

HttpMethod HttpRequest::getHttpMethod() const
{
    return method;
}

HttpRequest& HttpRequest::withHeaders(HttpHeaders headers)
{
    setHeaders(std::move(headers));
    return *this;
}

void HttpRequest::setProgressCallback(ProgressCallback callback)
{
    progressCallback = std::move(callback);
}

HttpRequest& HttpRequest::withProgressCallback(ProgressCallback callback)
{
    setProgressCallback(std::move(callback));
    return *this;
}

bool HttpRequest::hasProgressCallback() const
{
    return static_cast<bool>(progressCallback);
}

ProgressCallback HttpRequest::getProgressCallback() const
{
    if (!progressCallback) {
        throwMissing("a ProgressCallback");
    }
    return progressCallback;
}

URL HttpRequest::getURL() const
{
    if (queryParameters.empty()) {
        return url;
    }
    return URL{url.toAsciiString() + queryParameters.toString()};
}

void HttpRequest::setQueryParameters(QueryParameters parameters)
{
    queryParameters = std::move(parameters);
}

QueryParameters HttpRequest::getQueryParameters()
{
    return queryParameters;
}

// Takes the text by value as the interface promises ownership; before C++20 a
// string stream can only copy it in.
void HttpRequest::setRequestBody(std::string body) // NOLINT(performance-unnecessary-value-param)
{
    const auto length = body.size();
    auto stream = std::make_unique<std::stringstream>(std::move(body), std::ios::in | std::ios::out);
    if (!hasHeader(HttpHeaders::CONTENT_TYPE)) {
        setContentType("text/plain");
    }
    if (!hasHeader(HttpHeaders::CONTENT_LENGTH) && !hasHeader(HttpHeaders::TRANSFER_ENCODING)) {
        setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(length));
    }
    requestBody = std::move(stream);
}

void HttpRequest::setRequestBody(std::unique_ptr<std::istream> body)
{
    requestBody = std::move(body);
}

bool HttpRequest::hasRequestBody() const
{
    return requestBody != nullptr;
}

std::istream& HttpRequest::getRequestBody() const
{
    if (!requestBody) {
        throwMissing("a body.");
    }
    return *requestBody;
}

std::string HttpRequest::getRequestBodyString() const
{
    if (!requestBody) {
        return {};
    }
    return std::string(std::istreambuf_iterator<char>(requestBody->rdbuf()), std::istreambuf_iterator<char>());
}

void HttpRequest::setResponseStreamFactory(ResponseStreamFactory factory)
{
    responseStreamFactory = std::move(factory);
}

HttpRequest& HttpRequest::withResponseStreamFactory(ResponseStreamFactory factory)
{
    setResponseStreamFactory(std::move(factory));
    return *this;
}

ResponseStreamFactory HttpRequest::getResponseStreamFactory() const
{
    return responseStreamFactory;
}

void HttpRequest::setPreRespCodeAndHeadersCallback(std::function<void()> callback)
{
    preRespCodeAndHeadersCallback = std::move(callback);
}

HttpRequest& HttpRequest::withPreRespCodeAndHeadersCallback(std::function<void()> callback)
{
    setPreRespCodeAndHeadersCallback(std::move(callback));
    return *this;
}

std::function<void()> HttpRequest::getPreRespCodeAndHeadersCallback() const
{
    return preRespCodeAndHeadersCallback;
}

void HttpRequest::setClientConfiguration(ClientConfiguration configuration)
{
    clientConfiguration = std::make_unique<ClientConfiguration>(std::move(configuration));
}

HttpRequest& HttpRequest::withClientConfiguration(ClientConfiguration configuration)
{
    setClientConfiguration(std::move(configuration));
    return *this;
}

bool HttpRequest::hasClientConfiguration() const
{
    return clientConfiguration != nullptr;
}

ClientConfiguration HttpRequest::getClientConfiguration() const
{
    if (!clientConfiguration) {
        throwMissing("a ClientConfiguration");
    }
    return *clientConfiguration;
}

} // namespace foundation::httpclient_core
