// fetch: one run of httpfetch's request through CurlHttpClient.
//
//   MemorySink sink;
//   AttemptLog log;
//   HttpResponse response = fetch(options, sink, reporter, log);
//   response.getResponseCode();   // the last attempt's status; the body is in sink
//
// The request is built from the options: method, URL with the -q query,
// -H headers, and a -d body or a -F form (with its Content-Type, unless -H
// gave one, and its Content-Length). Redirects, time-out, CA file, proxy,
// retries and resume go into the client's configuration.
#pragma once

#include "BodySink.hpp"
#include "Options.hpp"
#include "ProgressReporter.hpp"
#include "RetryPolicy.hpp"

#include <httpclient_core/HttpResponse.hpp>

namespace httpfetch {

// The last attempt's response; its body stream writes into sink, so the sink
// must outlive it. Rethrows the last attempt's exception when it threw
// (an HttpRequestFailedException or one derived from it).
foundation::httpclient_core::HttpResponse fetch(const Options& options, BodySink& sink, ProgressReporter& reporter,
                                                AttemptLog& log);

} // namespace httpfetch
