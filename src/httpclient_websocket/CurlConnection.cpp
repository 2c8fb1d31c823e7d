#include "CurlConnection.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <curl/curl.h>

#include <stdexcept>

namespace foundation::httpclient_websocket {

namespace {

using httpclient_core::HttpRequestTimeoutException;

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

void initialiseCurlOnce()
{
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("curl_global_init failed: ") + curl_easy_strerror(code));
    }
}

template <typename Value>
void set(CURL* easy, CURLoption option, Value value)
{
    if (curl_easy_setopt(easy, option, value) != CURLE_OK) {
        throw std::logic_error("libcurl refused an option it documents");
    }
}

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

struct CurlConnection::Handle {
    EasyHandle easy;
};

CurlConnection::Opened CurlConnection::open(const WebSocketUrl& url, const std::string& urlText,
                                            const ConnectionSettings& settings, const std::function<bool()>& stopping)
{
    initialiseCurlOnce();
    EasyHandle easy(curl_easy_init());
    if (!easy) {
        throwConnectionFailed(urlText, "out of memory");
    }
    CURL* e = easy.get();
    const std::string target = (url.secure ? "https://" : "http://") + url.host + ":" + std::to_string(url.port);
    std::string proxyResponse;
    char errorText[CURL_ERROR_SIZE] = "";
    set(e, CURLOPT_ERRORBUFFER, errorText);
    set(e, CURLOPT_URL, target.c_str());
    set(e, CURLOPT_PROTOCOLS_STR, "http,https");
    set(e, CURLOPT_CONNECT_ONLY, 1L);
    set(e, CURLOPT_NOSIGNAL, 1L);
    set(e, CURLOPT_SSL_VERIFYPEER, 1L);
    set(e, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!settings.certificateFile.empty()) {
        set(e, CURLOPT_CAINFO, settings.certificateFile.c_str());
    }
    set(e, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeoutMs));
    set(e, CURLOPT_PROXY, settings.proxy.c_str());
    if (!settings.proxy.empty()) {
        set(e, CURLOPT_HTTPPROXYTUNNEL, 1L);
        set(e, CURLOPT_PROXYAUTH, static_cast<unsigned long>(CURLAUTH_ANY));
        if (!settings.proxyUser.empty()) {
            set(e, CURLOPT_PROXYUSERNAME, settings.proxyUser.c_str());
            set(e, CURLOPT_PROXYPASSWORD, settings.proxyPassword.c_str());
        }
    }
    set(e, CURLOPT_HEADERFUNCTION, &onHeader);
    set(e, CURLOPT_HEADERDATA, &proxyResponse);
    set(e, CURLOPT_XFERINFOFUNCTION, &onProgress);
    set(e, CURLOPT_XFERINFODATA, &stopping);
    set(e, CURLOPT_NOPROGRESS, 0L);

    const CURLcode code = curl_easy_perform(e);
    set(e, CURLOPT_ERRORBUFFER, static_cast<char*>(nullptr));
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
    set(e, CURLOPT_HEADERFUNCTION, static_cast<curl_write_callback>(nullptr));
    set(e, CURLOPT_XFERINFOFUNCTION, static_cast<curl_xferinfo_callback>(nullptr));
    return {
        std::unique_ptr<CurlConnection>(new CurlConnection(std::make_unique<Handle>(Handle{std::move(easy)}), socket)),
        {}};
}

CurlConnection::CurlConnection(std::unique_ptr<Handle> handle, int socket)
    : handle(std::move(handle)),
      socketHandle(socket)
{
}

CurlConnection::~CurlConnection() = default;

CurlConnection::Transferred CurlConnection::send(std::string_view bytes)
{
    std::size_t sent = 0;
    const CURLcode code = curl_easy_send(handle->easy.get(), bytes.data(), bytes.size(), &sent);
    if (code == CURLE_AGAIN) {
        return {Status::Again, 0};
    }
    return {code == CURLE_OK ? Status::Done : Status::Closed, sent};
}

CurlConnection::Transferred CurlConnection::receive(char* buffer, std::size_t size)
{
    std::size_t received = 0;
    const CURLcode code = curl_easy_recv(handle->easy.get(), buffer, size, &received);
    if (code == CURLE_AGAIN) {
        return {Status::Again, 0};
    }
    return {code == CURLE_OK && received > 0 ? Status::Done : Status::Closed, received};
}

} // namespace foundation::httpclient_websocket
