// CurlHttpClient: a concrete HttpClient that moves the bytes with libcurl.
//
//   CurlHttpClient client(ClientConfiguration().withMaxRedirects(3));
//   auto response = client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:8080/"}, {}));
//   response.getResponseCode();                       // HttpResponseCode::OK
//   response.getTransactionReport().redirectCount();  // redirects followed
//   auto [future, id] = client.makeAsyncRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:8080/"}, {}));
//
// Every attempt of a request uses the configuration resolved before its
// first attempt: the request's own, else a copy of the client's taken then,
// which the client pins on the request (so setClientConfiguration never
// changes a request already under way): redirects, CA bundle (peer and host
// are always verified), time-outs, compression, the age of pooled
// connections (libcurl takes it in whole seconds, so it is rounded up) and
// the proxy (an empty proxy means none; the environment is never read).
//
// Time-outs, in milliseconds: connectTimeout for connecting; idleTimeout
// once the transfer has moved fewer than idleSpeed bytes a second for that
// long, measured over windows of about a second, so that a stall after a
// fast burst ends the attempt within about a second of idleTimeout;
// requestTimeout (0 = none) for the whole attempt, however steadily bytes
// trickle. Each throws HttpRequestTimeoutException.
//
// On the wire: the request's URL without its fragment, its query parameters
// joined to any query the URL has ("http://h/p?x=1#top" with a=1 sends
// "/p?x=1&a=1"). "User-Agent: httpclient_core/<version>" unless the request
// sets its own; a User-Agent header with an empty value sends none at all.
// With acceptCompressed, "Accept-Encoding" offers every coding this libcurl
// decodes (gzip, deflate, br, zstd) and the body arrives decoded; a ranged
// attempt, and every attempt of a configuration that resumes on retry,
// offers only identity. Content-Length and Transfer-Encoding follow the body
// (chunked without a Content-Length). A POST answered by 301, 302 or 303 is
// followed as a GET without body, Content-Length, Content-Type or
// Transfer-Encoding; 307 and 308 send the method and the body again from its
// start, and a body stream that cannot seek back fails the attempt with
// HttpRequestFailedException "Request to <url> failed: the request body
// cannot be rewound to send it again".
//
// One cache of connections, DNS answers and TLS sessions serves every
// request of a client, whatever thread or event loop runs it; idle
// connections stay open for reuse. Over TLS, HTTP/2 is negotiated when the
// server offers it, and transfers of one event loop to that server share its
// connection once it is open.
//
// A successful result is never silently wrong:
// - A resumed attempt ("Range: bytes=N-") sends its Range only when the
//   response body holds exactly N bytes; otherwise the body starts again and
//   the whole entity is asked for. By design this also holds for such a
//   Range set by the caller.
// - It carries If-Range with the validator of the last successful reply (a
//   strong ETag, else Last-Modified), which the client keeps on the request
//   as its If-Range header, so that a changed entity starts again. Without a
//   validator a resume goes out without If-Range.
// - A reply whose header block never ended, or whose Content-Length is not
//   one plain byte count (two that differ included), fails the attempt with
//   HttpRequestFailedException, and its connection is not reused.
// - Progress figures of a body that started again leave out the bytes it no
//   longer holds.
//
// Cancellation is final: once a request is cancelled (by identifier, by
// cancelAllAsyncRequests, by its progress callback or by the destructor), no
// further transfer starts for it; an attempt the retry strategy still asks
// for completes at once with HttpRequestCancelledException without touching
// the network. After an abort the request keeps a progress callback that
// always aborts; before every attempt the progress callback is asked once
// with no bytes moved. The strategy stays the judge: a custom strategy that
// retries cancellations keeps a cancelled request alive through its own
// pauses, and each of its retries ends as cancelled. The strategies of
// DefaultRetry.hpp never retry a cancellation.
//
// Asynchronous transfers run on at most maxThreads event-loop threads with at
// most maxRequestsPerThread transfers each; more wait in a queue. Completion
// handlers, and so the retry strategy's backoff sleep, never run on those
// threads, so a handler that blocks stalls no transfer. They run on a pool of
// completion threads that starts with one, which runs the handlers one after
// another; when completions have waited about 5 ms because every completion
// thread is inside a handler, another thread joins, up to maxThreads x
// maxRequestsPerThread. Limits below 1 count as 1. When the system refuses a
// thread, the client goes on with the threads it has; a request that no
// thread can run fails with HttpRequestFailedException "Request to <url>
// failed: no thread could be started to run it".
//
// Failures: HttpRequestTimeoutException when a time-out fires,
// HttpRequestCancelledException when the progress callback aborts or the
// request is cancelled, TransferFailedException (with its cause) or
// HttpRequestFailedException with libcurl's error text and the URL for
// anything else. An HTTP error status is a normal response.
#pragma once

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/CompletionHandler.hpp>
#include <httpclient_core/HttpClient.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_curl/Export.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace foundation::httpclient_curl {

// What a trace line is: a note of the transport ("Connected to 127.0.0.1
// (127.0.0.1) port 8080"), a line of the request head sent (the request line,
// a header, the blank line that ends them), or a line of a response head
// received (the status line as received, "HTTP/1.1 200 OK" or "HTTP/2 200",
// a header, the blank line), for every response, redirects and informational
// replies included.
enum class TraceKind { Note, HeaderOut, HeaderIn };
// Receives each trace line without its line end, on the thread that runs the
// transfer; an exception it throws fails the attempt.
using TraceCallback = std::function<void(TraceKind kind, std::string_view line)>;

// Final: the destructor waits for the threads that call the virtual
// functions, which in a derived class would already be destroyed by then.
class HTTPCLIENT_CURL_EXPORT CurlHttpClient final : public httpclient_core::HttpClient {
public:
    // A client with the default ClientConfiguration.
    CurlHttpClient();
    explicit CurlHttpClient(httpclient_core::ClientConfiguration configuration);
    // A client that hands the trace of every transfer to trace (none when empty).
    CurlHttpClient(httpclient_core::ClientConfiguration configuration, TraceCallback trace);
    // Cancels every asynchronous request, waits until each has run its
    // completion handler (a retry pause under way is waited out), and joins
    // every thread of the client. Must not run inside one of the client's own
    // completion handlers.
    ~CurlHttpClient() override;

    using HttpClient::makeAsyncRequest;

    // The request completes with HttpRequestCancelledException, whether it
    // was waiting in the queue, transferring, or between two attempts. An
    // identifier that is not in flight is ignored.
    void cancelAsyncRequest(unsigned long requestId) const override;
    void cancelAllAsyncRequests() const override;
    // Returns once every asynchronous request has run its completion handler;
    // a request counts as in flight until then, retries included. Must not
    // be called inside one of the client's own completion handlers.
    void waitForAsyncRequests() const override;
    // The number of asynchronous requests whose completion handler has not yet returned.
    std::size_t pendingAsyncRequests() const override;

protected:
    // Applies maxThreads and maxRequestsPerThread to work started from now on.
    void configurationChanged(const httpclient_core::ClientConfiguration& configuration) override;

    // One attempt on a pooled connection. Before anything is sent it throws
    // HttpRequestFailedException "Refused to send header <name> to <url>: it
    // holds a CR, LF or NUL byte", "Refused to send header <name> to <url>:
    // its name is not a token", "Content-Length <value> of the request to
    // <url> is not a byte count" (only plain digits are), or "Cannot send a
    // request with method UNKNOWN to <url>"; the offending text stands in the
    // angle brackets. A ranged attempt answered with a full 200 restarts the
    // body from its start; a 206 whose Content-Range does not start at N
    // throws HttpRequestFailedException "Content-Range <value> from <url>
    // does not start at byte N". A reply fails the attempt with
    // HttpRequestFailedException "Request to <url> failed: the connection
    // closed inside the reply's header block", "Malformed Content-Length
    // <value> from <url>" or "Conflicting Content-Length <a> and <b> from
    // <url>"; a folded header line (obs-fold) is joined to its field with one
    // space. A body stream that fails throws HttpRequestFailedException
    // "Request to <url> failed: ...", ending with the system's error text
    // when there is one ("...: No space left on device"); exceptions of the
    // request's own callbacks and of its response stream factory pass through
    // unchanged. Authorization and Cookie headers are not sent after a
    // redirect that leaves the original host and port.
    void performRequest(httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response) const override;
    void performAsyncRequest(httpclient_core::HttpRequest request, httpclient_core::HttpResponse response,
                             unsigned long requestId, httpclient_core::CompletionHandler handler) const override;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace foundation::httpclient_curl
