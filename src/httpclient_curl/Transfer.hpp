// Transfer: one attempt of a request on a pooled easy handle. It sets every
// option, feeds the request body, hands what arrives to a ResponseReceiver,
// fails the attempt as timed out when an IdleCheck says it stalled, and
// turns the outcome into an exception. An exception raised inside a
// callback (a stream failure, a refused reply, or one from the caller's own
// callbacks) aborts the transfer and is the attempt's error.
//
//   Transfer transfer(pool, request, response);
//   std::exception_ptr error = transfer.finish(curl_easy_perform(transfer.easy()));
//
// The attempt runs with the request's own ClientConfiguration, which the
// client pins on the request before its first attempt. It guards the wire
// against a resume that no longer fits the body:
// - "Range: bytes=N-" goes out only when the response body holds exactly N
//   bytes; otherwise the body restarts and the whole entity is asked for.
// - A resumed attempt carries If-Range with the validator of the last
//   successful reply, which the transfer keeps on the request as If-Range.
// - Progress figures leave out the N bytes a restarted body no longer holds.
// - Once the progress callback has aborted, the request keeps a callback
//   that always aborts, and every later attempt is cancelled before it
//   touches the network.
#pragma once

#include "ConnectionSetup.hpp"
#include "HandlePool.hpp"
#include "ResponseReceiver.hpp"

#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <chrono>
#include <exception>
#include <optional>
#include <string>

namespace foundation::httpclient_curl::detail {

using Clock = std::chrono::steady_clock;

// Tells when a transfer has been idle for too long: it counts as idle while
// it moves fewer than speed bytes a second, measured over windows of about a
// second (so a fast burst before a stall does not hide the stall), and it
// has stalled once it has been idle for patience. A speed below 1 or a
// patience of 0 or less never stalls.
class IdleCheck {
public:
    IdleCheck(long speed, std::chrono::milliseconds patience, Clock::time_point start);

    // moved: the bytes sent and received so far, at time now.
    bool stalled(long long moved, Clock::time_point now);

private:
    const long long speed;
    const std::chrono::milliseconds patience;
    Clock::time_point windowStart;
    long long windowBytes = 0;
    Clock::time_point lastActive;
};

class Transfer {
public:
    // Throws, before anything is sent, what the request's encoding refuses,
    // and HttpRequestCancelledException when the progress callback asked
    // with no bytes moved aborts.
    Transfer(HandlePool& pool, httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    CURL* easy() const { return handle.get(); }

    // Called once libcurl has ended the transfer with code: records the
    // transaction report and the reply's validator, flushes the body, and
    // returns the attempt's error (null on success).
    std::exception_ptr finish(CURLcode code);

private:
    template <typename Value>
    void set(CURLoption option, Value value)
    {
        setOption(easy(), option, value);
    }
    void setBodyMode();
    httpclient_core::ProgressResult report(curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                                           curl_off_t uploadNow);

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
    static int onTrace(CURL* easy, curl_infotype type, char* data, std::size_t size, void* self);
    static int onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                          curl_off_t uploadNow);

    PooledHandle handle;
    httpclient_core::HttpRequest& request;
    httpclient_core::HttpResponse& response;
    const std::string url;
    // The request's Range start, and whether it goes out.
    const std::optional<long long> rangeStart;
    const bool resuming;
    const HeaderList headers;
    const HeaderList redirectHeaders;
    const httpclient_core::ProgressCallback progress;
    const TraceCallback& trace;
    ResponseReceiver receiver;
    IdleCheck idle;
    char errorText[CURL_ERROR_SIZE] = {};
    std::exception_ptr callbackError;
};

} // namespace foundation::httpclient_curl::detail
