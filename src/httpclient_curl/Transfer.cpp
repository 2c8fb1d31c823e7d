#include "Transfer.hpp"

#include "Errors.hpp"
#include "RequestEncoding.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/TransactionReport.hpp>
#include <httpclient_core/URL.hpp>

#include <cstdint>
#include <cstdio>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

// Milliseconds as whole seconds, a started second counting as one.
long secondsRoundedUp(long milliseconds)
{
    return milliseconds / 1000 + (milliseconds % 1000 > 0 ? 1 : 0);
}

const std::string ifRangeHeader = "If-Range";

HeaderList headerList(const HttpRequest& request, const std::string& url, bool withholdRange)
{
    HeaderList list;
    for (const auto& line : headerLines(request, url, withholdRange)) {
        appendLine(list, line);
    }
    return list;
}

ConnectionSettings connectionSettings(const ClientConfiguration& configuration)
{
    ConnectionSettings settings;
    settings.certificateFile = configuration.certificateFile();
    settings.proxy = configuration.proxy();
    settings.connectTimeoutMs = configuration.connectTimeout();
    return settings;
}

// A resume continues the body only where it ends; the body stream is made
// (by its factory) only when there is a range to check.
bool continuesBody(const std::optional<long long>& rangeStart, const HttpResponse& response)
{
    return rangeStart && *rangeStart >= 0 &&
           static_cast<std::streamoff>(response.getResponseBody().tellp()) == *rangeStart;
}

ProgressResult cancelledProgress(const Progress&)
{
    return ProgressResult::Abort;
}

} // namespace

Transfer::Transfer(HandlePool& pool, HttpRequest& request, HttpResponse& response)
    : handle(pool),
      request(request),
      response(response),
      url(request.getURL().toAsciiString()),
      rangeStart(resumeOffset(request)),
      resuming(continuesBody(rangeStart, response)),
      headers(headerList(request, url, rangeStart && !resuming)),
      progress(request.hasProgressCallback() ? request.getProgressCallback() : ProgressCallback()),
      receiver(response, url, resuming ? rangeStart : std::nullopt)
{
    const ClientConfiguration configuration = request.getClientConfiguration();
    set(CURLOPT_ERRORBUFFER, errorText);
    set(CURLOPT_URL, url.c_str());
    applyConnectionSettings(easy(), connectionSettings(configuration));
    set(CURLOPT_HTTPHEADER, headers.get());
    setBodyMode();
    set(CURLOPT_FOLLOWLOCATION, configuration.followRedirects() ? 1L : 0L);
    set(CURLOPT_MAXREDIRS, configuration.maxRedirects());
    // libcurl then leaves Authorization and Cookie out of a redirect to another host or port.
    set(CURLOPT_UNRESTRICTED_AUTH, 0L);
    set(CURLOPT_LOW_SPEED_LIMIT, configuration.idleSpeed());
    set(CURLOPT_LOW_SPEED_TIME, secondsRoundedUp(configuration.idleTimeout()));
    set(CURLOPT_MAXAGE_CONN, secondsRoundedUp(configuration.connectionMaxIdle()));
    set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    set(CURLOPT_WRITEDATA, this);
    if (progress) {
        set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
        set(CURLOPT_XFERINFODATA, this);
        set(CURLOPT_NOPROGRESS, 0L);
    }
    if (rangeStart && !resuming) {
        response.resetResponseBody();
    }
    if (progress && report(0, 0, 0, 0) != ProgressResult::Continue) {
        throw HttpRequestCancelledException();
    }
}

std::exception_ptr Transfer::finish(CURLcode code)
{
    long redirects = 0;
    char* effective = nullptr;
    curl_easy_getinfo(easy(), CURLINFO_REDIRECT_COUNT, &redirects);
    curl_easy_getinfo(easy(), CURLINFO_EFFECTIVE_URL, &effective);
    response.setTransactionReport(TransactionReport(redirects, URL{effective != nullptr ? effective : url}));
    if (const auto& validator = receiver.validator()) {
        if (validator->empty()) {
            request.removeHeader(ifRangeHeader);
        } else {
            request.setHeaderValue(ifRangeHeader, *validator);
        }
    }
    if (callbackError) {
        return callbackError;
    }
    if (code == CURLE_OK) {
        guarded([this] { receiver.finish(); });
        return callbackError;
    }
    return transferError(code, errorText, url);
}

void Transfer::setBodyMode()
{
    const RequestShape shape = requestShape(request, url);
    switch (shape.mode) {
    case BodyMode::Head:
        set(CURLOPT_NOBODY, 1L);
        return;
    case BodyMode::Get:
        set(CURLOPT_HTTPGET, 1L);
        return;
    case BodyMode::Bodiless:
        set(CURLOPT_CUSTOMREQUEST, shape.method.c_str());
        return;
    case BodyMode::Post:
    case BodyMode::Upload:
        break;
    }
    set(CURLOPT_READFUNCTION, &Transfer::onRead);
    set(CURLOPT_READDATA, this);
    set(CURLOPT_SEEKFUNCTION, &Transfer::onSeek);
    set(CURLOPT_SEEKDATA, this);
    const auto size = static_cast<curl_off_t>(shape.uploadSize);
    if (shape.mode == BodyMode::Post) {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, size);
    } else {
        set(CURLOPT_UPLOAD, 1L);
        set(CURLOPT_INFILESIZE_LARGE, size);
        if (request.getHttpMethod() != HttpMethod::PUT) {
            set(CURLOPT_CUSTOMREQUEST, shape.method.c_str());
        }
    }
}

std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<Transfer*>(self);
    const std::size_t length = size * count;
    return transfer.guarded([&] { transfer.receiver.receiveHeaderLine(std::string_view(data, length)); }) ? length : 0;
}

std::size_t Transfer::onBody(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<Transfer*>(self);
    const std::size_t length = size * count;
    return transfer.guarded([&] { transfer.receiver.receiveBody(data, length); }) ? length : 0;
}

std::size_t Transfer::onRead(char* buffer, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<Transfer*>(self);
    std::size_t length = 0;
    const bool read =
        transfer.guarded([&] { length = readRequestBody(transfer.request, buffer, size * count, transfer.url); });
    return read ? length : CURL_READFUNC_ABORT;
}

// libcurl rewinds the body to send it again: after a 307 or 308 redirect,
// or when a reused connection turned out closed.
int Transfer::onSeek(void* self, curl_off_t offset, int origin)
{
    auto& transfer = *static_cast<Transfer*>(self);
    return origin == SEEK_SET && rewindRequestBody(transfer.request, offset) ? CURL_SEEKFUNC_OK
                                                                             : CURL_SEEKFUNC_CANTSEEK;
}

// The callback of a resumed request adds the range start to the download
// figures; a body that started again does not hold those bytes.
ProgressResult Transfer::report(curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                                curl_off_t uploadNow)
{
    const bool restarted = rangeStart && *rangeStart > 0 && (!resuming || receiver.restarted());
    const std::int64_t discarded = restarted ? *rangeStart : 0;
    return progress(Progress{static_cast<std::int64_t>(downloadTotal) - discarded,
                             static_cast<std::int64_t>(downloadNow) - discarded, static_cast<std::int64_t>(uploadTotal),
                             static_cast<std::int64_t>(uploadNow)});
}

// An abort is final: the request keeps a callback that aborts every later attempt.
int Transfer::onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                         curl_off_t uploadNow)
{
    auto& transfer = *static_cast<Transfer*>(self);
    ProgressResult result = ProgressResult::Continue;
    const bool reported = transfer.guarded([&] {
        result = transfer.report(downloadTotal, downloadNow, uploadTotal, uploadNow);
        if (result != ProgressResult::Continue) {
            transfer.request.setProgressCallback(cancelledProgress);
        }
    });
    return reported && result == ProgressResult::Continue ? 0 : 1;
}

} // namespace foundation::httpclient_curl::detail
