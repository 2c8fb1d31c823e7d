// Uses the installed package the way an application does: through the
// umbrella header, with type information that crosses the library boundary.
#include <httpclient_core/httpclient_core.hpp>
#ifdef CONSUMER_WITH_CURL
#include <httpclient_curl/CurlHttpClient.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

#ifdef CONSUMER_WITH_CURL
// A port on 127.0.0.1 where nothing listens: bound, read back, closed.
int closedPort()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(socket);
    return ntohs(address.sin_port);
}

// The curl client's failure is caught by its exact type from the core library.
void checkCurlClient()
{
    const foundation::httpclient_curl::CurlHttpClient client(
        ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
    const std::string url = "http://127.0.0.1:" + std::to_string(closedPort()) + "/";
    try {
        client.makeRequest(HttpRequest(HttpMethod::GET, URL{url}, {}));
        check(false, "a request to a closed port throws");
    } catch (const HttpRequestFailedException& error) {
        check(typeid(error) == typeid(HttpRequestFailedException), "curl failure type");
        check(std::string(error.what()).rfind("Request to " + url + " failed: ", 0) == 0, "curl failure message");
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

#ifdef CONSUMER_WITH_CURL
    checkCurlClient();
#endif

    if (failures == 0) {
        std::cout << "consumer OK\n";
    }
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
