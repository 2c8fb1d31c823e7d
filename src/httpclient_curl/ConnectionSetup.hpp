// ConnectionSetup: what every libcurl transport of this package shares: the
// RAII owners of libcurl's handles, the one-time global initialisation, and
// the connection options of an easy handle (TLS verification, CA file,
// proxy, connect time-out, allowed protocols) from plain values.
//
//   initialiseCurl();
//   EasyHandle handle(curl_easy_init());
//   applyConnectionSettings(handle.get(), ConnectionSettings{"", "http://127.0.0.1:3128", "", "", 5000, "http,https"});
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace foundation::httpclient_curl::detail {

struct EasyDeleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
struct MultiDeleter {
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};
struct ShareDeleter {
    void operator()(CURLSH* handle) const noexcept { curl_share_cleanup(handle); }
};
struct HeaderListDeleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;
using ShareHandle = std::unique_ptr<CURLSH, ShareDeleter>;
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

// Sets up libcurl's process-wide state once, thread-safely. It is never torn
// down: a client held by a static object may outlive any point at which that
// could be done safely. Throws HttpRequestFailedException "libcurl could not
// be initialised: <libcurl's text>".
void initialiseCurl();

// Sets one option; a refusal throws HttpRequestFailedException "libcurl
// refused an option: <libcurl's text>".
template <typename Value>
void setOption(CURL* handle, CURLoption option, Value value);

// Appends one line to a header list; throws std::bad_alloc when libcurl cannot.
void appendLine(HeaderList& list, const std::string& line);

struct ConnectionSettings {
    // "" = the system's CA store; peer and host are always verified.
    std::string certificateFile;
    // "" = none, else "http://host:port".
    std::string proxy;
    // "" = no proxy credentials; with them the proxy may pick any scheme.
    std::string proxyUser;
    std::string proxyPassword;
    long connectTimeoutMs = 0;
    // The schemes libcurl may use, also after a redirect.
    std::string protocols = "http,https";
};

// Applies every setting to the handle; throws as setOption does.
void applyConnectionSettings(CURL* handle, const ConnectionSettings& settings);

[[noreturn]] void throwOptionRefused(CURLcode code);

template <typename Value>
void setOption(CURL* handle, CURLoption option, Value value)
{
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (code != CURLE_OK) {
        throwOptionRefused(code);
    }
}

} // namespace foundation::httpclient_curl::detail
