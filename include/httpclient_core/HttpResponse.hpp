// HttpResponse: the result of a request: status code and reason, headers, a
// transaction report and a body stream.
//
//   HttpResponse response(request);           // takes the request's factory and callback
//   response.setResponseCodeAndReason(HttpResponseCode::OK, "OK");
//   response.getResponseBody() << "hello";    // the factory makes the stream now
//   response.getResponseBodyString();         // "hello"
//
// The body stream is made lazily, once, by the response stream factory, the
// first time anybody touches the body, with the code, reason and headers
// current at that moment. Before every change of its status code or headers
// the response runs the pre-response callback it took from the request.
// A fresh response has code -1 and reason "Request Not Made".
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMessage.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/TransactionReport.hpp>

#include <functional>
#include <istream>
#include <memory>
#include <mutex>
#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT HttpResponse : public HttpMessage {
public:
    // The default factory and no pre-response callback.
    HttpResponse();
    // Copies the request's response stream factory and pre-response callback.
    explicit HttpResponse(const HttpRequest& request);
    // Takes everything, the body stream included; the source is left without a body.
    HttpResponse(HttpResponse&& other) noexcept;
    // Moves everything, destroying the old body; runs no callback and takes no lock.
    HttpResponse& operator=(HttpResponse&& other) noexcept;
    HttpResponse(const HttpResponse&) = delete;
    HttpResponse& operator=(const HttpResponse&) = delete;
    ~HttpResponse() override;

    HttpResponseCode getResponseCode() const;
    std::string getResponseCodeReason() const;
    // Run the pre-response callback, then store; setResponseCode keeps the reason.
    void setResponseCode(HttpResponseCode code);
    void setResponseCodeAndReason(HttpResponseCode code, std::string reason);

    TransactionReport getTransactionReport() const;
    // Runs no callback.
    void setTransactionReport(TransactionReport report);

    // Each runs the pre-response callback once, then changes the headers; an
    // exception from the callback leaves the headers unchanged.
    void setHeaders(HttpHeaders headers) override;
    void setHeaderValue(const std::string& name, std::string value) override;
    void addHeaderValue(const std::string& name, std::string value) override;
    void addHeader(const std::string& line) override;
    void removeHeader(const std::string& name) override;

    // The body stream, made by the factory on first use (thread-safe, once),
    // from copies of the code, reason and headers of that moment.
    // An empty factory throws std::bad_function_call, a factory that returns
    // no stream std::logic_error "The response stream factory returned no
    // stream."; these and the factory's own exceptions leave the response
    // without a body, and the next access calls the factory again.
    std::iostream& getResponseBody() const;
    // Everything from the body's read position to its end, consumed.
    std::string getResponseBodyString() const;
    // Sets Content-Length to the body's length (running the callback), then
    // writes body at the stream's write position: a second call appends.
    void setResponseBody(std::string body);
    // Seeks the write position back to where the stream started. By design
    // nothing is truncated: "abcdef", reset, "xy" leaves "xycdef".
    void resetResponseBody();

private:
    void beforeChange() const;

    HttpResponseCode responseCode = HttpResponseCode::RequestNotMade;
    std::string responseCodeReason = "Request Not Made";
    TransactionReport transactionReport;
    ResponseStreamFactory responseStreamFactory;
    std::function<void()> preRespCodeAndHeadersCallback;
    mutable std::unique_ptr<std::iostream> responseBody;
    mutable std::streampos initialBodyPosition = 0;
    mutable std::mutex bodyMutex;
};

HTTPCLIENT_CORE_EXPORT bool isInformational(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isSuccess(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isRedirection(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isClientError(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isServerError(const HttpResponse& response);

} // namespace foundation::httpclient_core
