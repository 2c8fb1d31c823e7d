// The client against real servers from the system, each started on 127.0.0.1
// with a configuration of its own: httpbin for redirects of requests with a
// body, nginx for TLS, HTTP/2, compression, the User-Agent and connection
// reuse, squid for proxying.
#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/HttpbinServer.hpp>
#include <support/NginxServer.hpp>
#include <support/Requests.hpp>
#include <support/SquidProxy.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <set>
#include <sstream>
#include <streambuf>
#include <thread>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::get;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

ClientConfiguration once()
{
    return ClientConfiguration().withRetryStrategy(noRetriesStrategy());
}

HttpRequest post(const std::string& url, std::unique_ptr<std::istream> body, std::size_t length)
{
    HttpRequest request(HttpMethod::POST, URL{url}, {});
    request.setHeaderValue(HttpHeaders::CONTENT_TYPE, "text/plain");
    request.setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(length));
    request.setRequestBody(std::move(body));
    return request;
}

// Reads like any stream but cannot go back.
class ForwardOnly : public std::streambuf {
public:
    explicit ForwardOnly(std::string text) : text(std::move(text))
    {
        setg(this->text.data(), this->text.data(), this->text.data() + this->text.size());
    }

private:
    std::string text;
};

std::set<std::string> connections(const std::vector<support::NginxLogEntry>& log)
{
    std::set<std::string> seen;
    for (const auto& entry : log) {
        seen.insert(entry.connection);
    }
    return seen;
}

} // namespace

TEST(CurlHttpClientRedirects, FollowsSeeOtherOfAPostAsABodilessGetAndATemporaryOneWithTheWholeBody)
{
    const support::HttpbinServer httpbin;
    // A GET that still announced the body would leave the server waiting for it.
    const CurlHttpClient client(once().withRequestTimeout(10000));
    const struct {
        int status;
        const char* method;
        bool keepsBody;
    } rows[] = {
        {301, "GET", false}, {302, "GET", false}, {303, "GET", false}, {307, "POST", true}, {308, "POST", true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        const std::string url = httpbin.url("/redirect-to?url=/anything&status_code=" + std::to_string(row.status));
        auto response = client.makeRequest(
            post(url, std::make_unique<std::istringstream>("the body"), std::string("the body").size()));
        ASSERT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_EQ(response.getTransactionReport().redirectCount(), 1);
        const std::string echoed = response.getResponseBodyString();
        EXPECT_THAT(echoed, HasSubstr(std::string("\"method\":\"") + row.method + "\""));
        if (row.keepsBody) {
            EXPECT_THAT(echoed, HasSubstr("\"data\":\"the body\""));
        } else {
            EXPECT_THAT(echoed, HasSubstr("\"data\":\"\""));
            EXPECT_THAT(echoed, Not(HasSubstr("Content-Length")));
            EXPECT_THAT(echoed, Not(HasSubstr("Content-Type")));
        }
    }
}

TEST(CurlHttpClientRedirects, FailsClearlyWhenATemporaryRedirectNeedsABodyThatCannotBeRewound)
{
    const support::HttpbinServer httpbin;
    const CurlHttpClient client(once().withRequestTimeout(10000));
    const std::string url = httpbin.url("/redirect-to?url=/anything&status_code=307");
    ForwardOnly buffer("the body");
    auto body = std::make_unique<std::istream>(&buffer);
    EXPECT_THROW_MSG(client.makeRequest(post(url, std::move(body), 8)), HttpRequestFailedException,
                     "Request to " + url + " failed: the request body cannot be rewound to send it again");
}

class CurlHttpClientNginx : public ::testing::Test {
protected:
    void SetUp() override { nginx.putFile("file.txt", std::string(100000, 'n')); }

    support::NginxServer nginx;
};

TEST_F(CurlHttpClientNginx, NegotiatesHttp2OverTlsAndMultiplexesAsyncTransfersOnOneConnection)
{
    const CurlHttpClient client(
        once().withCertificateFile(nginx.certificateAuthority()).withMaxThreads(1).withMaxRequestsPerThread(8));
    // The first transfer opens the connection; the rest join it.
    client.makeRequest(get(nginx.tlsUrl("/file.txt")));
    std::vector<std::future<HttpResponse>> futures;
    for (int i = 0; i < 8; ++i) {
        futures.push_back(client.makeAsyncRequest(get(nginx.tlsUrl("/file.txt"))).first);
    }
    for (auto& future : futures) {
        ASSERT_TRUE(support::ready(future));
        EXPECT_EQ(future.get().getResponseBodyString().size(), 100000U);
    }
    const auto log = nginx.log(9);
    ASSERT_EQ(log.size(), 9U);
    for (const auto& entry : log) {
        EXPECT_EQ(entry.protocol, "HTTP/2.0");
    }
    EXPECT_EQ(connections(log).size(), 1U);
}

TEST_F(CurlHttpClientNginx, OpensNoMoreConnectionsThanTransfersRunAtOnceAcrossThreadsAndEventLoops)
{
    const CurlHttpClient client(once().withMaxThreads(2).withMaxRequestsPerThread(2));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5; ++i) {
                client.makeRequest(get(nginx.url("/file.txt")));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int batch = 0; batch < 2; ++batch) {
        std::vector<std::future<HttpResponse>> futures;
        for (int i = 0; i < 8; ++i) {
            futures.push_back(client.makeAsyncRequest(get(nginx.url("/file.txt"))).first);
        }
        for (auto& future : futures) {
            ASSERT_TRUE(support::ready(future));
            EXPECT_EQ(future.get().getResponseCode(), HttpResponseCode::OK);
        }
    }
    const auto log = nginx.log(36);
    ASSERT_EQ(log.size(), 36U);
    EXPECT_LE(connections(log).size(), 4U);
}

TEST_F(CurlHttpClientNginx, SendsItsOwnUserAgentUnlessTheRequestSetsOneOrAnEmptyOne)
{
    const CurlHttpClient client(once());
    const struct {
        const char* header;
        std::string logged;
    } rows[] = {{nullptr, "httpclient_core/" HTTPCLIENT_CORE_VERSION}, {"mine/2", "mine/2"}, {"", "-"}};
    for (const auto& row : rows) {
        auto request = get(nginx.url("/file.txt"));
        if (row.header != nullptr) {
            request.setHeaderValue("User-Agent", row.header);
        }
        client.makeRequest(std::move(request));
    }
    const auto log = nginx.log(3);
    ASSERT_EQ(log.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(log[i].userAgent, rows[i].logged);
    }
}

TEST_F(CurlHttpClientNginx, AsksForCompressionOnlyWhenConfiguredAndNeverForARangeOrAResumableRequest)
{
    const struct {
        bool compressed;
        bool resumable;
        const char* range;
        const char* acceptEncoding;
        std::size_t bodySize;
    } rows[] = {
        {false, false, nullptr, "-", 100000},
        {true, false, nullptr, "deflate, gzip, br, zstd", 100000},
        {true, true, nullptr, "identity", 100000},
        {true, false, "bytes=0-", "identity", 100000},
    };
    for (const auto& row : rows) {
        const CurlHttpClient client(once().withAcceptCompressed(row.compressed).withResumeOnRetry(row.resumable));
        auto request = get(nginx.url("/file.txt"));
        if (row.range != nullptr) {
            request.setHeaderValue("Range", row.range);
        }
        EXPECT_EQ(client.makeRequest(std::move(request)).getResponseBodyString(), std::string(row.bodySize, 'n'));
    }
    const auto log = nginx.log(std::size(rows));
    ASSERT_EQ(log.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(log[i].acceptEncoding, rows[i].acceptEncoding);
    }
}

TEST(CurlHttpClientProxy, AnswersWithoutCredentials407AndForwardsOrTunnelsWithThem)
{
    const support::NginxServer nginx;
    nginx.putFile("file.txt", "through the proxy");
    const support::SquidProxy squid("alice", "secret");
    {
        const CurlHttpClient anonymous(once().withProxy(squid.url()));
        EXPECT_EQ(anonymous.makeRequest(get(nginx.url("/file.txt"))).getResponseCode(),
                  HttpResponseCode::ProxyAuthenticationRequired);
        const CurlHttpClient client(once()
                                        .withProxy("http://alice:secret@" + squid.address())
                                        .withCertificateFile(nginx.certificateAuthority()));
        for (const auto& url : {nginx.url("/file.txt"), nginx.tlsUrl("/file.txt")}) {
            SCOPED_TRACE(url);
            const auto response = client.makeRequest(get(url));
            EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
            EXPECT_EQ(response.getResponseBodyString(), "through the proxy");
        }
    }
    // Squid logs a tunnel when it closes, which the clients' ends above bring
    // about.
    const auto log = squid.log(3);
    ASSERT_EQ(log.size(), 3U);
    EXPECT_THAT(log[0], HasSubstr("TCP_DENIED/407"));
    EXPECT_EQ(log[1], "GET " + nginx.url("/file.txt") + " TCP_MISS/200");
    EXPECT_THAT(log[2], ::testing::StartsWith("CONNECT " + nginx.tlsUrl("").substr(8) + " TCP_TUNNEL/200"));
}
