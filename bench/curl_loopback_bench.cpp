// Loopback throughput of CurlHttpClient against raw libcurl, both talking to
// the same local server (bench/run starts one and names it in
// HTTPCLIENT_BENCH_URL, e.g. "http://127.0.0.1:40123"; it serves /1k.bin,
// /64k.bin and /1m.bin, and answers a POST to /post with a short text).
//
// BM_CurlHttpClient_Get<size> and BM_CurlHttpClient_Post1KiB make one
// synchronous request after another on a keep-alive connection;
// BM_CurlEasy_Get<size> and BM_CurlEasy_Post1KiB perform the same requests on
// one reused easy handle, the POST body sent from memory. The asynchronous
// pairs (BM_CurlHttpClient_Async<n>x<size>, with a Futures variant that waits
// on futures instead of completion handlers, against BM_CurlMulti_Async<n>x<size>)
// keep n requests in flight through makeAsyncRequest and through one multi handle.
// Every body is compared with the raw libcurl body before anything is timed.
//
// Beside each rate the counter cpu_us is the client's CPU time per request,
// user and system, over all of its threads (getrusage): the figure that load
// from elsewhere on the machine disturbs least.
//
// Both sides receive each body into a fresh buffer, as the client's default
// response stream does, and both run under the same allocator settings: glibc
// is told to keep freed memory instead of handing every large block back to
// the kernel and faulting it in again for the next response.
#include "BenchSupport.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/CompletionHandler.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <malloc.h>
#include <sys/resource.h>

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;

// Each asynchronous batch sends this many times the number in flight.
constexpr int batchesPerInFlight = 4;

struct Resource {
    std::string name;
    std::string url;
    std::size_t size;
};

struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

struct MultiDeleter {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using Multi = std::unique_ptr<CURLM, MultiDeleter>;

// The body of every POST: 1 KiB of random bytes.
const std::string& postBody()
{
    static const std::string body = bench::randomBytes(1024, 7);
    return body;
}

std::size_t appendTo(char* data, std::size_t size, std::size_t count, void* body)
{
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

// One easy handle set up for GETs of url into body, the way a raw libcurl
// user would write it.
Easy makeEasy(const std::string& url, std::string& body)
{
    Easy easy(curl_easy_init());
    bench::require(easy != nullptr, "curl_easy_init", "returned null");
    curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &appendTo);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(easy.get(), CURLOPT_PRIVATE, &body);
    return easy;
}

// The same handle POSTing postBody() from memory.
Easy makePostingEasy(const std::string& url, std::string& body)
{
    auto easy = makeEasy(url, body);
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, postBody().data());
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(postBody().size()));
    return easy;
}

// Drops the body and its buffer, so that the next response grows a new one.
void freshBody(std::string& body)
{
    std::string().swap(body);
}

// The body string that makeEasy attached to the handle.
std::string& bodyOf(CURL* easy)
{
    char* body = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &body);
    return *reinterpret_cast<std::string*>(body);
}

bool performed(CURL* easy)
{
    long status = 0;
    return curl_easy_perform(easy) == CURLE_OK &&
           curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status == 200;
}

HttpRequest get(const Resource& resource)
{
    return HttpRequest(HttpMethod::GET, URL{resource.url}, {});
}

HttpRequest post(const Resource& resource)
{
    HttpRequest request(HttpMethod::POST, URL{resource.url}, {});
    request.setRequestBody(postBody());
    return request;
}

bool answered(const HttpResponse& response)
{
    return response.getResponseCode() == HttpResponseCode::OK;
}

ClientConfiguration asyncConfiguration(int inFlight)
{
    return ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(inFlight);
}

// The client's CPU time so far, user and system, over all its threads.
double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Measures one benchmark run: started with the run, it sets the rates and the
// CPU microseconds per request when the run is over.
class Meter {
public:
    void report(benchmark::State& state, const Resource& resource, int requestsPerIteration) const
    {
        const auto requests = static_cast<std::int64_t>(state.iterations()) * requestsPerIteration;
        state.SetItemsProcessed(requests);
        state.SetBytesProcessed(requests * static_cast<std::int64_t>(resource.size));
        if (requests > 0) {
            state.counters["cpu_us"] = (cpuSeconds() - start) * 1e6 / static_cast<double>(requests);
        }
    }

private:
    double start = cpuSeconds();
};

// Counts the completions of one batch of asynchronous requests.
class Batch {
public:
    void started()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ++running;
    }
    // Notifies under the lock: the waiter may destroy the batch as soon as it sees the count drop.
    void finished(bool ok)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        --running;
        failures += ok ? 0 : 1;
        changed.notify_all();
    }
    // Waits until fewer than limit requests are running.
    void waitBelow(int limit)
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return running < limit; });
    }
    int failed()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return failures;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    int failures = 0;
};

// Runs a batch through client with at most inFlight at once, each completion
// reported to a handler.
int runHandlerBatch(const CurlHttpClient& client, const Resource& resource, int inFlight)
{
    Batch batch;
    for (int sent = 0; sent < inFlight * batchesPerInFlight; ++sent) {
        batch.waitBelow(inFlight);
        batch.started();
        client.makeAsyncRequest(get(resource),
                                [&batch](HttpRequest, HttpResponse response, const std::exception_ptr& error) {
                                    batch.finished(!error && answered(response));
                                });
    }
    batch.waitBelow(1);
    return batch.failed();
}

// The same with futures: when inFlight are running, waits for the oldest.
int runFutureBatch(const CurlHttpClient& client, const Resource& resource, int inFlight)
{
    std::deque<std::future<HttpResponse>> running;
    int failures = 0;
    const auto finishOldest = [&] {
        failures += answered(running.front().get()) ? 0 : 1;
        running.pop_front();
    };
    for (int sent = 0; sent < inFlight * batchesPerInFlight; ++sent) {
        if (running.size() == static_cast<std::size_t>(inFlight)) {
            finishOldest();
        }
        running.push_back(client.makeAsyncRequest(get(resource)).first);
    }
    while (!running.empty()) {
        finishOldest();
    }
    return failures;
}

// Runs a batch through one multi handle with one easy handle per request in
// flight, each re-added, its body emptied, as soon as it finishes.
int runMultiBatch(CURLM* multi, std::vector<Easy>& handles)
{
    const auto total = static_cast<int>(handles.size()) * batchesPerInFlight;
    int sent = 0;
    int done = 0;
    int failures = 0;
    for (auto& handle : handles) {
        freshBody(bodyOf(handle.get()));
        curl_multi_add_handle(multi, handle.get());
        ++sent;
    }
    while (done < total) {
        int running = 0;
        curl_multi_perform(multi, &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
            if (message->msg != CURLMSG_DONE) {
                continue;
            }
            CURL* easy = message->easy_handle;
            long status = 0;
            curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
            failures += message->data.result == CURLE_OK && status == 200 ? 0 : 1;
            ++done;
            curl_multi_remove_handle(multi, easy);
            if (sent < total) {
                freshBody(bodyOf(easy));
                curl_multi_add_handle(multi, easy);
                ++sent;
            }
        }
        if (done < total) {
            curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
        }
    }
    return failures;
}

// Fetches the resource with raw libcurl, with CurlHttpClient synchronously and
// asynchronously, and aborts unless all three bodies are the same and of the expected size.
void checkGet(const Resource& resource)
{
    std::string raw;
    const auto easy = makeEasy(resource.url, raw);
    bench::require(performed(easy.get()), "raw libcurl GET " + resource.url, "failed");
    bench::require(raw.size() == resource.size, "raw libcurl GET " + resource.url, "wrong body size");

    const CurlHttpClient client;
    const auto response = client.makeRequest(get(resource));
    bench::require(answered(response), "CurlHttpClient GET " + resource.url, "status is not 200");
    bench::requireEqual("CurlHttpClient vs raw libcurl body of " + resource.url, raw, response.getResponseBodyString());

    const CurlHttpClient asyncClient(asyncConfiguration(1));
    auto [future, id] = asyncClient.makeAsyncRequest(get(resource));
    const auto asyncResponse = future.get();
    bench::requireEqual("CurlHttpClient async vs raw libcurl body of " + resource.url, raw,
                        asyncResponse.getResponseBodyString());
}

// POSTs to the resource with raw libcurl and with CurlHttpClient and aborts
// unless both get 200 and the same answer.
void checkPost(const Resource& resource)
{
    std::string raw;
    const auto easy = makePostingEasy(resource.url, raw);
    bench::require(performed(easy.get()), "raw libcurl POST " + resource.url, "failed");
    bench::require(raw.size() == resource.size, "raw libcurl POST " + resource.url, "wrong body size");
    const CurlHttpClient client;
    const auto response = client.makeRequest(post(resource));
    bench::require(answered(response), "CurlHttpClient POST " + resource.url, "status is not 200");
    bench::requireEqual("CurlHttpClient vs raw libcurl answer to POST " + resource.url, raw,
                        response.getResponseBodyString());
}

void withClient(benchmark::State& state, const Resource& resource, HttpRequest (*make)(const Resource&))
{
    const CurlHttpClient client;
    const Meter meter;
    for (auto _ : state) {
        if (!answered(client.makeRequest(make(resource)))) {
            state.SkipWithError("a request did not answer 200");
            break;
        }
    }
    meter.report(state, resource, 1);
}

void withEasy(benchmark::State& state, const Resource& resource, Easy (*make)(const std::string&, std::string&))
{
    std::string body;
    const auto easy = make(resource.url, body);
    const Meter meter;
    for (auto _ : state) {
        freshBody(body);
        if (!performed(easy.get())) {
            state.SkipWithError("a request failed");
            break;
        }
    }
    meter.report(state, resource, 1);
}

void asyncWithClient(benchmark::State& state, const Resource& resource, int inFlight,
                     int (*runBatch)(const CurlHttpClient&, const Resource&, int))
{
    const CurlHttpClient client(asyncConfiguration(inFlight));
    const Meter meter;
    for (auto _ : state) {
        if (runBatch(client, resource, inFlight) != 0) {
            state.SkipWithError("a request did not answer 200");
            break;
        }
    }
    meter.report(state, resource, inFlight * batchesPerInFlight);
}

void asyncWithMulti(benchmark::State& state, const Resource& resource, int inFlight)
{
    const Multi multi(curl_multi_init());
    std::vector<std::string> bodies(static_cast<std::size_t>(inFlight));
    std::vector<Easy> handles;
    handles.reserve(bodies.size());
    for (auto& body : bodies) {
        handles.push_back(makeEasy(resource.url, body));
    }
    const Meter meter;
    for (auto _ : state) {
        if (runMultiBatch(multi.get(), handles) != 0) {
            state.SkipWithError("a request failed");
            break;
        }
    }
    meter.report(state, resource, inFlight * batchesPerInFlight);
}

// Registers one benchmark, timed by the wall clock: the work runs on other
// threads and in the server.
void registerAs(const std::string& name, std::function<void(benchmark::State&)> run)
{
    benchmark::RegisterBenchmark(name.c_str(), [run = std::move(run)](benchmark::State& state) {
        run(state);
    })->UseRealTime();
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    const char* base = std::getenv("HTTPCLIENT_BENCH_URL");
    bench::require(base != nullptr && *base != '\0', "HTTPCLIENT_BENCH_URL",
                   "not set: run bench/run, which starts the loopback server");
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    curl_global_init(CURL_GLOBAL_DEFAULT);
    // Kept alive until the end: the registered benchmarks refer to them.
    static const std::vector<Resource> resources{
        {"1KiB", std::string(base) + "/1k.bin", 1024},
        {"64KiB", std::string(base) + "/64k.bin", std::size_t{64} << 10},
        {"1MiB", std::string(base) + "/1m.bin", std::size_t{1} << 20},
    };
    static const Resource posted{"1KiB", std::string(base) + "/post", 3};
    for (const auto& resource : resources) {
        checkGet(resource);
        registerAs("BM_CurlHttpClient_Get" + resource.name,
                   [&resource](benchmark::State& state) { withClient(state, resource, get); });
        registerAs("BM_CurlEasy_Get" + resource.name,
                   [&resource](benchmark::State& state) { withEasy(state, resource, makeEasy); });
    }
    checkPost(posted);
    registerAs("BM_CurlHttpClient_Post1KiB", [](benchmark::State& state) { withClient(state, posted, post); });
    registerAs("BM_CurlEasy_Post1KiB", [](benchmark::State& state) { withEasy(state, posted, makePostingEasy); });

    const struct {
        const Resource& resource;
        int inFlight;
    } asyncRuns[] = {{resources[0], 16}, {resources[0], 256}, {resources[2], 16}};
    for (const auto& run : asyncRuns) {
        const auto suffix = std::to_string(run.inFlight) + "x" + run.resource.name;
        const auto& resource = run.resource;
        const int inFlight = run.inFlight;
        registerAs("BM_CurlHttpClient_Async" + suffix, [&resource, inFlight](benchmark::State& state) {
            asyncWithClient(state, resource, inFlight, runHandlerBatch);
        });
        registerAs("BM_CurlHttpClient_AsyncFutures" + suffix, [&resource, inFlight](benchmark::State& state) {
            asyncWithClient(state, resource, inFlight, runFutureBatch);
        });
        registerAs("BM_CurlMulti_Async" + suffix,
                   [&resource, inFlight](benchmark::State& state) { asyncWithMulti(state, resource, inFlight); });
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    curl_global_cleanup();
    return 0;
}
