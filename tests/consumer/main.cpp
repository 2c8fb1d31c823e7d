// Uses the installed package the way an application does: through the
// umbrella header, with type information that crosses the library boundary.
// A networking application may well have included <resolv.h> (and its DELETE
// macro) first.
#include <resolv.h>

#include <httpclient_core/httpclient_core.hpp>
#ifdef CONSUMER_WITH_CURL
#include <httpclient_curl/CurlHttpClient.hpp>
#include <httpclient_curl/TransferFailedException.hpp>
#endif
#ifdef CONSUMER_WITH_WEBSOCKET
#include <httpclient_websocket/WebSocketClient.hpp>
#endif
#if defined(CONSUMER_WITH_CURL) || defined(CONSUMER_WITH_WEBSOCKET)

#include <string>
#include <typeinfo>
#endif

#include <cstdlib>
#include <iostream>
#include <stdexcept>

using namespace foundation::httpclient_core;

namespace {

int failures = 0;

void check(bool condition, const char* what)
{
    if (!condition) {
        std::cerr << "consumer check failed: " << what << '\n';
        ++failures;
    }
}

// A transport of the application's own, derived from the library's abstract
// client, that always times out.
class TimingOutClient : public HttpClient {
public:
    mutable int attempts = 0;

    void cancelAsyncRequest(unsigned long) const override {}
    void cancelAllAsyncRequests() const override {}
    void waitForAsyncRequests() const override {}
    std::size_t pendingAsyncRequests() const override { return 0; }

protected:
    void performRequest(HttpRequest&, HttpResponse&) const override
    {
        ++attempts;
        throw HttpRequestTimeoutException();
    }
    void performAsyncRequest(HttpRequest, HttpResponse, unsigned long, CompletionHandler) const override {}
};

// The library's DefaultRetry, reached through target<DefaultRetry>(), must
// recognise a time-out thrown here, and the application must catch it again.
void checkRetryAcrossTheBoundary()
{
    ClientConfiguration configuration;
    auto strategy = configuration.retryStrategy();
    auto* retry = strategy.target<DefaultRetry>();
    check(retry != nullptr, "target<DefaultRetry>() on the default strategy");
    if (retry == nullptr) {
        return;
    }
    retry->setBackoffOverride([](int) {});
    TimingOutClient client;
    client.setClientConfiguration(configuration.withRetryStrategy(strategy));
    try {
        client.makeRequest(HttpRequest(HttpMethod::PUT, URL{"http://test/"}, {}));
        check(false, "a time-out is rethrown");
    } catch (const HttpRequestTimeoutException& error) {
        check(std::string(error.what()) == "Request timed out.", "time-out text");
    }
    check(client.attempts == 1, "a PUT is not retried");
    try {
        client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://test/"}, {}));
    } catch (const HttpRequestFailedException&) {
        check(client.attempts == 1 + 5, "a GET that times out is tried five times");
    }
}

#ifdef CONSUMER_WITH_CURL
// The curl client's failure is caught through the core library's class and
// recognised by its exact type, with its cause.
// It refuses the scheme without opening any connection.
void checkCurlClient()
{
    const foundation::httpclient_curl::CurlHttpClient client(
        ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
    const std::string url = "ftp://127.0.0.1/";
    try {
        client.makeRequest(HttpRequest(HttpMethod::GET, URL{url}, {}));
        check(false, "a request with a refused scheme throws");
    } catch (const HttpRequestFailedException& error) {
        check(typeid(error) == typeid(foundation::httpclient_curl::TransferFailedException), "curl failure type");
        check(dynamic_cast<const foundation::httpclient_curl::TransferFailedException&>(error).cause() ==
                  foundation::httpclient_curl::TransferFailure::UnsupportedProtocol,
              "curl failure cause");
        check(std::string(error.what()).rfind("Request to " + url + " failed: ", 0) == 0, "curl failure message");
    }
}
#endif

#ifdef CONSUMER_WITH_WEBSOCKET
// The WebSocket client's misuse error is caught by its exact type from the core library.
void checkWebSocketClient()
{
    foundation::httpclient_websocket::WebSocketClient client(WebSocketClientConfiguration{});
    try {
        client.send("nobody listens");
        check(false, "send without a connection throws");
    } catch (const NoExistingConnectionException& error) {
        check(typeid(error) == typeid(NoExistingConnectionException), "WebSocket misuse type");
    }
}
#endif

} // namespace

int main()
{
    HttpHeaders headers;
    headers.addHeader("Content-Type: text/plain");
    check(headers.getHeaderValue("content-type") == "text/plain", "header lookup");
    check(HttpHeaders::CONTENT_LENGTH == "Content-Length", "header name constant");

    try {
        headers.addHeader("garbage");
        check(false, "addHeader throws");
    } catch (const std::runtime_error& error) {
        check(std::string(error.what()) == "Missing delimiter <:> when parsing : <garbage>", "message");
    }

    QueryParameters query{{"q", "a b"}};
    check(query.toString() == "?q=a%20b", "query text");
    check(createHttpMethod("PATCH") == HttpMethod::PATCH, "method");
    checkRetryAcrossTheBoundary();

#ifdef CONSUMER_WITH_CURL
    checkCurlClient();
#endif
#ifdef CONSUMER_WITH_WEBSOCKET
    checkWebSocketClient();
#endif

    if (failures == 0) {
        std::cout << "consumer OK\n";
    }
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
