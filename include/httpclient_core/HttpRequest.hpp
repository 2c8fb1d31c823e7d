// HttpRequest: what a caller hands to a client: method, URL, headers, query
// parameters, an optional body, an optional configuration of its own, a
// progress callback, the factory of the response body stream and a callback
// that the response runs before its status or headers change.
//
//   HttpRequest request(HttpMethod::POST, URL{"http://127.0.0.1:8080/items"}, {});
//   request.setQueryParameters(QueryParameters{{"page", "2"}});
//   request.setRequestBody("hello");   // adds Content-Type: text/plain, Content-Length: 5
//   request.getURL();                  // URL{"http://127.0.0.1:8080/items?page=2"}
//
// Movable, not copyable: it owns its body stream and its configuration.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMessage.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/QueryParameters.hpp>
#include <httpclient_core/URL.hpp>

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <string>

namespace foundation::httpclient_core {

// Only held by pointer here; include ClientConfiguration.hpp to set one.
class ClientConfiguration;

// Transfer figures handed to a progress callback. When a retry resumes a
// download, the bytes already received are added to the two download figures.
struct Progress {
    std::int64_t downloadTotal;
    std::int64_t downloadNow;
    std::int64_t uploadTotal;
    std::int64_t uploadNow;
};

// What a progress callback tells the transport: go on, or stop the transfer.
enum class ProgressResult { Continue, Abort };

using ProgressCallback = std::function<ProgressResult(const Progress&)>;

// Makes the stream that receives a response body. Called once per response,
// when the body is first touched, with the status code, reason and headers
// received by then, so it can choose a destination by them.
using ResponseStreamFactory =
    std::function<std::unique_ptr<std::iostream>(HttpResponseCode, const std::string&, const HttpHeaders&)>;

// A factory that ignores its arguments and returns a new, empty in-memory stream.
HTTPCLIENT_CORE_EXPORT ResponseStreamFactory defaultResponseStreamFactory();

class HTTPCLIENT_CORE_EXPORT HttpRequest : public HttpMessage {
public:
    HttpRequest(HttpMethod method, URL url, HttpHeaders headers);
    HttpRequest(HttpRequest&&) noexcept;
    HttpRequest& operator=(HttpRequest&&) noexcept;
    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;
    ~HttpRequest() override;

    HttpMethod getHttpMethod() const;
    // Replaces the headers through the virtual setHeaders.
    HttpRequest& withHeaders(HttpHeaders headers);

    void setProgressCallback(ProgressCallback callback);
    HttpRequest& withProgressCallback(ProgressCallback callback);
    bool hasProgressCallback() const;
    // Throws std::logic_error "Request does not have a ProgressCallback" when none is set.
    ProgressCallback getProgressCallback() const;

    // The URL followed directly by the query text ("?a=1"), when there are parameters.
    URL getURL() const;
    void setQueryParameters(QueryParameters queryParameters);
    QueryParameters getQueryParameters();

    // Makes the body from text. Adds "Content-Type: text/plain" when there is
    // no Content-Type, then "Content-Length" when there is neither a
    // Content-Length nor a Transfer-Encoding; an existing value is kept even
    // when it disagrees with the new body.
    void setRequestBody(std::string body);
    // Takes the stream as the body; touches no header.
    void setRequestBody(std::unique_ptr<std::istream> body);
    bool hasRequestBody() const;
    // Throws std::logic_error "Request does not have a body." when there is none.
    std::istream& getRequestBody() const;
    // Everything from the body's read position to its end, consumed; "" without a body.
    std::string getRequestBodyString() const;

    void setResponseStreamFactory(ResponseStreamFactory factory);
    HttpRequest& withResponseStreamFactory(ResponseStreamFactory factory);
    ResponseStreamFactory getResponseStreamFactory() const;

    // The response made from this request runs this callback before every
    // change of its status code or headers.
    void setPreRespCodeAndHeadersCallback(std::function<void()> callback);
    HttpRequest& withPreRespCodeAndHeadersCallback(std::function<void()> callback);
    std::function<void()> getPreRespCodeAndHeadersCallback() const;

    // A configuration of the request's own, used instead of the client's.
    void setClientConfiguration(ClientConfiguration configuration);
    HttpRequest& withClientConfiguration(ClientConfiguration configuration);
    bool hasClientConfiguration() const;
    // A copy. Throws std::logic_error "Request does not have a ClientConfiguration" when none is set.
    ClientConfiguration getClientConfiguration() const;

private:
    HttpMethod method;
    URL url;
    QueryParameters queryParameters;
    std::unique_ptr<std::istream> requestBody;
    ResponseStreamFactory responseStreamFactory;
    std::function<void()> preRespCodeAndHeadersCallback;
    std::unique_ptr<ClientConfiguration> clientConfiguration;
    ProgressCallback progressCallback;
};

} // namespace foundation::httpclient_core
