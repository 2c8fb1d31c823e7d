#include "Transfer.hpp"

#include "Errors.hpp"
#include "RequestEncoding.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/TransactionReport.hpp>
#include <httpclient_core/URL.hpp>

#include <cstdint>
#include <cstdio>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

const char* const userAgent = "httpclient_core/" HTTPCLIENT_CORE_VERSION;

// Received bytes land in a buffer of this size; larger reads mean fewer
// calls per megabyte on a fast link.
constexpr long receiveBufferSize = 512L * 1024;

// Idle connections the shared cache keeps before it closes the oldest.
constexpr long cachedConnections = 64;

// Milliseconds as whole seconds, a started second counting as one.
long secondsRoundedUp(long milliseconds)
{
    return milliseconds / 1000 + (milliseconds % 1000 > 0 ? 1 : 0);
}

const std::string ifRangeHeader = "If-Range";

HeaderList headerList(const HttpRequest& request, const std::string& url, bool withholdRange, HeaderSet set)
{
    HeaderList list;
    for (const auto& line : headerLines(request, url, withholdRange, set)) {
        appendLine(list, line);
    }
    return list;
}

// The headers of the GET that libcurl makes of a POST answered by 301, 302
// or 303; none for other methods, which keep theirs.
HeaderList redirectHeaderList(const HttpRequest& request, const std::string& url, bool withholdRange)
{
    return request.getHttpMethod() == HttpMethod::POST ? headerList(request, url, withholdRange, HeaderSet::WithoutBody)
                                                       : HeaderList();
}

IdleCheck idleCheck(const ClientConfiguration& configuration)
{
    return IdleCheck(configuration.idleSpeed(), std::chrono::milliseconds(configuration.idleTimeout()), Clock::now());
}

bool dropsTheBody(HttpResponseCode code)
{
    return code == HttpResponseCode::MovedPermanently || code == HttpResponseCode::Found ||
           code == HttpResponseCode::SeeOther;
}

// What to put in Accept-Encoding: nothing unless compression is wanted, and
// identity where a resumed body would mix encoded and decoded bytes.
const char* acceptedEncodings(const ClientConfiguration& configuration, bool ranged)
{
    if (!configuration.acceptCompressed()) {
        return nullptr;
    }
    return ranged || configuration.resumeOnRetry() ? "identity" : "";
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

IdleCheck::IdleCheck(long speed, std::chrono::milliseconds patience, Clock::time_point start)
    : speed(speed),
      patience(patience),
      windowStart(start),
      lastActive(start)
{
}

bool IdleCheck::stalled(long long moved, Clock::time_point now)
{
    if (speed < 1 || patience.count() <= 0) {
        return false;
    }
    if (moved - windowBytes >= speed) {
        lastActive = now;
    }
    // A redirect starts the counts afresh.
    if (moved - windowBytes >= speed || moved < windowBytes || now - windowStart >= std::chrono::seconds(1)) {
        windowStart = now;
        windowBytes = moved;
    }
    return now - lastActive >= patience;
}

Transfer::Transfer(HandlePool& pool, HttpRequest& request, HttpResponse& response)
    : handle(pool),
      request(request),
      response(response),
      url(requestTarget(request)),
      rangeStart(resumeOffset(request)),
      resuming(continuesBody(rangeStart, response)),
      headers(headerList(request, url, rangeStart && !resuming, HeaderSet::WithBody)),
      redirectHeaders(redirectHeaderList(request, url, rangeStart && !resuming)),
      progress(request.hasProgressCallback() ? request.getProgressCallback() : ProgressCallback()),
      trace(pool.trace()),
      receiver(response, url, resuming ? rangeStart : std::nullopt),
      idle(idleCheck(request.getClientConfiguration()))
{
    const ClientConfiguration configuration = request.getClientConfiguration();
    set(CURLOPT_ERRORBUFFER, errorText);
    set(CURLOPT_URL, url.c_str());
    applyConnectionSettings(easy(), connectionSettings(configuration));
    set(CURLOPT_SHARE, pool.caches());
    set(CURLOPT_MAXCONNECTS, cachedConnections);
    set(CURLOPT_BUFFERSIZE, receiveBufferSize);
    set(CURLOPT_USERAGENT, userAgent);
    set(CURLOPT_HTTPHEADER, headers.get());
    if (const char* encodings = acceptedEncodings(configuration, rangeStart.has_value())) {
        set(CURLOPT_ACCEPT_ENCODING, encodings);
    }
    setBodyMode();
    set(CURLOPT_FOLLOWLOCATION, configuration.followRedirects() ? 1L : 0L);
    set(CURLOPT_MAXREDIRS, configuration.maxRedirects());
    // libcurl then leaves Authorization and Cookie out of a redirect to another host or port.
    set(CURLOPT_UNRESTRICTED_AUTH, 0L);
    set(CURLOPT_TIMEOUT_MS, configuration.requestTimeout());
    // libcurl takes whole seconds here.
    set(CURLOPT_MAXAGE_CONN, secondsRoundedUp(configuration.connectionMaxIdle()));
    if (trace) {
        set(CURLOPT_DEBUGFUNCTION, &Transfer::onTrace);
        set(CURLOPT_DEBUGDATA, this);
        set(CURLOPT_VERBOSE, 1L);
    }
    set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    set(CURLOPT_WRITEDATA, this);
    // Always on: the idle check runs in it.
    set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
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

// A POST answered by 301, 302 or 303 is followed as a GET; libcurl drops the
// body and the headers it made for it, and the next request goes out with
// the list that lacks the caller's Content-Type. libcurl reads the list when
// it writes that request, after this reply's headers.
std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<Transfer*>(self);
    const std::size_t length = size * count;
    const bool received = transfer.guarded([&] {
        transfer.receiver.receiveHeaderLine(std::string_view(data, length));
        if (transfer.redirectHeaders && dropsTheBody(transfer.response.getResponseCode())) {
            transfer.set(CURLOPT_HTTPHEADER, transfer.redirectHeaders.get());
        }
    });
    return received ? length : 0;
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
    if (origin != SEEK_SET) {
        return CURL_SEEKFUNC_CANTSEEK;
    }
    return transfer.guarded([&] { rewindRequestBody(transfer.request, offset, transfer.url); }) ? CURL_SEEKFUNC_OK
                                                                                                : CURL_SEEKFUNC_FAIL;
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

// libcurl hands over a whole request head at once and notes and response
// header lines one by one; each goes on as lines without their ends.
int Transfer::onTrace(CURL*, curl_infotype type, char* data, std::size_t size, void* self)
{
    TraceKind kind = TraceKind::Note;
    switch (type) {
    case CURLINFO_TEXT:
        break;
    case CURLINFO_HEADER_OUT:
        kind = TraceKind::HeaderOut;
        break;
    case CURLINFO_HEADER_IN:
        kind = TraceKind::HeaderIn;
        break;
    default:
        return 0;
    }
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.guarded([&] {
        std::string_view text(data, size);
        while (!text.empty()) {
            const auto end = text.find('\n');
            auto line = text.substr(0, end);
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
            transfer.trace(kind, line);
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
    });
    return 0;
}

// An abort is final: the request keeps a callback that aborts every later attempt.
int Transfer::onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                         curl_off_t uploadNow)
{
    auto& transfer = *static_cast<Transfer*>(self);
    if (transfer.idle.stalled(static_cast<long long>(downloadNow) + static_cast<long long>(uploadNow), Clock::now())) {
        transfer.callbackError = std::make_exception_ptr(HttpRequestTimeoutException());
        return 1;
    }
    if (!transfer.progress) {
        return 0;
    }
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
