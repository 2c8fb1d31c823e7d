#include "ConnectionSetup.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <new>

namespace foundation::httpclient_curl::detail {

using httpclient_core::HttpRequestFailedException;

namespace {

[[noreturn]] void throwInitialisationFailure(CURLcode code)
{
    throw HttpRequestFailedException(std::string("libcurl could not be initialised: ") + curl_easy_strerror(code));
}

} // namespace

void initialiseCurl()
{
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throwInitialisationFailure(code);
    }
}

void throwOptionRefused(CURLcode code)
{
    throw HttpRequestFailedException(std::string("libcurl refused an option: ") + curl_easy_strerror(code));
}

void appendLine(HeaderList& list, const std::string& line)
{
    curl_slist* const appended = curl_slist_append(list.get(), line.c_str());
    if (appended == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(appended);
}

void applyConnectionSettings(CURL* handle, const ConnectionSettings& settings)
{
    setOption(handle, CURLOPT_PROTOCOLS_STR, settings.protocols.c_str());
    setOption(handle, CURLOPT_REDIR_PROTOCOLS_STR, settings.protocols.c_str());
    setOption(handle, CURLOPT_NOSIGNAL, 1L);
    setOption(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    setOption(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!settings.certificateFile.empty()) {
        setOption(handle, CURLOPT_CAINFO, settings.certificateFile.c_str());
    }
    setOption(handle, CURLOPT_CONNECTTIMEOUT_MS, settings.connectTimeoutMs);
    setOption(handle, CURLOPT_PROXY, settings.proxy.c_str());
    if (!settings.proxyUser.empty()) {
        setOption(handle, CURLOPT_PROXYUSERNAME, settings.proxyUser.c_str());
        setOption(handle, CURLOPT_PROXYPASSWORD, settings.proxyPassword.c_str());
        setOption(handle, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ANY));
    }
    setOption(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
}

} // namespace foundation::httpclient_curl::detail
