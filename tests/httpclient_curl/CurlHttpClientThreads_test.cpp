// The libcurl client when the system refuses to start threads. This file
// interposes pthread_create for its own process.
#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/LoopbackServer.hpp>
#include <support/Requests.hpp>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::LoopbackServer;

namespace {

// Only the test's own thread is refused: the loopback server starts threads of
// its own meanwhile, from its listener thread.
std::atomic<bool> refuseThreads{false};
const pthread_t testThread = pthread_self();

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument)
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    const bool refused = refuseThreads && pthread_equal(pthread_self(), testThread) != 0;
    return refused ? EAGAIN : next(thread, attributes, start, argument);
}

TEST(CurlHttpClientThreads, FailsARequestNoThreadCanRunAndGoesOnWithTheThreadsItHas)
{
    LoopbackServer server;
    const std::string url = server.url("/echo");
    std::vector<std::future<HttpResponse>> futures;
    {
        CurlHttpClient client(ClientConfiguration().withMaxThreads(4).withMaxRequestsPerThread(1));
        refuseThreads = true;
        EXPECT_THROW_MSG(static_cast<void>(client.makeAsyncRequest(support::get(url))), HttpRequestFailedException,
                         "Request to " + url + " failed: no thread could be started to run it");
        EXPECT_EQ(client.pendingAsyncRequests(), 0U);
        refuseThreads = false;
        EXPECT_EQ(client.makeAsyncRequest(support::get(url)).first.get().getResponseBodyString(), "GET ");

        refuseThreads = true;
        for (int i = 0; i < 3; ++i) {
            futures.push_back(client.makeAsyncRequest(support::get(url)).first);
        }
        for (auto& future : futures) {
            ASSERT_TRUE(support::ready(future));
            EXPECT_EQ(future.get().getResponseBodyString(), "GET ");
        }
        client.waitForAsyncRequests();
        refuseThreads = false;
    }
    EXPECT_EQ(server.seen("/echo").size(), 4U);
}
