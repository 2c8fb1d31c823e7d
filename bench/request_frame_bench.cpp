// The request frame's own cost: HttpClient::makeRequest over the scripted
// in-memory transport, which answers 200 "OK" at once and records nothing.
// Each iteration builds a GET request and makes it, so the figure includes
// the request's construction; the reply is checked before anything is timed.
#include "BenchSupport.hpp"

#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <benchmark/benchmark.h>

namespace {

using namespace foundation::httpclient_core;

HttpResponse makeOne(const foundation::httpclient_scripted::ScriptedHttpClient& client)
{
    return client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:8080/items"}, {}));
}

void BM_HttpClient_MakeRequest(benchmark::State& state)
{
    foundation::httpclient_scripted::ScriptedHttpClient client;
    client.setRecording(false);
    client.setDefaultReply(foundation::httpclient_scripted::ScriptedReply::status(HttpResponseCode::OK, "OK"));
    const auto checked = makeOne(client);
    bench::require(checked.getResponseCode() == HttpResponseCode::OK && checked.getResponseCodeReason() == "OK",
                   "HttpClient::makeRequest", "the scripted client did not answer 200 OK");
    bench::require(client.attempts().empty(), "ScriptedHttpClient", "recording is on");
    for (auto _ : state) {
        auto response = makeOne(client);
        benchmark::DoNotOptimize(&response);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_HttpClient_MakeRequest);

BENCHMARK_MAIN();
