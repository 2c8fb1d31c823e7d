#include "Fetch.hpp"

#include <httpclient_curl/CurlHttpClient.hpp>

#include <utility>

namespace httpfetch {

using foundation::httpclient_core::ClientConfiguration;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::HttpResponse;
using foundation::httpclient_core::Progress;

HttpResponse fetch(HttpRequest request, ClientConfiguration configuration, const RetrySettings& retries,
                   ProgressReporter& reporter, AttemptLog& log, foundation::httpclient_curl::TraceCallback trace)
{
    configuration.setRetryStrategy(makeRetryStrategy(retries, reporter, log));
    request.setProgressCallback([&reporter](const Progress& progress) { return reporter.update(progress); });
    const foundation::httpclient_curl::CurlHttpClient client(std::move(configuration), std::move(trace));
    return client.makeRequest(std::move(request));
}

} // namespace httpfetch
