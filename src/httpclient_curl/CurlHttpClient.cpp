// The libcurl client's public face: it pins each request's configuration and
// hands every attempt to a Transfer (synchronous) or to the AsyncEngine.
#include <httpclient_curl/CurlHttpClient.hpp>

#include "AsyncEngine.hpp"
#include "ConnectionSetup.hpp"
#include "HandlePool.hpp"
#include "Transfer.hpp"

#include <exception>
#include <memory>
#include <utility>

namespace foundation::httpclient_curl {

using namespace httpclient_core;

namespace {

// Every attempt of a request runs with the configuration resolved before
// its first: the request's own, else a copy of the client's taken then.
void pinConfiguration(HttpRequest& request, const HttpClient& client)
{
    if (!request.hasClientConfiguration()) {
        request.setClientConfiguration(client.getClientConfiguration());
    }
}

// libcurl's global state is set up before the first handle exists.
detail::HandlePool& initialised(detail::HandlePool& pool)
{
    detail::initialiseCurl();
    return pool;
}

} // namespace

// The pool of easy handles shared by every attempt, and the asynchronous machinery.
class CurlHttpClient::Impl {
public:
    explicit Impl(TraceCallback trace) : pool(std::move(trace)), engine(initialised(pool)) {}

    detail::HandlePool pool;
    detail::AsyncEngine engine;
};

CurlHttpClient::CurlHttpClient() : CurlHttpClient(ClientConfiguration())
{
}

CurlHttpClient::CurlHttpClient(ClientConfiguration configuration)
    : CurlHttpClient(std::move(configuration), TraceCallback())
{
}

CurlHttpClient::CurlHttpClient(ClientConfiguration configuration, TraceCallback trace)
    : impl(std::make_unique<Impl>(std::move(trace)))
{
    setClientConfiguration(std::move(configuration));
}

CurlHttpClient::~CurlHttpClient()
{
    impl->engine.shutdown();
}

void CurlHttpClient::cancelAsyncRequest(unsigned long requestId) const
{
    impl->engine.cancel(requestId);
}

void CurlHttpClient::cancelAllAsyncRequests() const
{
    impl->engine.cancelAll();
}

void CurlHttpClient::waitForAsyncRequests() const
{
    impl->engine.wait();
}

std::size_t CurlHttpClient::pendingAsyncRequests() const
{
    return impl->engine.pending();
}

void CurlHttpClient::configurationChanged(const ClientConfiguration& configuration)
{
    impl->engine.setLimits(configuration.maxThreads(), configuration.maxRequestsPerThread());
}

void CurlHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const
{
    pinConfiguration(request, *this);
    detail::Transfer transfer(impl->pool, request, response);
    const CURLcode code = curl_easy_perform(transfer.easy());
    if (const std::exception_ptr error = transfer.finish(code)) {
        std::rethrow_exception(error);
    }
}

void CurlHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response, unsigned long requestId,
                                         CompletionHandler handler) const
{
    pinConfiguration(request, *this);
    impl->engine.submit(
        std::make_unique<detail::Job>(std::move(request), std::move(response), requestId, std::move(handler)));
}

} // namespace foundation::httpclient_curl
