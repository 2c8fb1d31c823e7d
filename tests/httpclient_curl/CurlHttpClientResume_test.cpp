#include <httpclient_curl/CurlHttpClient.hpp>

#include <support/LoopbackServer.hpp>
#include <support/ScriptedServer.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::fingerprint;
using support::LoopbackServer;
using support::ScriptedReply;
using support::ScriptedServer;

namespace {

const std::string halfRange = "bytes=" + std::to_string(LoopbackServer::payload().size() / 2) + "-";
const std::string entity = "0123456789abcdefghij";

// A reply head for entity.
std::string head(const std::string& status, const std::string& fields)
{
    return "HTTP/1.1 " + status + "\r\n" + fields + "\r\n";
}
const std::string whole = "Accept-Ranges: bytes\r\nETag: \"v1\"\r\nContent-Length: 20\r\n";

class CurlHttpClientResume : public ::testing::Test {
protected:
    // Resumes, and retries every failed attempt (an exception or an error status) at once.
    HttpResponse download(const std::string& path, int attempts) { return download(URL{server.url(path)}, attempts); }

    HttpResponse download(URL url, int attempts)
    {
        HttpRequest request(HttpMethod::GET, std::move(url), {});
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

TEST_F(CurlHttpClientResume, ResumesOnlyWhereTheBodyEndsAndOnlyTheSameEntity)
{
    // The Range and If-Range of each request ("" for none).
    const struct {
        const char* name;
        std::vector<ScriptedReply> replies;
        std::string body;
        std::vector<std::string> ranges;
        std::vector<std::string> ifRanges;
    } rows[] = {
        {"a cut 200, a cut 206, a clean 206",
         {{head("200 OK", whole) + entity.substr(0, 8)},
          {head("206 Partial Content", "Accept-Ranges: bytes\r\nETag: \"v1\"\r\nContent-Range: bytes 8-19/20\r\n"
                                       "Content-Length: 12\r\n") +
           entity.substr(8, 6)},
          {head("206 Partial Content", "ETag: \"v1\"\r\nContent-Range: bytes 14-19/20\r\nContent-Length: 6\r\n") +
           entity.substr(14)}},
         entity,
         {"", "bytes=8-", "bytes=14-"},
         {"", "\"v1\"", "\"v1\""}},
        {"a cut 206 without Accept-Ranges restarts without a range",
         {{head("200 OK", whole) + entity.substr(0, 8)},
          {head("206 Partial Content", "ETag: \"v1\"\r\nContent-Range: bytes 8-19/20\r\nContent-Length: 12\r\n") +
           entity.substr(8, 6)},
          {head("200 OK", whole) + entity}},
         entity,
         {"", "bytes=8-", ""},
         {"", "\"v1\"", ""}},
        {"a reply cut inside its header block is retried",
         {{"HTTP/1.1 200 OK\r\n"}, {head("200 OK", whole) + entity}},
         entity,
         {"", ""},
         {"", ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ScriptedServer scripted(row.replies);
        const auto response = download(URL{scripted.url("/file")}, 4);
        EXPECT_EQ(response.getResponseBodyString(), row.body);
        std::vector<std::string> ranges;
        std::vector<std::string> ifRanges;
        for (const auto& received : scripted.received()) {
            ranges.push_back(received.header("Range"));
            ifRanges.push_back(received.header("If-Range"));
        }
        EXPECT_EQ(ranges, row.ranges);
        EXPECT_EQ(ifRanges, row.ifRanges);
    }
}

TEST_F(CurlHttpClientResume, NeverReportsMoreProgressThanTheBodyHolds)
{
    HttpRequest request(HttpMethod::GET, URL{server.url("/cut-then-full")}, {});
    std::int64_t most = 0;
    std::int64_t last = 0;
    request.setProgressCallback([&](const Progress& progress) {
        most = std::max(most, progress.downloadNow);
        last = progress.downloadNow;
        return ProgressResult::Continue;
    });
    request.setClientConfiguration(ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        [](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int attempt, int) {
            return error && attempt < 3;
        }));
    const auto response = client.makeRequest(std::move(request));
    const auto size = static_cast<std::int64_t>(LoopbackServer::payload().size());
    EXPECT_EQ(response.getResponseBodyString().size(), LoopbackServer::payload().size());
    EXPECT_EQ(most, size);
    EXPECT_EQ(last, size);
}
