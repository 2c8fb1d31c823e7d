// fetch: one request through CurlHttpClient, with httpfetch's retries and
// progress.
//
//   AttemptLog log;
//   HttpResponse response = fetch(std::move(plan.request), plan.configuration, {3, 500ms, true}, reporter, log, {});
//   response.getResponseCode();   // the last attempt's status
#pragma once

#include "ProgressReporter.hpp"
#include "RetryPolicy.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

namespace httpfetch {

// The last attempt's response. Rethrows the last attempt's exception when it
// threw (an HttpRequestFailedException or one derived from it). reporter and
// log must outlive the call; trace, when set, receives the transport's trace.
foundation::httpclient_core::HttpResponse fetch(foundation::httpclient_core::HttpRequest request,
                                                foundation::httpclient_core::ClientConfiguration configuration,
                                                const RetrySettings& retries, ProgressReporter& reporter,
                                                AttemptLog& log, foundation::httpclient_curl::TraceCallback trace);

} // namespace httpfetch
