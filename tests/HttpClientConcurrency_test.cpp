// Many threads use one client at once while another replaces its
// configuration; run under ThreadSanitizer.
#include <httpclient_core/HttpClient.hpp>

#include "support/Requests.hpp"

#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace foundation::httpclient_core;

TEST(HttpClientConcurrency, SynchronousAndAsynchronousRequestsRunBesideConfigurationChanges)
{
    constexpr int threads = 4;
    constexpr int requestsPerThread = 50;
    foundation::httpclient_scripted::ScriptedHttpClient client;
    client.setRecording(false);
    client.setDefaultReply(foundation::httpclient_scripted::ScriptedReply::status(HttpResponseCode::OK, "OK"));
    std::atomic<int> completed{0};
    std::atomic<bool> stop{false};

    std::thread configurer([&] {
        for (long round = 0; !stop; ++round) {
            client.setClientConfiguration(ClientConfiguration().withMaxRedirects(round % 10));
            EXPECT_GE(client.getClientConfiguration().maxRedirects(), 0);
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < requestsPerThread; ++i) {
                if ((t + i) % 2 == 0) {
                    EXPECT_EQ(client.makeRequest(support::get()).getResponseCode(), HttpResponseCode::OK);
                    ++completed;
                } else {
                    client.makeAsyncRequest(support::get(),
                                            [&completed](HttpRequest, HttpResponse response, std::exception_ptr error) {
                                                EXPECT_FALSE(error);
                                                EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
                                                ++completed;
                                            });
                }
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    client.waitForAsyncRequests();
    stop = true;
    configurer.join();
    EXPECT_EQ(completed, threads * requestsPerThread);
    EXPECT_EQ(client.pendingAsyncRequests(), 0U);
}
