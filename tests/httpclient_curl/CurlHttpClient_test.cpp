#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_curl/TransferFailedException.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/LoopbackServer.hpp>
#include <support/Requests.hpp>
#include <support/ScriptedServer.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using foundation::httpclient_curl::TransferFailedException;
using foundation::httpclient_curl::TransferFailure;
using support::fingerprint;
using support::get;
using support::LoopbackServer;

static_assert(std::is_default_constructible_v<CurlHttpClient>);
static_assert(!std::is_copy_constructible_v<CurlHttpClient>);
static_assert(std::is_base_of_v<HttpClient, CurlHttpClient>);
// Its destructor waits for the threads that call its virtual functions.
static_assert(std::is_final_v<CurlHttpClient>);

namespace {

class CurlHttpClientSync : public ::testing::Test {
protected:
    HttpRequest request(HttpMethod method, const std::string& path) const
    {
        return HttpRequest(method, URL{server.url(path)}, {});
    }

    LoopbackServer server;
    CurlHttpClient client;
};

} // namespace

TEST_F(CurlHttpClientSync, SendsEveryMethodWithItsBodyOrAnEmptyOne)
{
    const struct {
        HttpMethod method;
        std::optional<std::string> body;
        std::string seenMethod, reply;
    } rows[] = {
        {HttpMethod::GET, std::nullopt, "GET", "GET "},
        {HttpMethod::HEAD, std::nullopt, "HEAD", ""},
        {HttpMethod::DELETE, std::nullopt, "DELETE", "DELETE "},
        {HttpMethod::POST, "posted", "POST", "POST posted"},
        {HttpMethod::PUT, "put", "PUT", "PUT put"},
        {HttpMethod::PATCH, "patched", "PATCH", "PATCH patched"},
        {HttpMethod::POST, std::nullopt, "POST", "POST "},
        {HttpMethod::PUT, std::nullopt, "PUT", "PUT "},
        {HttpMethod::PATCH, std::nullopt, "PATCH", "PATCH "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.seenMethod + " " + row.body.value_or("(no body)"));
        auto sent = request(row.method, "/echo");
        if (row.body) {
            sent.setRequestBody(*row.body);
        }
        const auto response = client.makeRequest(std::move(sent));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_EQ(response.getResponseBodyString(), row.reply);
        const auto seen = server.seen("/echo").back();
        EXPECT_EQ(seen.method, row.seenMethod);
        EXPECT_EQ(seen.body, row.body.value_or(""));
    }
}

TEST_F(CurlHttpClientSync, StreamsARequestBodyWithItsLengthOrChunked)
{
    const std::string text = LoopbackServer::payload();
    auto sized = request(HttpMethod::POST, "/echo");
    sized.setRequestBody(std::make_unique<std::istringstream>(text));
    sized.setContentLength(std::to_string(text.size()));
    EXPECT_EQ(client.makeRequest(std::move(sized)).getResponseCode(), HttpResponseCode::OK);
    const auto sizedSeen = server.seen("/echo").back();
    EXPECT_EQ(fingerprint(sizedSeen.body), fingerprint(text));
    EXPECT_EQ(sizedSeen.header("Content-Length"), std::to_string(text.size()));
    EXPECT_FALSE(sizedSeen.headers.hasHeader("Content-Type"));

    auto chunked = request(HttpMethod::PUT, "/echo");
    chunked.setRequestBody(std::make_unique<std::istringstream>(text));
    chunked.setTransferEncoding("chunked");
    EXPECT_EQ(client.makeRequest(std::move(chunked)).getResponseCode(), HttpResponseCode::OK);
    const auto chunkedSeen = server.seen("/echo").back();
    EXPECT_EQ(fingerprint(chunkedSeen.body), fingerprint(text));
    EXPECT_EQ(chunkedSeen.header("Transfer-Encoding"), "chunked");
    EXPECT_FALSE(chunkedSeen.headers.hasHeader("Content-Length"));
}

TEST_F(CurlHttpClientSync, WritesTheBodyIntoTheStreamItsFactoryChoosesByStatus)
{
    const auto file =
        std::filesystem::temp_directory_path() / ("httpclient_curl_body_" + std::to_string(::getpid()) + ".bin");
    const auto fileContents = [&file] {
        std::ifstream in(file, std::ios::binary);
        return fingerprint(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
    };
    std::vector<HttpResponseCode> asked;
    const auto factory = [&](HttpResponseCode code, const std::string&,
                             const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        asked.push_back(code);
        if (code == HttpResponseCode::OK) {
            return std::make_unique<std::fstream>(file,
                                                  std::ios::in | std::ios::out | std::ios::binary | std::ios::trunc);
        }
        return std::make_unique<std::stringstream>();
    };
    client.makeRequest(std::move(request(HttpMethod::GET, "/payload").withResponseStreamFactory(factory)));
    EXPECT_EQ(fileContents(), fingerprint(LoopbackServer::payload()));
    const auto missing =
        client.makeRequest(std::move(request(HttpMethod::GET, "/status/404").withResponseStreamFactory(factory)));
    EXPECT_EQ(missing.getResponseBodyString(), "status 404");
    EXPECT_EQ(fileContents(), fingerprint(LoopbackServer::payload()));
    EXPECT_EQ(asked, (std::vector<HttpResponseCode>{HttpResponseCode::OK, HttpResponseCode::NotFound}));
    std::filesystem::remove(file);
}

TEST_F(CurlHttpClientSync, ReturnsAnErrorStatusAsAResponse)
{
    const auto missing = client.makeRequest(request(HttpMethod::GET, "/status/404"));
    EXPECT_EQ(missing.getResponseCode(), HttpResponseCode::NotFound);
    EXPECT_EQ(missing.getResponseCodeReason(), "Not Found");
    EXPECT_EQ(missing.getHeaderValue("Content-Type"), "text/plain");
}

TEST_F(CurlHttpClientSync, FollowsRedirectsKeepingOnlyTheFinalHopsHeadersUnlessTheRequestSaysNot)
{
    const auto response = client.makeRequest(request(HttpMethod::GET, "/redirect/3"));
    EXPECT_EQ(response.getResponseBodyString(), "landed");
    EXPECT_FALSE(response.hasHeader("Location"));
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 3);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL{server.url("/redirect/0")});

    auto unfollowed = request(HttpMethod::GET, "/redirect/3");
    unfollowed.setClientConfiguration(ClientConfiguration().withFollowRedirects(false));
    const auto redirect = client.makeRequest(std::move(unfollowed));
    EXPECT_EQ(redirect.getResponseCode(), HttpResponseCode::Found);
    EXPECT_EQ(redirect.getHeaderValue("Location"), "/redirect/2");
    EXPECT_EQ(redirect.getTransactionReport().redirectCount(), 0);
}

TEST_F(CurlHttpClientSync, FailsAfterTooManyRedirectsNamingTheLimitAndTheURL)
{
    client.setClientConfiguration(ClientConfiguration().withMaxRedirects(2).withRetryStrategy(noRetriesStrategy()));
    try {
        client.makeRequest(request(HttpMethod::GET, "/redirect-loop"));
        FAIL() << "expected TransferFailedException";
    } catch (const TransferFailedException& error) {
        EXPECT_EQ(error.cause(), TransferFailure::TooManyRedirects);
        EXPECT_EQ(std::string(error.what()),
                  "Request to " + server.url("/redirect-loop") + " failed: Maximum (2) redirects followed");
    }
    EXPECT_EQ(server.seen("/redirect-loop").size(), 3U);
}

TEST_F(CurlHttpClientSync, FailsWithTheURLAndLibcurlsOwnTextWhenNothingListens)
{
    const std::string url = "http://127.0.0.1:" + std::to_string(support::closedPort()) + "/";
    try {
        client.makeRequest(get(url));
        FAIL() << "expected TransferFailedException";
    } catch (const TransferFailedException& error) {
        EXPECT_EQ(error.cause(), TransferFailure::Connect);
        EXPECT_THAT(error.what(), ::testing::StartsWith("Request to " + url + " failed: Failed to connect"));
    }
}

TEST_F(CurlHttpClientSync, TracesNotesAndEveryHeadSentAndReceivedAcrossRedirects)
{
    using foundation::httpclient_curl::TraceKind;
    std::vector<std::pair<TraceKind, std::string>> lines;
    const CurlHttpClient traced(ClientConfiguration(),
                                [&lines](TraceKind kind, std::string_view line) { lines.emplace_back(kind, line); });
    ASSERT_EQ(traced.makeRequest(request(HttpMethod::GET, "/redirect/1")).getResponseBodyString(), "landed");
    const auto has = [&lines](TraceKind kind, const std::string& line) {
        return std::count(lines.begin(), lines.end(), std::make_pair(kind, line));
    };
    EXPECT_EQ(has(TraceKind::HeaderOut, "GET /redirect/1 HTTP/1.1"), 1);
    EXPECT_EQ(has(TraceKind::HeaderOut, "GET /redirect/0 HTTP/1.1"), 1);
    EXPECT_EQ(has(TraceKind::HeaderIn, "HTTP/1.1 302 Found"), 1);
    EXPECT_EQ(has(TraceKind::HeaderIn, "Location: /redirect/0"), 1);
    EXPECT_EQ(has(TraceKind::HeaderIn, "HTTP/1.1 200 OK"), 1);
    EXPECT_EQ(has(TraceKind::HeaderIn, ""), 2);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().first, TraceKind::Note);
}

TEST_F(CurlHttpClientSync, CancelsWhenTheProgressCallbackAborts)
{
    std::vector<Progress> reports;
    auto sent = request(HttpMethod::GET, "/payload");
    sent.setProgressCallback([&](const Progress& progress) {
        reports.push_back(progress);
        return progress.downloadNow > 0 ? ProgressResult::Abort : ProgressResult::Continue;
    });
    EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), HttpRequestCancelledException, "Request cancelled");
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back().downloadTotal, static_cast<std::int64_t>(LoopbackServer::payload().size()));
    EXPECT_EQ(reports.back().uploadTotal, 0);
}

TEST_F(CurlHttpClientSync, TimesOutWhenAReplyStallsOrAListenerNeverAnswers)
{
    client.setClientConfiguration(ClientConfiguration().withIdleTimeout(1000).withRetryStrategy(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(request(HttpMethod::GET, "/stall")), HttpRequestTimeoutException,
                     "Request timed out.");

    const support::UnansweredListener listener;
    client.setClientConfiguration(ClientConfiguration().withConnectTimeout(200).withRetryStrategy(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(get("http://127.0.0.1:" + std::to_string(listener.port) + "/")),
                     HttpRequestTimeoutException, "Request timed out.");
}

TEST_F(CurlHttpClientSync, FailsAnIdleTransferSoonAfterItsLastByteEvenAfterAFastBurst)
{
    client.setClientConfiguration(ClientConfiguration().withIdleTimeout(1000).withRetryStrategy(noRetriesStrategy()));
    auto sent = request(HttpMethod::GET, "/burst-then-stall");
    std::chrono::steady_clock::time_point lastByte;
    std::int64_t received = 0;
    sent.setProgressCallback([&](const Progress& progress) {
        if (progress.downloadNow != received) {
            received = progress.downloadNow;
            lastByte = std::chrono::steady_clock::now();
        }
        return ProgressResult::Continue;
    });
    EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), HttpRequestTimeoutException, "Request timed out.");
    EXPECT_EQ(received, 2 * 1024 * 1024);
    // libcurl's own check, averaging over several seconds, fires 5 to 7 seconds after such a burst.
    EXPECT_LT(std::chrono::steady_clock::now() - lastByte, std::chrono::milliseconds(2500));
}

TEST_F(CurlHttpClientSync, EndsAnAttemptThatOutlastsTheRequestTimeoutHoweverSteadilyBytesTrickle)
{
    client.setClientConfiguration(
        ClientConfiguration().withRequestTimeout(1000).withRetryStrategy(noRetriesStrategy()));
    auto [future, id] = client.makeAsyncRequest(request(HttpMethod::GET, "/trickle"));
    ASSERT_TRUE(support::ready(future));
    EXPECT_THROW_MSG(future.get(), HttpRequestTimeoutException, "Request timed out.");
}

TEST_F(CurlHttpClientSync, MergesQueryParametersIntoTheURLsQueryAndNeverSendsTheFragment)
{
    const struct {
        const char* path;
        std::optional<QueryParameters> parameters;
        const char* target;
    } rows[] = {
        {"/echo?x=1", QueryParameters{{"a", "1"}}, "/echo?x=1&a=1"},
        {"/echo#top", QueryParameters{{"a", "1"}}, "/echo?a=1"},
        {"/echo?x=1#top", QueryParameters{{"a", "b c"}}, "/echo?x=1&a=b%20c"},
        {"/echo?", QueryParameters{{"a", "1"}}, "/echo?a=1"},
        {"/echo#top", std::nullopt, "/echo"},
    };
    for (const auto& row : rows) {
        auto sent = request(HttpMethod::GET, row.path);
        if (row.parameters) {
            sent.setQueryParameters(*row.parameters);
        }
        client.makeRequest(std::move(sent));
    }
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(seen[i].target, rows[i].target) << rows[i].path;
    }
}

TEST_F(CurlHttpClientSync, ReusesTheConnectionAcrossRequestsAndThreads)
{
    client.makeRequest(request(HttpMethod::GET, "/echo"));
    std::thread([&] { client.makeRequest(request(HttpMethod::GET, "/echo")); }).join();
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].remotePort, seen[1].remotePort);
}

TEST_F(CurlHttpClientSync, RefusesAContentLengthOrMethodItCannotSendBeforeSendingAnything)
{
    const std::string url = server.url("/echo");
    for (const std::string length : {"abc", "-1", "12 bytes", ""}) {
        SCOPED_TRACE(length);
        auto sent = request(HttpMethod::POST, "/echo");
        sent.setRequestBody("x");
        sent.setContentLength(length);
        EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), HttpRequestFailedException,
                         "Content-Length <" + length + "> of the request to " + url + " is not a byte count");
    }
    EXPECT_THROW_MSG(client.makeRequest(request(HttpMethod::UNKNOWN, "/echo")), HttpRequestFailedException,
                     "Cannot send a request with method UNKNOWN to " + url);
    EXPECT_TRUE(server.seen("/echo").empty());
}

TEST_F(CurlHttpClientSync, FailsWhenTheResponseBodyStreamRefusesTheBytesSayingWhyWhenTheSystemDoes)
{
    const struct {
        const char* file;
        std::string reason;
    } rows[] = {{nullptr, ""}, {"/dev/full", ": No space left on device"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        auto sent = request(HttpMethod::GET, "/payload");
        sent.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            return row.file != nullptr ? std::make_unique<std::fstream>(row.file, std::ios::out | std::ios::binary)
                                       : std::make_unique<std::fstream>();
        });
        sent.setClientConfiguration(ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
        EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), TransferFailedException,
                         "Request to " + server.url("/payload") +
                             " failed: the response body stream refused the received bytes" + row.reason);
    }
}

TEST_F(CurlHttpClientSync, KeepsEveryAttemptOnTheConfigurationItStartedWith)
{
    const std::string deadProxy = "http://127.0.0.1:" + std::to_string(support::closedPort());
    const auto retryOnceThenBreakTheClient = [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                                                 int attempt, int) {
        client.setClientConfiguration(ClientConfiguration().withProxy(deadProxy));
        return attempt < 2;
    };
    for (const bool async : {false, true}) {
        SCOPED_TRACE(async);
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(retryOnceThenBreakTheClient));
        auto sent = request(HttpMethod::GET, "/echo");
        const auto response =
            async ? client.makeAsyncRequest(std::move(sent)).first.get() : client.makeRequest(std::move(sent));
        EXPECT_EQ(response.getResponseBodyString(), "GET ");
    }
    EXPECT_EQ(server.seen("/echo").size(), 4U);
}

TEST_F(CurlHttpClientSync, RetriesAReplyWithUntrustworthyFramingOnAFreshConnectionAndUnfoldsFoldedFields)
{
    const std::string ok = "HTTP/1.1 200 OK\r\nX-Long: one\r\n two\r\nContent-Length: 2\r\n\r\nok";
    for (const std::string length : {"5abc", "5\r\nContent-Length: 4"}) {
        SCOPED_TRACE(length);
        support::ScriptedServer scripted(
            {{"HTTP/1.1 200 OK\r\nContent-Length: " + length + "\r\n\r\nhello", false}, {ok, false}});
        auto sent = get(scripted.url("/"));
        sent.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            [](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int attempt, int) {
                return error && attempt < 2;
            }));
        const auto response = client.makeRequest(std::move(sent));
        EXPECT_EQ(response.getResponseBodyString(), "ok");
        EXPECT_EQ(response.getHeaderValue("X-Long"), "one two");
        const auto received = scripted.received();
        ASSERT_EQ(received.size(), 2U);
        EXPECT_EQ(received[1].connection, 1U);
    }
}
