#include <httpclient_curl/CurlHttpClient.hpp>

#include "LoopbackServer.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using foundation::httpclient_curl::testing::fingerprint;
using foundation::httpclient_curl::testing::LoopbackServer;

namespace {

const std::string half = std::to_string(LoopbackServer::payload().size() / 2);

// Resumes, and retries every failed attempt (an exception or an error status) at once.
ClientConfiguration resumingUpTo(int attempts)
{
    return ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(defaultRetryStrategy(
        attempts, 0, std::chrono::seconds(1), [](HttpMethod, bool, HttpResponseCode) { return true; }));
}

class CurlHttpClientResume : public ::testing::Test {
protected:
    HttpResponse download(const std::string& path, int attempts)
    {
        HttpRequest request(HttpMethod::GET, URL{server.url(path)}, {});
        request.setClientConfiguration(resumingUpTo(attempts));
        return client.makeRequest(std::move(request));
    }

    LoopbackServer server;
    CurlHttpClient client;
};

} // namespace

TEST_F(CurlHttpClientResume, ContinuesACutDownloadWhereItStopped)
{
    const auto response = download("/cut-midway", 3);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::PartialContent);
    const std::string body = response.getResponseBodyString();
    EXPECT_EQ(body.size(), LoopbackServer::payload().size());
    EXPECT_EQ(fingerprint(body), fingerprint(LoopbackServer::payload()));
    const auto seen = server.seen("/cut-midway");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_FALSE(seen[0].hasHeader("Range"));
    EXPECT_EQ(seen[1].header("Range"), "bytes=" + half + "-");
}

TEST_F(CurlHttpClientResume, RestartsTheBodyWhenARangedRetryGetsTheWholeEntity)
{
    const auto response = download("/cut-then-full", 3);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    const std::string body = response.getResponseBodyString();
    EXPECT_EQ(body.size(), LoopbackServer::payload().size());
    EXPECT_EQ(fingerprint(body), fingerprint(LoopbackServer::payload()));
    EXPECT_EQ(server.seen("/cut-then-full").back().header("Range"), "bytes=" + half + "-");
}

TEST_F(CurlHttpClientResume, FailsARangedRetryWhoseContentRangeStartsElsewhere)
{
    EXPECT_THROW_MSG(download("/cut-then-wrong-range", 2), HttpRequestFailedException,
                     "Content-Range <bytes 0-65535/65536> from " + server.url("/cut-then-wrong-range") +
                         " does not start at byte " + half);
}

TEST_F(CurlHttpClientResume, StartsAfreshWithoutRangeAfterA416)
{
    const auto response = download("/cut-then-416", 4);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(fingerprint(response.getResponseBodyString()), fingerprint(LoopbackServer::payload()));
    const auto seen = server.seen("/cut-then-416");
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_FALSE(seen[0].hasHeader("Range"));
    EXPECT_EQ(seen[1].header("Range"), "bytes=" + half + "-");
    EXPECT_FALSE(seen[2].hasHeader("Range"));
}
