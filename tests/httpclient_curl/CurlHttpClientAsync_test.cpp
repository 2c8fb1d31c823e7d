#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/LoopbackServer.hpp>
#include <support/Requests.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::LoopbackServer;
using support::ready;

namespace {

constexpr auto patience = std::chrono::seconds(60);

// Futures that carry an exception are read only once the client is destroyed
// and its threads joined: libstdc++ counts references to an exception outside
// ThreadSanitizer's view, which would otherwise report the release of the
// client's last reference on one of its threads as racing with the test's
// read, even after waitForAsyncRequests.
class CurlHttpClientAsync : public ::testing::Test {
protected:
    HttpRequest request(const std::string& path) const
    {
        return HttpRequest(HttpMethod::GET, URL{server.url(path)}, {});
    }

    LoopbackServer server;
};

} // namespace

TEST_F(CurlHttpClientAsync, FulfilsTheFutureAfterARetryAndWaitsUntilTheLastRetrysHandlerHasReturned)
{
    CurlHttpClient client;
    auto [future, id] = client.makeAsyncRequest(request("/fail-once-then-ok"));
    EXPECT_EQ(id, 0UL);
    ASSERT_TRUE(ready(future));
    const auto response = future.get();
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseBodyString(), "ok");

    const LoopbackServer other;
    bool handled = false;
    client.makeAsyncRequest(support::get(other.url("/fail-once-then-ok")),
                            [&](HttpRequest, HttpResponse, const std::exception_ptr&) { handled = true; });
    client.waitForAsyncRequests();
    EXPECT_TRUE(handled);
    EXPECT_EQ(client.pendingAsyncRequests(), 0U);
    EXPECT_EQ(server.seen("/fail-once-then-ok").size() + other.seen("/fail-once-then-ok").size(), 4U);
}

TEST_F(CurlHttpClientAsync, CompletesTwoHundredRequestsExactlyOnceEachOnFourThreads)
{
    constexpr std::size_t count = 200;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> calls(count);
    std::vector<bool> succeeded(count);
    std::size_t finished = 0;
    CurlHttpClient client(ClientConfiguration().withMaxThreads(4));
    for (std::size_t i = 0; i < count; ++i) {
        auto sent = request("/echo");
        sent.setQueryParameters(QueryParameters{{"i", std::to_string(i)}});
        client.makeAsyncRequest(std::move(sent),
                                [&, i](HttpRequest, HttpResponse response, const std::exception_ptr& error) {
                                    const std::lock_guard<std::mutex> lock(mutex);
                                    ++calls[i];
                                    succeeded[i] = !error && response.getResponseBodyString() == "GET ";
                                    ++finished;
                                    changed.notify_all();
                                });
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, patience, [&] { return finished == count; }));
    }
    client.waitForAsyncRequests();
    EXPECT_EQ(client.pendingAsyncRequests(), 0U);
    EXPECT_THAT(calls, ::testing::Each(1));
    EXPECT_THAT(succeeded, ::testing::Each(true));
    EXPECT_EQ(server.seen("/echo").size(), count);
}

TEST_F(CurlHttpClientAsync, RunsHandlersOffTheTransferThreadsSoABlockingRetryStrategyStallsNoTransfer)
{
    std::promise<void> strategyBlocks;
    auto strategyBlocked = strategyBlocks.get_future();
    std::promise<void> otherCompletes;
    const std::shared_future<void> otherCompleted = otherCompletes.get_future().share();
    bool sawOtherComplete = false;
    CurlHttpClient client(ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(2));

    auto blocking = request("/fail-once-then-ok");
    blocking.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&](const HttpRequest&, const HttpResponse& response, const std::exception_ptr&, int attempt, int) {
            if (attempt > 1) {
                return false;
            }
            strategyBlocks.set_value();
            sawOtherComplete = otherCompleted.wait_for(patience) == std::future_status::ready;
            return response.getResponseCode() == HttpResponseCode::ServiceUnavailable;
        }));
    auto blocked = client.makeAsyncRequest(std::move(blocking)).first;
    ASSERT_EQ(strategyBlocked.wait_for(patience), std::future_status::ready);

    client.makeAsyncRequest(request("/echo"),
                            [&](HttpRequest, HttpResponse, const std::exception_ptr&) { otherCompletes.set_value(); });
    ASSERT_TRUE(ready(blocked));
    EXPECT_TRUE(sawOtherComplete);
    EXPECT_EQ(blocked.get().getResponseBodyString(), "ok");
}

TEST_F(CurlHttpClientAsync, CancelsAQueuedRequestAndThenARunningOne)
{
    std::future<HttpResponse> running;
    std::future<HttpResponse> queued;
    {
        CurlHttpClient client(
            ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(1).withRetryStrategy(noRetriesStrategy()));
        unsigned long runningId = 0;
        unsigned long queuedId = 0;
        std::tie(running, runningId) = client.makeAsyncRequest(request("/stall"));
        ASSERT_TRUE(server.waitForRequests("/stall", 1));
        std::tie(queued, queuedId) = client.makeAsyncRequest(request("/echo"));
        EXPECT_EQ(client.pendingAsyncRequests(), 2U);

        client.cancelAsyncRequest(queuedId);
        ASSERT_TRUE(ready(queued));
        EXPECT_EQ(running.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
        client.cancelAsyncRequest(runningId);
        ASSERT_TRUE(ready(running));
        client.waitForAsyncRequests();
        EXPECT_EQ(client.pendingAsyncRequests(), 0U);
    }
    EXPECT_THROW_MSG(queued.get(), HttpRequestCancelledException, "Request cancelled");
    EXPECT_THROW_MSG(running.get(), HttpRequestCancelledException, "Request cancelled");
    EXPECT_TRUE(server.seen("/echo").empty());
}

TEST_F(CurlHttpClientAsync, CancelsEveryRequestInFlightAtOnceAndOnDestruction)
{
    std::future<HttpResponse> futures[3];
    {
        CurlHttpClient client(ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
        futures[0] = client.makeAsyncRequest(request("/stall")).first;
        futures[1] = client.makeAsyncRequest(request("/stall")).first;
        ASSERT_TRUE(server.waitForRequests("/stall", 2));
        client.cancelAllAsyncRequests();
        client.waitForAsyncRequests();
        ASSERT_TRUE(ready(futures[0]) && ready(futures[1]));
        futures[2] = client.makeAsyncRequest(request("/stall")).first;
        ASSERT_TRUE(server.waitForRequests("/stall", 3));
    }
    for (auto& future : futures) {
        ASSERT_TRUE(ready(future));
        EXPECT_THROW_MSG(future.get(), HttpRequestCancelledException, "Request cancelled");
    }
}

TEST_F(CurlHttpClientAsync, StartsNoTransferAfterACancellationWhateverTheStrategySays)
{
    const auto retryEverything = [](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int attempt,
                                    int) { return attempt < 4; };
    const auto abortOnFirstBytes = [](const Progress& progress) {
        return progress.downloadNow > 0 ? ProgressResult::Abort : ProgressResult::Continue;
    };
    int handlerRuns = 0;
    std::exception_ptr handlerError;
    std::future<HttpResponse> cancelledById;
    {
        CurlHttpClient client(ClientConfiguration().withRetryStrategy(retryEverything));
        auto sync = request("/payload");
        sync.setProgressCallback(abortOnFirstBytes);
        EXPECT_THROW_MSG(client.makeRequest(std::move(sync)), HttpRequestCancelledException, "Request cancelled");
        EXPECT_EQ(server.seen("/payload").size(), 1U);

        auto async = request("/payload");
        async.setProgressCallback(abortOnFirstBytes);
        client.makeAsyncRequest(std::move(async), [&](HttpRequest, HttpResponse, std::exception_ptr error) {
            ++handlerRuns;
            handlerError = std::move(error);
        });
        client.waitForAsyncRequests();
        EXPECT_EQ(server.seen("/payload").size(), 2U);

        unsigned long id = 0;
        std::tie(cancelledById, id) = client.makeAsyncRequest(request("/stall"));
        ASSERT_TRUE(server.waitForRequests("/stall", 1));
        client.cancelAsyncRequest(id);
        client.waitForAsyncRequests();
        EXPECT_EQ(server.seen("/stall").size(), 1U);
    }
    EXPECT_EQ(handlerRuns, 1);
    EXPECT_THROW_MSG(std::rethrow_exception(handlerError), HttpRequestCancelledException, "Request cancelled");
    ASSERT_TRUE(ready(cancelledById));
    EXPECT_THROW_MSG(cancelledById.get(), HttpRequestCancelledException, "Request cancelled");
}
