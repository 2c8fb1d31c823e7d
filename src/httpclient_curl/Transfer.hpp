// Transfer: one attempt of a request on a pooled easy handle. It sets every
// option, feeds the request body, hands what arrives to a ResponseReceiver,
// and turns the outcome into an exception. An exception raised inside a
// callback (a stream failure, a refused reply, or one from the caller's own
// callbacks) aborts the transfer and is the attempt's error.
//
//   Transfer transfer(pool, request, response, configuration);
//   std::exception_ptr error = transfer.finish(curl_easy_perform(transfer.easy()));
#pragma once

#include "ConnectionSetup.hpp"
#include "HandlePool.hpp"
#include "ResponseReceiver.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <exception>
#include <string>

namespace foundation::httpclient_curl::detail {

class Transfer {
public:
    // Throws, before anything is sent, what the request's encoding refuses.
    Transfer(HandlePool& pool, httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response,
             const httpclient_core::ClientConfiguration& configuration);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    CURL* easy() const { return handle.get(); }

    // Called once libcurl has ended the transfer with code: records the
    // transaction report, flushes the body, and returns the attempt's error
    // (null on success).
    std::exception_ptr finish(CURLcode code);

private:
    template <typename Value>
    void set(CURLoption option, Value value)
    {
        setOption(easy(), option, value);
    }
    void setBodyMode();

    template <typename Action>
    bool guarded(Action&& action) noexcept
    {
        try {
            action();
            return true;
        } catch (...) {
            callbackError = std::current_exception();
            return false;
        }
    }

    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* self);
    static int onSeek(void* self, curl_off_t offset, int origin);
    static int onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                          curl_off_t uploadNow);

    PooledHandle handle;
    httpclient_core::HttpRequest& request;
    httpclient_core::HttpResponse& response;
    const std::string url;
    const HeaderList headers;
    const httpclient_core::ProgressCallback progress;
    ResponseReceiver receiver;
    char errorText[CURL_ERROR_SIZE] = {};
    std::exception_ptr callbackError;
};

} // namespace foundation::httpclient_curl::detail
