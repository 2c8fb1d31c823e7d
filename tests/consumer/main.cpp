// Uses the installed package the way an application does: through the
// umbrella header, with type information that crosses the library boundary.
#include <httpclient_core/httpclient_core.hpp>

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

    if (failures == 0) {
        std::cout << "consumer OK\n";
    }
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
