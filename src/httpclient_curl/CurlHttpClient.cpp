#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/TransactionReport.hpp>
#include <httpclient_core/URL.hpp>

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <exception>
#include <istream>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace foundation::httpclient_curl {

using namespace httpclient_core;

namespace {

const std::string rangeHeader = "Range";
const std::string contentRangeHeader = "Content-Range";

struct EasyDeleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
struct MultiDeleter {
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};
struct HeaderListDeleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

HttpRequestFailedException requestFailure(const std::string& url, const std::string& reason)
{
    return HttpRequestFailedException("Request to " + url + " failed: " + reason);
}

[[noreturn]] void throwInitialisationFailure(CURLcode code)
{
    throw HttpRequestFailedException(std::string("libcurl could not be initialised: ") + curl_easy_strerror(code));
}

[[noreturn]] void throwOutOfHandles()
{
    throw HttpRequestFailedException("libcurl could not make a transfer handle");
}

[[noreturn]] void throwHeaderRefused(const std::string& name, const std::string& url)
{
    throw HttpRequestFailedException("Refused to send header <" + name + "> to " + url +
                                     ": it holds a CR, LF or NUL byte");
}

[[noreturn]] void throwUnsupportedMethod(const std::string& url)
{
    throw HttpRequestFailedException("Cannot send a request with method UNKNOWN to " + url);
}

[[noreturn]] void throwBadContentLength(const std::string& value, const std::string& url)
{
    throw HttpRequestFailedException("Content-Length <" + value + "> of the request to " + url +
                                     " is not a byte count");
}

[[noreturn]] void throwMalformedHeader(std::string_view line, const std::string& url)
{
    throw HttpRequestFailedException("Malformed header line <" + std::string(line) + "> from " + url);
}

[[noreturn]] void throwRangeMismatch(const std::string& contentRange, long long start, const std::string& url)
{
    throw HttpRequestFailedException("Content-Range <" + contentRange + "> from " + url + " does not start at byte " +
                                     std::to_string(start));
}

[[noreturn]] void throwBodyWriteFailure(const std::string& url)
{
    throw requestFailure(url, "the response body stream refused the received bytes");
}

[[noreturn]] void throwBodyReadFailure(const std::string& url)
{
    throw requestFailure(url, "the request body stream could not be read");
}

// The one mapping from libcurl's result codes to this library's exceptions:
// null for success, a time-out, a cancellation, or a failure that carries
// libcurl's own error text and the URL.
std::exception_ptr transferError(CURLcode code, const char* errorText, const std::string& url)
{
    switch (code) {
    case CURLE_OK:
        return nullptr;
    case CURLE_OPERATION_TIMEDOUT:
        return std::make_exception_ptr(HttpRequestTimeoutException());
    case CURLE_ABORTED_BY_CALLBACK:
        return std::make_exception_ptr(HttpRequestCancelledException());
    default:
        return std::make_exception_ptr(
            requestFailure(url, errorText[0] != '\0' ? errorText : curl_easy_strerror(code)));
    }
}

// libcurl's process-wide state, set up once, thread-safely, on first use.
// It is never torn down: a client held by a static object may outlive any
// point at which that could be done safely.
void initialiseCurl()
{
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throwInitialisationFailure(code);
    }
}

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

std::string_view withoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    return line;
}

// CR and LF would end the header line early; NUL would cut it short.
bool breaksHeaderLine(const std::string& text)
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

// Milliseconds as whole seconds, a started second counting as one.
long secondsRoundedUp(long milliseconds)
{
    return milliseconds / 1000 + (milliseconds % 1000 > 0 ? 1 : 0);
}

// "HTTP/1.1 404 Not Found" gives 404 and "Not Found"; "HTTP/2 200 " gives 200 and "".
std::optional<std::pair<int, std::string>> parseStatusLine(std::string_view line)
{
    line = withoutLineEnd(line);
    const auto space = line.find(' ');
    if (space == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = line.substr(space + 1);
    int code = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), code);
    if (error != std::errc() || end != rest.data() + 3) {
        return std::nullopt;
    }
    rest.remove_prefix(3);
    if (!rest.empty() && rest.front() == ' ') {
        rest.remove_prefix(1);
    }
    return std::make_pair(code, std::string(rest));
}

// N of a "Range: bytes=N-" request header, the form a resumed attempt carries.
std::optional<long long> resumeOffset(const HttpRequest& request)
{
    if (!request.hasHeader(rangeHeader)) {
        return std::nullopt;
    }
    const std::string value = request.getHeaderValue(rangeHeader);
    const std::string_view prefix = "bytes=";
    if (!startsWith(value, prefix) || value.size() < prefix.size() + 2 || value.back() != '-') {
        return std::nullopt;
    }
    long long offset = 0;
    const char* const first = value.data() + prefix.size();
    const char* const last = value.data() + value.size() - 1;
    const auto [end, error] = std::from_chars(first, last, offset);
    if (error != std::errc() || end != last || offset < 0) {
        return std::nullopt;
    }
    return offset;
}

// The upload size from Content-Length, or -1 (unknown, sent chunked) without one.
curl_off_t uploadSize(const HttpRequest& request, const std::string& url)
{
    if (!request.hasHeader(HttpHeaders::CONTENT_LENGTH)) {
        return -1;
    }
    const std::string value = request.getHeaderValue(HttpHeaders::CONTENT_LENGTH);
    curl_off_t size = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), size);
    if (error != std::errc() || end != value.data() + value.size() || size < 0) {
        throwBadContentLength(value, url);
    }
    return size;
}

// The request line's method; UNKNOWN cannot be sent.
std::string methodName(HttpMethod method, const std::string& url)
{
    std::string name = to_string(method);
    if (name == "UNKNOWN") {
        throwUnsupportedMethod(url);
    }
    return name;
}

void append(HeaderList& list, const std::string& line)
{
    curl_slist* const appended = curl_slist_append(list.get(), line.c_str());
    if (appended == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(appended);
}

// "Name: value" lines for libcurl; an empty value is written "Name;", which
// is how libcurl sends a header with no value. libcurl would label a POST
// without Content-Type as a form; "Content-Type:" makes it send none.
HeaderList headerList(const HttpRequest& request, const std::string& url)
{
    HeaderList list;
    for (const auto& [name, value] : request.getHeaders()) {
        if (breaksHeaderLine(name) || breaksHeaderLine(value)) {
            throwHeaderRefused(name, url);
        }
        std::string line = name;
        line += value.empty() ? ";" : ": ";
        line += value;
        append(list, line);
    }
    if (request.getHttpMethod() == HttpMethod::POST && !request.hasHeader(HttpHeaders::CONTENT_TYPE)) {
        append(list, HttpHeaders::CONTENT_TYPE + ":");
    }
    return list;
}

ClientConfiguration settingsFor(const HttpRequest& request, const HttpClient& client)
{
    return request.hasClientConfiguration() ? request.getClientConfiguration() : client.getClientConfiguration();
}

// Idle easy handles, each keeping its live connections, so that a later
// request to the same server reuses one whatever thread sends it.
class HandlePool {
public:
    EasyHandle take()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (!idle.empty()) {
                EasyHandle handle = std::move(idle.back());
                idle.pop_back();
                return handle;
            }
        }
        EasyHandle handle(curl_easy_init());
        if (!handle) {
            throwOutOfHandles();
        }
        return handle;
    }

    // Forgets every option of the last transfer; the connections stay.
    void give(EasyHandle handle)
    {
        curl_easy_reset(handle.get());
        const std::lock_guard<std::mutex> lock(mutex);
        idle.push_back(std::move(handle));
    }

private:
    std::mutex mutex;
    std::vector<EasyHandle> idle;
};

// An easy handle borrowed from the pool for one attempt and given back after it.
class PooledHandle {
public:
    explicit PooledHandle(HandlePool& pool) : pool(pool), handle(pool.take()) {}
    ~PooledHandle() { pool.give(std::move(handle)); }
    PooledHandle(const PooledHandle&) = delete;
    PooledHandle& operator=(const PooledHandle&) = delete;

    CURL* get() const { return handle.get(); }

private:
    HandlePool& pool;
    EasyHandle handle;
};

// One attempt of a request on a pooled easy handle: sets every option, feeds
// the request body, fills the response as the status lines, headers and
// body arrive, and turns the outcome into an exception. An exception raised
// inside a callback (a stream failure, a refused Content-Range, or one from
// the caller's own callbacks) aborts the transfer and is the attempt's error.
class Transfer {
public:
    Transfer(HandlePool& pool, HttpRequest& request, HttpResponse& response, const ClientConfiguration& configuration)
        : handle(pool),
          request(request),
          response(response),
          url(request.getURL().toAsciiString()),
          resumeFrom(resumeOffset(request)),
          headers(headerList(request, url)),
          progress(request.hasProgressCallback() ? request.getProgressCallback() : ProgressCallback())
    {
        set(CURLOPT_ERRORBUFFER, errorText);
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_HTTPHEADER, headers.get());
        setMethod();
        set(CURLOPT_FOLLOWLOCATION, configuration.followRedirects() ? 1L : 0L);
        set(CURLOPT_MAXREDIRS, configuration.maxRedirects());
        // libcurl then leaves Authorization and Cookie out of a redirect to another host or port.
        set(CURLOPT_UNRESTRICTED_AUTH, 0L);
        set(CURLOPT_SSL_VERIFYPEER, 1L);
        set(CURLOPT_SSL_VERIFYHOST, 2L);
        if (!configuration.certificateFile().empty()) {
            set(CURLOPT_CAINFO, configuration.certificateFile().c_str());
        }
        set(CURLOPT_CONNECTTIMEOUT_MS, configuration.connectTimeout());
        set(CURLOPT_LOW_SPEED_LIMIT, configuration.idleSpeed());
        set(CURLOPT_LOW_SPEED_TIME, secondsRoundedUp(configuration.idleTimeout()));
        set(CURLOPT_MAXAGE_CONN, secondsRoundedUp(configuration.connectionMaxIdle()));
        set(CURLOPT_PROXY, configuration.proxy().c_str());
        set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, &Transfer::onBody);
        set(CURLOPT_WRITEDATA, this);
        if (progress) {
            set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
            set(CURLOPT_XFERINFODATA, this);
            set(CURLOPT_NOPROGRESS, 0L);
        }
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    CURL* easy() const { return handle.get(); }

    // Called once libcurl has ended the transfer with code: records the
    // transaction report, flushes the body, and returns the attempt's error
    // (null on success).
    std::exception_ptr finish(CURLcode code)
    {
        long redirects = 0;
        char* effective = nullptr;
        curl_easy_getinfo(easy(), CURLINFO_REDIRECT_COUNT, &redirects);
        curl_easy_getinfo(easy(), CURLINFO_EFFECTIVE_URL, &effective);
        response.setTransactionReport(TransactionReport(redirects, URL{effective != nullptr ? effective : url}));
        if (callbackError) {
            return callbackError;
        }
        if (code == CURLE_OK && bodyTouched) {
            guarded([this] {
                if (!response.getResponseBody().flush()) {
                    throwBodyWriteFailure(url);
                }
            });
            return callbackError;
        }
        return transferError(code, errorText, url);
    }

private:
    template <typename Value>
    void set(CURLoption option, Value value)
    {
        const CURLcode code = curl_easy_setopt(easy(), option, value);
        if (code != CURLE_OK) {
            std::rethrow_exception(transferError(code, errorText, url));
        }
    }

    // HEAD asks for no body; GET and DELETE without a body send none; every
    // other request uploads its body (or an empty one, with Content-Length 0)
    // through the read callback.
    void setMethod()
    {
        const HttpMethod method = request.getHttpMethod();
        const std::string name = methodName(method, url);
        const bool hasBody = request.hasRequestBody();
        if (method == HttpMethod::HEAD) {
            set(CURLOPT_NOBODY, 1L);
            return;
        }
        if (!hasBody && method == HttpMethod::GET) {
            set(CURLOPT_HTTPGET, 1L);
            return;
        }
        if (!hasBody && method == HttpMethod::DELETE) {
            set(CURLOPT_CUSTOMREQUEST, name.c_str());
            return;
        }
        const curl_off_t size = hasBody ? uploadSize(request, url) : 0;
        set(CURLOPT_READFUNCTION, &Transfer::onRead);
        set(CURLOPT_READDATA, this);
        set(CURLOPT_SEEKFUNCTION, &Transfer::onSeek);
        set(CURLOPT_SEEKDATA, this);
        if (method == HttpMethod::POST) {
            set(CURLOPT_POST, 1L);
            set(CURLOPT_POSTFIELDSIZE_LARGE, size);
        } else {
            set(CURLOPT_UPLOAD, 1L);
            set(CURLOPT_INFILESIZE_LARGE, size);
            if (method != HttpMethod::PUT) {
                set(CURLOPT_CUSTOMREQUEST, name.c_str());
            }
        }
    }

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

    // Every status line (one per redirect hop or interim reply) starts a new
    // header set, so the response ends up with the final hop's headers.
    void receiveHeaderLine(std::string_view line)
    {
        if (startsWith(line, "HTTP/")) {
            const auto status = parseStatusLine(line);
            if (!status) {
                throwMalformedHeader(line, url);
            }
            response.setResponseCodeAndReason(static_cast<HttpResponseCode>(status->first), status->second);
            response.setHeaders(HttpHeaders());
            inHeaderBlock = true;
        } else if (withoutLineEnd(line).empty()) {
            // Also ends a block of trailers, which must not check the range again.
            if (inHeaderBlock) {
                inHeaderBlock = false;
                checkResumedRange();
            }
        } else if (line.find(':') == std::string_view::npos) {
            throwMalformedHeader(withoutLineEnd(line), url);
        } else {
            response.addHeader(std::string(line));
        }
    }

    // A resumed attempt asked for the body from byte N on. A full 200 reply
    // restarts the body at its start instead of appending to the bytes kept;
    // a 206 must continue exactly at N.
    void checkResumedRange()
    {
        if (!resumeFrom) {
            return;
        }
        const HttpResponseCode code = response.getResponseCode();
        if (code == HttpResponseCode::OK) {
            response.resetResponseBody();
            bodyTouched = true;
        } else if (code == HttpResponseCode::PartialContent) {
            const std::string contentRange =
                response.hasHeader(contentRangeHeader) ? response.getHeaderValue(contentRangeHeader) : "";
            if (!startsWith(contentRange, "bytes " + std::to_string(*resumeFrom) + "-")) {
                throwRangeMismatch(contentRange, *resumeFrom, url);
            }
        }
    }

    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self)
    {
        auto& transfer = *static_cast<Transfer*>(self);
        const std::size_t length = size * count;
        return transfer.guarded([&] { transfer.receiveHeaderLine(std::string_view(data, length)); }) ? length : 0;
    }

    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self)
    {
        auto& transfer = *static_cast<Transfer*>(self);
        const std::size_t length = size * count;
        const bool written = transfer.guarded([&] {
            auto& body = transfer.response.getResponseBody();
            transfer.bodyTouched = true;
            if (!body.write(data, static_cast<std::streamsize>(length))) {
                throwBodyWriteFailure(transfer.url);
            }
        });
        return written ? length : 0;
    }

    static std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* self)
    {
        auto& transfer = *static_cast<Transfer*>(self);
        std::size_t length = 0;
        const bool read = transfer.guarded([&] {
            if (!transfer.request.hasRequestBody()) {
                return;
            }
            auto& body = transfer.request.getRequestBody();
            body.read(buffer, static_cast<std::streamsize>(size * count));
            if (body.bad()) {
                throwBodyReadFailure(transfer.url);
            }
            length = static_cast<std::size_t>(body.gcount());
        });
        return read ? length : CURL_READFUNC_ABORT;
    }

    // libcurl rewinds the body to send it again: after a 307 or 308 redirect,
    // or when a reused connection turned out closed.
    static int onSeek(void* self, curl_off_t offset, int origin)
    {
        auto& transfer = *static_cast<Transfer*>(self);
        if (origin != SEEK_SET || !transfer.request.hasRequestBody()) {
            return CURL_SEEKFUNC_CANTSEEK;
        }
        auto& body = transfer.request.getRequestBody();
        body.clear();
        body.seekg(static_cast<std::streamoff>(offset), std::ios::beg);
        return body ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_CANTSEEK;
    }

    static int onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                          curl_off_t uploadNow)
    {
        auto& transfer = *static_cast<Transfer*>(self);
        ProgressResult result = ProgressResult::Continue;
        const bool reported = transfer.guarded([&] {
            result = transfer.progress(
                Progress{static_cast<std::int64_t>(downloadTotal), static_cast<std::int64_t>(downloadNow),
                         static_cast<std::int64_t>(uploadTotal), static_cast<std::int64_t>(uploadNow)});
        });
        return reported && result == ProgressResult::Continue ? 0 : 1;
    }

    PooledHandle handle;
    HttpRequest& request;
    HttpResponse& response;
    const std::string url;
    const std::optional<long long> resumeFrom;
    const HeaderList headers;
    const ProgressCallback progress;
    char errorText[CURL_ERROR_SIZE] = {};
    bool inHeaderBlock = false;
    bool bodyTouched = false;
    std::exception_ptr callbackError;
};

// An asynchronous attempt, from performAsyncRequest until its handler has run.
struct Job {
    Job(HttpRequest request, HttpResponse response, unsigned long requestId, CompletionHandler handler,
        ClientConfiguration configuration)
        : request(std::move(request)),
          response(std::move(response)),
          requestId(requestId),
          handler(std::move(handler)),
          configuration(std::move(configuration))
    {
    }

    HttpRequest request;
    HttpResponse response;
    unsigned long requestId;
    CompletionHandler handler;
    ClientConfiguration configuration;
    std::optional<Transfer> transfer;
    std::exception_ptr error;
};

std::exception_ptr cancellation()
{
    return std::make_exception_ptr(HttpRequestCancelledException());
}

using Clock = std::chrono::steady_clock;

// How long completions may wait while every completion thread is inside a
// handler before another completion thread is started.
constexpr std::chrono::milliseconds stallThreshold(5);
// The longest an event loop stays in poll when nothing else wakes it.
constexpr std::chrono::milliseconds pollInterval(1000);

} // namespace

// The asynchronous machinery and the pool of easy handles. One mutex guards
// the queue, the limits, the in-flight counts, the completion queue and the
// completion threads' bookkeeping; it is never held while libcurl transfers
// or while a handler runs.
//
// Completions run on a pool that starts with one thread, which takes them one
// after another. Another thread joins only when completions are waiting and
// no completion thread has taken one for stallThreshold, that is when every
// thread is held up inside a handler; the event loops look at this again
// before they wait in poll, and poll no longer than until it is due.
class CurlHttpClient::Impl {
public:
    Impl() { initialiseCurl(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    HandlePool pool;

    void setLimits(long threads, long requestsPerThread)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        threadLimit = static_cast<std::size_t>(std::max(1L, threads));
        requestsPerThreadLimit = static_cast<std::size_t>(std::max(1L, requestsPerThread));
        startLoopIfNeeded(0);
        wakeLoops();
    }

    void submit(std::unique_ptr<Job> job)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const bool refused = stopping || cancelled.count(job->requestId) > 0;
        if (!refused) {
            startLoopIfNeeded(1);
        }
        ++inFlight[job->requestId];
        if (refused) {
            job->error = cancellation();
            complete(std::move(job));
        } else {
            queue.push_back(std::move(job));
        }
        wakeLoops();
    }

    void cancel(unsigned long requestId)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        cancelLocked([requestId](unsigned long id) { return id == requestId; });
    }

    void cancelAll()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        cancelLocked([](unsigned long) { return true; });
    }

    void wait()
    {
        std::unique_lock<std::mutex> lock(mutex);
        requestsDone.wait(lock, [this] { return inFlight.empty(); });
    }

    std::size_t pending()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return inFlight.size();
    }

    // Cancels everything, waits for every handler (retries submitted by
    // handlers from now on complete as cancelled at once), then stops and
    // joins every thread.
    void shutdown()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
            cancelLocked([](unsigned long) { return true; });
        }
        wait();
        {
            const std::lock_guard<std::mutex> lock(mutex);
            finished = true;
            wakeLoops();
        }
        completionsReady.notify_all();
        for (auto& loop : loops) {
            loop->join();
        }
        for (auto& thread : completionThreads) {
            thread.join();
        }
    }

private:
    // One thread running a multi handle with up to requestsPerThreadLimit
    // transfers; it takes queued jobs while its index is within threadLimit.
    class EventLoop {
    public:
        EventLoop(Impl& engine, std::size_t index) : engine(engine), index(index), multi(curl_multi_init())
        {
            if (!multi) {
                throwOutOfHandles();
            }
            thread = std::thread([this] { run(); });
        }
        EventLoop(const EventLoop&) = delete;
        EventLoop& operator=(const EventLoop&) = delete;

        // Makes the loop look at the engine's state again: at once when it
        // waits in poll, else before it would wait. Runs under the engine's
        // mutex; libcurl is woken only when the loop is in poll, once.
        void wake()
        {
            signalled = true;
            if (polling) {
                polling = false;
                curl_multi_wakeup(multi.get());
            }
        }
        void join() { thread.join(); }

        // Jobs taken from the queue and not yet handed to completion; guarded by the engine's mutex.
        std::size_t load = 0;

    private:
        void run()
        {
            while (true) {
                std::vector<std::unique_ptr<Job>> started;
                std::vector<std::unique_ptr<Job>> withdrawn;
                {
                    const std::lock_guard<std::mutex> lock(engine.mutex);
                    if (engine.finished) {
                        return;
                    }
                    polling = false;
                    signalled = false;
                    engine.superviseCompletions(Clock::now());
                    withdrawn = withdrawCancelled();
                    while (mayTakeQueuedJob()) {
                        started.push_back(std::move(engine.queue.front()));
                        engine.queue.pop_front();
                        ++load;
                    }
                }
                for (auto& job : withdrawn) {
                    curl_multi_remove_handle(multi.get(), job->transfer->easy());
                    job->transfer.reset();
                    job->error = cancellation();
                    finish(std::move(job));
                }
                for (auto& job : started) {
                    start(std::move(job));
                }
                int running = 0;
                curl_multi_perform(multi.get(), &running);
                collectFinished();
                if (const auto timeout = pollTimeout()) {
                    curl_multi_poll(multi.get(), nullptr, 0, *timeout, nullptr);
                }
            }
        }

        // Runs under the engine's mutex.
        bool mayTakeQueuedJob() const
        {
            return index < engine.threadLimit && load < engine.requestsPerThreadLimit && !engine.queue.empty();
        }

        // How long the loop may wait in poll: not at all when it was woken
        // since its round began or may take a queued job, else until the
        // completions want another look. From here on wake() ends the poll.
        std::optional<int> pollTimeout()
        {
            const std::lock_guard<std::mutex> lock(engine.mutex);
            if (engine.finished || signalled || mayTakeQueuedJob()) {
                return std::nullopt;
            }
            polling = true;
            return static_cast<int>(engine.superviseCompletions(Clock::now()).count());
        }

        // The active jobs whose request was cancelled; runs under the engine's mutex.
        std::vector<std::unique_ptr<Job>> withdrawCancelled()
        {
            std::vector<std::unique_ptr<Job>> withdrawn;
            for (auto& job : active) {
                if (engine.cancelled.count(job->requestId) > 0) {
                    withdrawn.push_back(std::move(job));
                }
            }
            active.erase(std::remove(active.begin(), active.end(), nullptr), active.end());
            return withdrawn;
        }

        void start(std::unique_ptr<Job> job)
        {
            try {
                job->transfer.emplace(engine.pool, job->request, job->response, job->configuration);
                const CURLMcode code = curl_multi_add_handle(multi.get(), job->transfer->easy());
                if (code != CURLM_OK) {
                    throw requestFailure(job->request.getURL().toAsciiString(), curl_multi_strerror(code));
                }
            } catch (...) {
                job->transfer.reset();
                job->error = std::current_exception();
                finish(std::move(job));
                return;
            }
            active.push_back(std::move(job));
        }

        void collectFinished()
        {
            int left = 0;
            while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
                if (message->msg != CURLMSG_DONE) {
                    continue;
                }
                CURL* const easy = message->easy_handle;
                const CURLcode code = message->data.result;
                const auto found = std::find_if(active.begin(), active.end(),
                                                [easy](const auto& job) { return job->transfer->easy() == easy; });
                std::unique_ptr<Job> job = std::move(*found);
                active.erase(found);
                curl_multi_remove_handle(multi.get(), easy);
                job->error = job->transfer->finish(code);
                job->transfer.reset();
                finish(std::move(job));
            }
        }

        // Frees the job's place; the loop takes queued work before it would wait in poll.
        void finish(std::unique_ptr<Job> job)
        {
            const std::lock_guard<std::mutex> lock(engine.mutex);
            --load;
            engine.complete(std::move(job));
        }

        Impl& engine;
        const std::size_t index;
        const MultiHandle multi;
        std::vector<std::unique_ptr<Job>> active;
        // Both guarded by the engine's mutex: the loop is in (or about to
        // enter) poll, and it was woken since its round began.
        bool polling = false;
        bool signalled = false;
        std::thread thread;
    };

    // Queues a finished attempt for the completion threads. Runs under the mutex.
    void complete(std::unique_ptr<Job> job)
    {
        completions.push_back(std::move(job));
        superviseCompletions(Clock::now());
    }

    // Gets waiting completions going: wakes an idle completion thread, or
    // starts one when there is none yet, or when none has taken a completion
    // for stallThreshold and the pool is below its size. Returns how soon to
    // look again. Runs under the mutex.
    std::chrono::milliseconds superviseCompletions(Clock::time_point now)
    {
        if (completions.empty()) {
            return pollInterval;
        }
        if (idleCompletionThreads > 0) {
            if (!wakeupPending) {
                wakeupPending = true;
                completionsReady.notify_one();
            }
            return pollInterval;
        }
        if (completionThreads.size() >= threadLimit * requestsPerThreadLimit) {
            return pollInterval;
        }
        const auto stalled = now - lastTaken;
        if (completionThreads.empty() || stalled >= stallThreshold) {
            completionThreads.emplace_back([this] { runCompletions(); });
            lastTaken = now;
            return stallThreshold;
        }
        return std::chrono::ceil<std::chrono::milliseconds>(stallThreshold - stalled);
    }

    void runCompletions()
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (true) {
            if (completions.empty()) {
                if (finished) {
                    return;
                }
                ++idleCompletionThreads;
                completionsReady.wait(lock);
                --idleCompletionThreads;
                wakeupPending = false;
                continue;
            }
            std::unique_ptr<Job> job = std::move(completions.front());
            completions.pop_front();
            lastTaken = Clock::now();
            superviseCompletions(lastTaken);
            lock.unlock();
            const unsigned long requestId = job->requestId;
            job->handler(std::move(job->request), std::move(job->response), std::move(job->error));
            job.reset();
            lock.lock();
            settle(requestId);
        }
    }

    // One attempt of the request has run its handler; a retry it started has
    // been counted already. Runs under the mutex.
    void settle(unsigned long requestId)
    {
        const auto found = inFlight.find(requestId);
        if (--found->second == 0) {
            inFlight.erase(found);
            cancelled.erase(requestId);
            requestsDone.notify_all();
        }
    }

    // Marks the matching requests in flight as cancelled and completes their
    // queued attempts at once; running attempts are withdrawn by their loop.
    // Runs under the mutex.
    template <typename Matches>
    void cancelLocked(Matches matches)
    {
        for (const auto& [requestId, attempts] : inFlight) {
            if (matches(requestId)) {
                cancelled.insert(requestId);
            }
        }
        for (auto it = queue.begin(); it != queue.end();) {
            if (cancelled.count((*it)->requestId) > 0) {
                (*it)->error = cancellation();
                complete(std::move(*it));
                it = queue.erase(it);
            } else {
                ++it;
            }
        }
        wakeLoops();
    }

    // Starts another loop when the queue, with incoming jobs about to join
    // it, holds more than the free places of the loops in use. Runs under
    // the mutex; when it throws, nothing has changed.
    void startLoopIfNeeded(std::size_t incoming)
    {
        std::size_t freePlaces = 0;
        for (std::size_t i = 0; i < std::min(loops.size(), threadLimit); ++i) {
            freePlaces += requestsPerThreadLimit - std::min(loops[i]->load, requestsPerThreadLimit);
        }
        if (queue.size() + incoming > freePlaces && loops.size() < threadLimit) {
            loops.push_back(std::make_unique<EventLoop>(*this, loops.size()));
        }
    }

    void wakeLoops()
    {
        for (const auto& loop : loops) {
            loop->wake();
        }
    }

    std::mutex mutex;
    std::condition_variable completionsReady;
    std::condition_variable requestsDone;
    std::deque<std::unique_ptr<Job>> queue;
    std::deque<std::unique_ptr<Job>> completions;
    // Attempts of each request not yet through its handler; a request is in flight while listed.
    std::map<unsigned long, std::size_t> inFlight;
    std::set<unsigned long> cancelled;
    std::size_t threadLimit = 1;
    std::size_t requestsPerThreadLimit = 1;
    std::vector<std::unique_ptr<EventLoop>> loops;
    std::vector<std::thread> completionThreads;
    // Completion threads waiting for work, whether one of them has been
    // notified and not yet woken, and when a completion was last taken.
    std::size_t idleCompletionThreads = 0;
    bool wakeupPending = false;
    Clock::time_point lastTaken;
    bool stopping = false;
    bool finished = false;
};

CurlHttpClient::CurlHttpClient() : CurlHttpClient(ClientConfiguration())
{
}

CurlHttpClient::CurlHttpClient(ClientConfiguration configuration) : impl(std::make_unique<Impl>())
{
    setClientConfiguration(std::move(configuration));
}

CurlHttpClient::~CurlHttpClient()
{
    impl->shutdown();
}

void CurlHttpClient::cancelAsyncRequest(unsigned long requestId) const
{
    impl->cancel(requestId);
}

void CurlHttpClient::cancelAllAsyncRequests() const
{
    impl->cancelAll();
}

void CurlHttpClient::waitForAsyncRequests() const
{
    impl->wait();
}

std::size_t CurlHttpClient::pendingAsyncRequests() const
{
    return impl->pending();
}

void CurlHttpClient::configurationChanged(const ClientConfiguration& configuration)
{
    impl->setLimits(configuration.maxThreads(), configuration.maxRequestsPerThread());
}

void CurlHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const
{
    Transfer transfer(impl->pool, request, response, settingsFor(request, *this));
    const CURLcode code = curl_easy_perform(transfer.easy());
    if (const std::exception_ptr error = transfer.finish(code)) {
        std::rethrow_exception(error);
    }
}

void CurlHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response, unsigned long requestId,
                                         CompletionHandler handler) const
{
    ClientConfiguration configuration = settingsFor(request, *this);
    impl->submit(std::make_unique<Job>(std::move(request), std::move(response), requestId, std::move(handler),
                                       std::move(configuration)));
}

} // namespace foundation::httpclient_curl
