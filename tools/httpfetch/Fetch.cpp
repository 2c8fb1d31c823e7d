#include "Fetch.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/FormUrlEncoded.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/NameValueCollection.hpp>
#include <httpclient_core/QueryParameters.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

#include <string>
#include <utility>
#include <vector>

namespace httpfetch {

namespace {

using foundation::httpclient_core::ClientConfiguration;
using foundation::httpclient_core::FormUrlEncoded;
using foundation::httpclient_core::HttpHeaders;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::HttpResponse;
using foundation::httpclient_core::NameValueCollection;
using foundation::httpclient_core::Progress;
using foundation::httpclient_core::QueryParameters;
using foundation::httpclient_core::URL;

void attachForm(HttpRequest& request, const std::vector<Field>& fields)
{
    NameValueCollection collection;
    for (const auto& [name, value] : fields) {
        collection.add(name, value);
    }
    const FormUrlEncoded form(std::move(collection));
    if (!request.hasHeader(HttpHeaders::CONTENT_TYPE)) {
        request.setContentType(form.contentType());
    }
    request.setContentLength(std::to_string(form.contentLength()));
    request.setRequestBody(form.stream());
}

HttpRequest requestFor(const Options& options, BodySink& sink, ProgressReporter& reporter)
{
    HttpRequest request(options.effectiveMethod(), URL{options.url}, HttpHeaders());
    for (const auto& header : options.headers) {
        request.addHeader(header);
    }
    QueryParameters query;
    for (const auto& [name, value] : options.query) {
        query.addQueryParameter(name, value);
    }
    request.setQueryParameters(std::move(query));
    if (options.data) {
        request.setRequestBody(*options.data);
    }
    if (!options.form.empty()) {
        attachForm(request, options.form);
    }
    request.setResponseStreamFactory(sink.factory());
    request.setProgressCallback([&reporter](const Progress& progress) { return reporter.update(progress); });
    return request;
}

ClientConfiguration configurationFor(const Options& options, ProgressReporter& reporter, AttemptLog& log)
{
    ClientConfiguration configuration;
    configuration.withFollowRedirects(options.followRedirects)
        .withResumeOnRetry(options.resume)
        .withRetryStrategy(makeRetryStrategy({options.retries, options.backoff, options.resume}, reporter, log));
    if (options.maxRedirects) {
        configuration.setMaxRedirects(*options.maxRedirects);
    }
    if (options.connectTimeout) {
        configuration.setConnectTimeout(static_cast<long>(options.connectTimeout->count()));
    }
    if (options.caCertificate) {
        configuration.setCertificateFile(*options.caCertificate);
    }
    if (options.proxy) {
        configuration.setProxy(*options.proxy);
    }
    return configuration;
}

} // namespace

HttpResponse fetch(const Options& options, BodySink& sink, ProgressReporter& reporter, AttemptLog& log)
{
    const foundation::httpclient_curl::CurlHttpClient client(configurationFor(options, reporter, log));
    return client.makeRequest(requestFor(options, sink, reporter));
}

} // namespace httpfetch
