#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/LoopbackServer.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::fingerprint;
using support::LoopbackServer;

namespace {

const std::string halfRange = "bytes=" + std::to_string(LoopbackServer::payload().size() / 2) + "-";

class CurlHttpClientResume : public ::testing::Test {
protected:
    // Resumes, and retries every failed attempt (an exception or an error status) at once.
    HttpResponse download(const std::string& path, int attempts)
    {
        HttpRequest request(HttpMethod::GET, URL{server.url(path)}, {});
        request.setClientConfiguration(
            ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(defaultRetryStrategy(
                attempts, 0, std::chrono::seconds(1), [](HttpMethod, bool, HttpResponseCode) { return true; })));
        return client.makeRequest(std::move(request));
    }

    LoopbackServer server;
    CurlHttpClient client;
};

} // namespace

TEST_F(CurlHttpClientResume, ContinuesACutDownloadOrStartsAfreshWhenTheRangedRetryGetsAllOrA416)
{
    // The Range header of each request, "" for none.
    const struct {
        std::string path;
        HttpResponseCode code;
        std::vector<std::string> ranges;
    } rows[] = {
        {"/cut-midway", HttpResponseCode::PartialContent, {"", halfRange}},
        {"/cut-then-full", HttpResponseCode::OK, {"", halfRange}},
        {"/cut-then-416", HttpResponseCode::OK, {"", halfRange, ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const auto response = download(row.path, 4);
        EXPECT_EQ(response.getResponseCode(), row.code);
        EXPECT_EQ(fingerprint(response.getResponseBodyString()), fingerprint(LoopbackServer::payload()));
        std::vector<std::string> ranges;
        for (const auto& seen : server.seen(row.path)) {
            ranges.push_back(seen.header("Range"));
        }
        EXPECT_EQ(ranges, row.ranges);
    }
}

TEST_F(CurlHttpClientResume, FailsARangedRetryWhoseContentRangeStartsElsewhere)
{
    EXPECT_THROW_MSG(download("/cut-then-wrong-range", 2), HttpRequestFailedException,
                     "Content-Range <bytes 0-65535/65536> from " + server.url("/cut-then-wrong-range") +
                         " does not start at byte 32768");
}
