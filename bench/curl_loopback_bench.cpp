// Loopback throughput of CurlHttpClient against raw libcurl, both talking to
// the same local server (bench/run starts one and names it in
// HTTPCLIENT_BENCH_URL, e.g. "http://127.0.0.1:40123"; it serves /1k.bin and
// /1m.bin).
//
// BM_CurlHttpClient_Get<size> makes one synchronous request after another on
// a keep-alive connection; BM_CurlEasy_Get<size> performs the same requests on
// one reused easy handle. BM_CurlHttpClient_Async16x<size> and
// BM_CurlMulti_Async16x<size> run batches of 64 requests with 16 in flight,
// through makeAsyncRequest and through one multi handle. Every body is
// compared with the raw libcurl body before anything is timed.
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

#include <array>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;

constexpr int batchSize = 64;
constexpr int inFlight = 16;

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

ClientConfiguration asyncConfiguration()
{
    return ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(inFlight);
}

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

// Runs batchSize requests through client with at most inFlight at once.
int runAsyncBatch(const CurlHttpClient& client, const Resource& resource)
{
    Batch batch;
    for (int sent = 0; sent < batchSize; ++sent) {
        batch.waitBelow(inFlight);
        batch.started();
        client.makeAsyncRequest(get(resource),
                                [&batch](HttpRequest, HttpResponse response, const std::exception_ptr& error) {
                                    batch.finished(!error && response.getResponseCode() == HttpResponseCode::OK);
                                });
    }
    batch.waitBelow(1);
    return batch.failed();
}

// Runs batchSize requests through one multi handle with inFlight easy handles,
// each re-added, its body emptied, as soon as it finishes.
int runMultiBatch(CURLM* multi, std::vector<Easy>& handles)
{
    int sent = 0;
    int done = 0;
    int failures = 0;
    for (auto& handle : handles) {
        freshBody(bodyOf(handle.get()));
        curl_multi_add_handle(multi, handle.get());
        ++sent;
    }
    while (done < batchSize) {
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
            if (sent < batchSize) {
                freshBody(bodyOf(easy));
                curl_multi_add_handle(multi, easy);
                ++sent;
            }
        }
        if (done < batchSize) {
            curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
        }
    }
    return failures;
}

void setThroughput(benchmark::State& state, const Resource& resource, int requestsPerIteration)
{
    const auto requests = static_cast<std::int64_t>(state.iterations()) * requestsPerIteration;
    state.SetItemsProcessed(requests);
    state.SetBytesProcessed(requests * static_cast<std::int64_t>(resource.size));
}

// Fetches the resource with raw libcurl, with CurlHttpClient synchronously and
// asynchronously, and aborts unless all three bodies are the same and of the expected size.
void check(const Resource& resource)
{
    std::string raw;
    const auto easy = makeEasy(resource.url, raw);
    bench::require(performed(easy.get()), "raw libcurl GET " + resource.url, "failed");
    bench::require(raw.size() == resource.size, "raw libcurl GET " + resource.url, "wrong body size");

    const CurlHttpClient client;
    const auto response = client.makeRequest(get(resource));
    bench::require(response.getResponseCode() == HttpResponseCode::OK, "CurlHttpClient GET " + resource.url,
                   "status is not 200");
    bench::requireEqual("CurlHttpClient vs raw libcurl body of " + resource.url, raw, response.getResponseBodyString());

    const CurlHttpClient asyncClient(asyncConfiguration());
    auto [future, id] = asyncClient.makeAsyncRequest(get(resource));
    const auto asyncResponse = future.get();
    bench::requireEqual("CurlHttpClient async vs raw libcurl body of " + resource.url, raw,
                        asyncResponse.getResponseBodyString());
}

void getWithClient(benchmark::State& state, const Resource& resource)
{
    const CurlHttpClient client;
    for (auto _ : state) {
        const auto response = client.makeRequest(get(resource));
        if (response.getResponseCode() != HttpResponseCode::OK) {
            state.SkipWithError("a request did not answer 200");
            break;
        }
    }
    setThroughput(state, resource, 1);
}

void getWithEasy(benchmark::State& state, const Resource& resource)
{
    std::string body;
    const auto easy = makeEasy(resource.url, body);
    for (auto _ : state) {
        freshBody(body);
        if (!performed(easy.get())) {
            state.SkipWithError("a request failed");
            break;
        }
    }
    setThroughput(state, resource, 1);
}

void getAsyncWithClient(benchmark::State& state, const Resource& resource)
{
    const CurlHttpClient client(asyncConfiguration());
    for (auto _ : state) {
        if (runAsyncBatch(client, resource) != 0) {
            state.SkipWithError("a request did not answer 200");
            break;
        }
    }
    setThroughput(state, resource, batchSize);
}

void getAsyncWithMulti(benchmark::State& state, const Resource& resource)
{
    const Multi multi(curl_multi_init());
    std::array<std::string, inFlight> bodies;
    std::vector<Easy> handles;
    handles.reserve(bodies.size());
    for (auto& body : bodies) {
        handles.push_back(makeEasy(resource.url, body));
    }
    for (auto _ : state) {
        if (runMultiBatch(multi.get(), handles) != 0) {
            state.SkipWithError("a request failed");
            break;
        }
    }
    setThroughput(state, resource, batchSize);
}

// Registers one benchmark of resource, timed by the wall clock: the work runs
// on other threads and in the server.
void registerFor(const std::string& name, void (*run)(benchmark::State&, const Resource&), const Resource& resource)
{
    benchmark::RegisterBenchmark(name.c_str(), [run, &resource](benchmark::State& state) {
        run(state, resource);
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
    const std::vector<Resource> resources{
        {"1KiB", std::string(base) + "/1k.bin", 1024},
        {"1MiB", std::string(base) + "/1m.bin", std::size_t{1} << 20},
    };
    for (const auto& resource : resources) {
        check(resource);
        registerFor("BM_CurlHttpClient_Get" + resource.name, getWithClient, resource);
        registerFor("BM_CurlEasy_Get" + resource.name, getWithEasy, resource);
        registerFor("BM_CurlHttpClient_Async16x" + resource.name, getAsyncWithClient, resource);
        registerFor("BM_CurlMulti_Async16x" + resource.name, getAsyncWithMulti, resource);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    curl_global_cleanup();
    return 0;
}
