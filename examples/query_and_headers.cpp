// Builds a request URL with query parameters and parses raw header lines,
// printing both: the smallest tour of the library's text layer.
#include <httpclient_core/httpclient_core.hpp>

#include <iostream>

using namespace foundation::httpclient_core;

int main()
{
    QueryParameters query{{"q", "caf\xC3\xA9 & cr\xC3\xA8me"}, {"page", "2"}, {"verbose", ""}};
    const URL url{"http://127.0.0.1:8080/search" + query.toString()};
    std::cout << "GET " << url << "\n\n";

    HttpHeaders headers;
    for (const char* line : {"Content-Type: text/html; charset=utf-8\r\n", "Set-Cookie: a=1\r\n", "set-cookie: b=2\r\n",
                             "Host: example.test:8080\r\n", "\r\n"}) {
        headers.addHeader(line);
    }
    for (const auto& [name, value] : headers) {
        std::cout << name << ": " << value << '\n';
    }
    std::cout << "\nfirst SET-COOKIE: " << headers.getHeaderValue("SET-COOKIE") << '\n';

    const auto [type, parameters] = HttpHeaders::splitParameters(headers.getHeaderValue("content-type"), ";");
    std::cout << "media type: " << type << ", charset " << parameters.get("Charset") << '\n';
    return 0;
}
