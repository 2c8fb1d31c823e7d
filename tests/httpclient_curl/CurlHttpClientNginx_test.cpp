// The libcurl client against nginx from Debian, behind a relay that cuts,
// resets and stalls its replies.
#include <httpclient_curl/CurlHttpClient.hpp>

#include <support/FaultyProxy.hpp>
#include <support/LoopbackServer.hpp>
#include <support/Nginx.hpp>
#include <support/Requests.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <future>
#include <random>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::Fault;
using support::FaultyProxy;
using support::fingerprint;

namespace {

std::string randomBytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (auto& byte : bytes) {
        byte = static_cast<char>(random() & 0xff);
    }
    return bytes;
}

// Resumes and retries every failed attempt at once, up to attempts in all.
ClientConfiguration resuming(int attempts)
{
    return ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        [attempts](const HttpRequest&, const HttpResponse& response, const std::exception_ptr& error, int attempt,
                   int) { return attempt < attempts && (error || !isSuccess(response)); });
}

} // namespace

TEST(CurlHttpClientNginx, RestartsWhenTheFileChangesBetweenAttempts)
{
    std::mt19937 random(7);
    const std::string before = randomBytes(random, 64 * 1024);
    const std::string after = randomBytes(random, 96 * 1024);
    support::Nginx nginx;
    nginx.putFile("file", before);
    FaultyProxy proxy(nginx.port(), {Fault{Fault::Kind::Cut, 20000, {}}});
    CurlHttpClient client;
    auto request = support::get(proxy.url("/file"));
    request.setClientConfiguration(ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int attempt, int) {
            nginx.putFile("file", after);
            return error && attempt == 1;
        }));
    const auto response = client.makeRequest(std::move(request));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(fingerprint(response.getResponseBodyString()), fingerprint(after));
    EXPECT_EQ(proxy.connections(), 2U);
}

TEST(CurlHttpClientNginx, DeliversEveryFileIntactThroughRandomCutsResetsAndStalls)
{
    std::mt19937 random(2026);
    std::vector<std::string> files;
    support::Nginx nginx;
    for (int i = 0; i < 8; ++i) {
        files.push_back(randomBytes(random, 16 * 1024 + random() % (192 * 1024)));
        nginx.putFile("file-" + std::to_string(i), files.back());
    }
    FaultyProxy proxy(nginx.port(), FaultyProxy::randomFaults(2026, 2000, 256 * 1024));
    CurlHttpClient client(ClientConfiguration().withMaxThreads(2).withMaxRequestsPerThread(4));
    constexpr std::size_t downloads = 300;
    std::vector<std::future<HttpResponse>> futures;
    for (std::size_t i = 0; i < downloads; ++i) {
        auto request = support::get(proxy.url("/file-" + std::to_string(i % files.size())));
        request.setClientConfiguration(resuming(40));
        futures.push_back(client.makeAsyncRequest(std::move(request)).first);
    }
    for (std::size_t i = 0; i < downloads; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(support::ready(futures[i]));
        const auto response = futures[i].get();
        EXPECT_TRUE(isSuccess(response));
        EXPECT_EQ(fingerprint(response.getResponseBodyString()), fingerprint(files[i % files.size()]));
    }
}
