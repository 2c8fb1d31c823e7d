#include "CurlConnection.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <curl/curl.h>

namespace foundation::httpclient_websocket {

namespace {

using httpclient_core::HttpRequestTimeoutException;
using httpclient_curl::detail::EasyHandle;
using httpclient_curl::detail::setOption;

// The header lines libcurl receives, which with CONNECT_ONLY are only the
// proxy's answers to CONNECT; a new status line starts a new answer.
std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user)
{
    auto& head = *static_cast<std::string*>(user);
    const std::string_view line(data, size * count);
    if (line.substr(0, 5) == "HTTP/") {
        head.clear();
    }
    head.append(line);
    return size * count;
}

int onProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return (*static_cast<const std::function<bool()>*>(user))() ? 1 : 0;
}

} // namespace

CurlConnection::Opened CurlConnection::open(const WebSocketUrl& url, const std::string& urlText,
                                            const ConnectionSettings& settings, const std::function<bool()>& stopping)
{
    httpclient_curl::detail::initialiseCurl();
    EasyHandle easy(curl_easy_init());
    if (!easy) {
        throwConnectionFailed(urlText, "out of memory");
    }
    CURL* e = easy.get();
    const std::string target = (url.secure ? "https://" : "http://") + url.host + ":" + std::to_string(url.port);
    std::string proxyResponse;
    char errorText[CURL_ERROR_SIZE] = "";
    setOption(e, CURLOPT_ERRORBUFFER, errorText);
    setOption(e, CURLOPT_URL, target.c_str());
    applyConnectionSettings(e, settings);
    setOption(e, CURLOPT_CONNECT_ONLY, 1L);
    if (!settings.proxy.empty()) {
        // A tunnel even for ws://, and the proxy's answers in onHeader.
        setOption(e, CURLOPT_HTTPPROXYTUNNEL, 1L);
        setOption(e, CURLOPT_SUPPRESS_CONNECT_HEADERS, 0L);
    }
    setOption(e, CURLOPT_HEADERFUNCTION, &onHeader);
    setOption(e, CURLOPT_HEADERDATA, &proxyResponse);
    setOption(e, CURLOPT_XFERINFOFUNCTION, &onProgress);
    setOption(e, CURLOPT_XFERINFODATA, &stopping);
    setOption(e, CURLOPT_NOPROGRESS, 0L);

    const CURLcode code = curl_easy_perform(e);
    setOption(e, CURLOPT_ERRORBUFFER, static_cast<char*>(nullptr));
    setOption(e, CURLOPT_HEADERFUNCTION, static_cast<curl_write_callback>(nullptr));
    setOption(e, CURLOPT_NOPROGRESS, 1L);
    if (code != CURLE_OK) {
        long connectCode = 0;
        curl_easy_getinfo(e, CURLINFO_HTTP_CONNECTCODE, &connectCode);
        if (connectCode != 0 && connectCode != 200 && !proxyResponse.empty()) {
            return {nullptr, std::move(proxyResponse)};
        }
        if (code == CURLE_OPERATION_TIMEDOUT) {
            throw HttpRequestTimeoutException();
        }
        throwConnectionFailed(urlText, errorText[0] != '\0' ? errorText : curl_easy_strerror(code));
    }
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(e, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD) {
        throwConnectionFailed(urlText, "no socket");
    }
    return {std::unique_ptr<CurlConnection>(new CurlConnection(std::move(easy), socket)), {}};
}

CurlConnection::CurlConnection(EasyHandle handle, int socket) : handle(std::move(handle)), socketHandle(socket)
{
}

CurlConnection::~CurlConnection() = default;

CurlConnection::Transferred CurlConnection::send(std::string_view bytes)
{
    std::size_t sent = 0;
    const CURLcode code = curl_easy_send(handle.get(), bytes.data(), bytes.size(), &sent);
    if (code == CURLE_AGAIN) {
        return {Status::Again, 0};
    }
    return {code == CURLE_OK ? Status::Done : Status::Closed, sent};
}

CurlConnection::Transferred CurlConnection::receive(char* buffer, std::size_t size)
{
    std::size_t received = 0;
    const CURLcode code = curl_easy_recv(handle.get(), buffer, size, &received);
    if (code == CURLE_AGAIN) {
        return {Status::Again, 0};
    }
    return {code == CURLE_OK && received > 0 ? Status::Done : Status::Closed, received};
}

} // namespace foundation::httpclient_websocket
