#include <httpclient_curl/CurlHttpClient.hpp>

#include "LoopbackServer.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/FormUrlEncoded.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/Requests.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>
#include <type_traits>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using foundation::httpclient_curl::testing::fingerprint;
using foundation::httpclient_curl::testing::LoopbackServer;
using support::get;

static_assert(std::is_default_constructible_v<CurlHttpClient>);
static_assert(!std::is_copy_constructible_v<CurlHttpClient>);
static_assert(std::is_base_of_v<HttpClient, CurlHttpClient>);

namespace {

sockaddr_in loopback(in_port_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int boundSocket(sockaddr_in& address)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    socklen_t length = sizeof address;
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot bind a socket to 127.0.0.1");
    }
    return socket;
}

// A port on 127.0.0.1 where nothing listens.
int closedPort()
{
    sockaddr_in address = loopback(0);
    ::close(boundSocket(address));
    return ntohs(address.sin_port);
}

// Listens on 127.0.0.1 but never accepts; its backlog is filled, so a further
// connection attempt is never answered.
class UnansweredListener {
public:
    UnansweredListener()
    {
        sockaddr_in address = loopback(0);
        listener = boundSocket(address);
        ::listen(listener, 0);
        port = ntohs(address.sin_port);
        for (int& filler : fillers) {
            filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            // Non-blocking: the attempt goes on in the background, answered or not.
            static_cast<void>(::connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof address));
        }
    }
    ~UnansweredListener()
    {
        for (const int filler : fillers) {
            ::close(filler);
        }
        ::close(listener);
    }
    UnansweredListener(const UnansweredListener&) = delete;
    UnansweredListener& operator=(const UnansweredListener&) = delete;

    int port = 0;

private:
    int listener = -1;
    int fillers[4] = {};
};

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

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
    struct Row {
        HttpMethod method;
        std::optional<std::string> body;
        std::string seenMethod;
        std::string reply;
    };
    const Row rows[] = {
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
    EXPECT_FALSE(sizedSeen.hasHeader("Content-Type"));

    auto chunked = request(HttpMethod::PUT, "/echo");
    chunked.setRequestBody(std::make_unique<std::istringstream>(text));
    chunked.setTransferEncoding("chunked");
    EXPECT_EQ(client.makeRequest(std::move(chunked)).getResponseCode(), HttpResponseCode::OK);
    const auto chunkedSeen = server.seen("/echo").back();
    EXPECT_EQ(fingerprint(chunkedSeen.body), fingerprint(text));
    EXPECT_EQ(chunkedSeen.header("Transfer-Encoding"), "chunked");
    EXPECT_FALSE(chunkedSeen.hasHeader("Content-Length"));
}

TEST_F(CurlHttpClientSync, UploadsAFormUrlEncodedBody)
{
    const FormUrlEncoded form({{"name", "John Smith"}, {"city", "a&b=c"}});
    auto sent = request(HttpMethod::POST, "/echo");
    sent.setRequestBody(form.stream());
    sent.setContentType(form.contentType().toString());
    sent.setContentLength(std::to_string(form.contentLength()));
    client.makeRequest(std::move(sent));
    const auto seen = server.seen("/echo").back();
    EXPECT_EQ(seen.body, "name=John+Smith&city=a%26b%3Dc");
    EXPECT_EQ(seen.header("Content-Type"), "application/x-www-form-urlencoded");
}

TEST_F(CurlHttpClientSync, WritesTheBodyIntoTheStreamItsFactoryChoosesByStatus)
{
    const auto file =
        std::filesystem::temp_directory_path() / ("httpclient_curl_body_" + std::to_string(::getpid()) + ".bin");
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

    auto wanted = request(HttpMethod::GET, "/payload");
    wanted.setResponseStreamFactory(factory);
    const auto saved = client.makeRequest(std::move(wanted));
    EXPECT_EQ(fingerprint(readFile(file)), fingerprint(LoopbackServer::payload()));

    auto unwanted = request(HttpMethod::GET, "/status/404");
    unwanted.setResponseStreamFactory(factory);
    const auto missing = client.makeRequest(std::move(unwanted));
    EXPECT_EQ(missing.getResponseBodyString(), "status 404");
    EXPECT_EQ(fingerprint(readFile(file)), fingerprint(LoopbackServer::payload()));
    EXPECT_EQ(asked, (std::vector<HttpResponseCode>{HttpResponseCode::OK, HttpResponseCode::NotFound}));
    std::filesystem::remove(file);
}

TEST_F(CurlHttpClientSync, ReturnsAnErrorStatusAsAResponseWithItsReasonPhrase)
{
    const auto response = client.makeRequest(request(HttpMethod::GET, "/status/404"));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::NotFound);
    EXPECT_EQ(response.getResponseCodeReason(), "Not Found");
    EXPECT_EQ(response.getHeaderValue("Content-Type"), "text/plain");
}

TEST_F(CurlHttpClientSync, RetriesAfterA503AndReturnsTheNextReply)
{
    const auto response = client.makeRequest(request(HttpMethod::GET, "/fail-once-then-ok"));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseCodeReason(), "OK");
    EXPECT_EQ(response.getResponseBodyString(), "ok");
    EXPECT_EQ(server.seen("/fail-once-then-ok").size(), 2U);
}

TEST_F(CurlHttpClientSync, FollowsRedirectsKeepingOnlyTheFinalHopsHeadersAndReportsThem)
{
    const auto response = client.makeRequest(request(HttpMethod::GET, "/redirect/3"));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseBodyString(), "landed");
    EXPECT_FALSE(response.hasHeader("Location"));
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 3);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL{server.url("/redirect/0")});
}

TEST_F(CurlHttpClientSync, ReturnsTheRedirectItselfWhenTheRequestsOwnConfigurationSaysSo)
{
    auto sent = request(HttpMethod::GET, "/redirect/3");
    sent.setClientConfiguration(ClientConfiguration().withFollowRedirects(false));
    const auto response = client.makeRequest(std::move(sent));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::Found);
    EXPECT_EQ(response.getHeaderValue("Location"), "/redirect/2");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
}

TEST_F(CurlHttpClientSync, FailsAfterTooManyRedirectsNamingTheLimitAndTheURL)
{
    client.setClientConfiguration(ClientConfiguration().withMaxRedirects(2).withRetryStrategy(noRetriesStrategy()));
    try {
        client.makeRequest(request(HttpMethod::GET, "/redirect-loop"));
        FAIL() << "expected HttpRequestFailedException";
    } catch (const HttpRequestFailedException& error) {
        EXPECT_EQ(typeid(error), typeid(HttpRequestFailedException));
        EXPECT_EQ(std::string(error.what()),
                  "Request to " + server.url("/redirect-loop") + " failed: Maximum (2) redirects followed");
    }
    EXPECT_EQ(server.seen("/redirect-loop").size(), 3U);
}

TEST_F(CurlHttpClientSync, FailsWithTheURLAndLibcurlsOwnTextWhenNothingListens)
{
    const std::string url = "http://127.0.0.1:" + std::to_string(closedPort()) + "/";
    try {
        client.makeRequest(get(url));
        FAIL() << "expected HttpRequestFailedException";
    } catch (const HttpRequestFailedException& error) {
        EXPECT_EQ(typeid(error), typeid(HttpRequestFailedException));
        EXPECT_THAT(error.what(), ::testing::StartsWith("Request to " + url + " failed: Failed to connect"));
    }
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

TEST_F(CurlHttpClientSync, TimesOutWhenAReplyStallsLongerThanTheIdleTimeout)
{
    client.setClientConfiguration(ClientConfiguration().withIdleTimeout(1000).withRetryStrategy(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(request(HttpMethod::GET, "/stall")), HttpRequestTimeoutException,
                     "Request timed out.");
}

TEST_F(CurlHttpClientSync, TimesOutConnectingToAListenerThatNeverAnswers)
{
    const UnansweredListener listener;
    client.setClientConfiguration(ClientConfiguration().withConnectTimeout(200).withRetryStrategy(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(get("http://127.0.0.1:" + std::to_string(listener.port) + "/")),
                     HttpRequestTimeoutException, "Request timed out.");
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
    const struct {
        std::string length;
        std::string message;
    } rows[] = {
        {"abc", "Content-Length <abc> of the request to " + url + " is not a byte count"},
        {"-1", "Content-Length <-1> of the request to " + url + " is not a byte count"},
        {"12 bytes", "Content-Length <12 bytes> of the request to " + url + " is not a byte count"},
        {"", "Content-Length <> of the request to " + url + " is not a byte count"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        auto sent = request(HttpMethod::POST, "/echo");
        sent.setRequestBody("x");
        sent.setContentLength(row.length);
        EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), HttpRequestFailedException, row.message);
    }
    EXPECT_THROW_MSG(client.makeRequest(request(HttpMethod::UNKNOWN, "/echo")), HttpRequestFailedException,
                     "Cannot send a request with method UNKNOWN to " + url);
    EXPECT_TRUE(server.seen("/echo").empty());
}

TEST_F(CurlHttpClientSync, FailsWhenTheResponseBodyStreamRefusesTheBytes)
{
    auto sent = request(HttpMethod::GET, "/payload");
    sent.setResponseStreamFactory(
        [](HttpResponseCode, const std::string&, const HttpHeaders&) { return std::make_unique<std::fstream>(); });
    sent.setClientConfiguration(ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(std::move(sent)), HttpRequestFailedException,
                     "Request to " + server.url("/payload") +
                         " failed: the response body stream refused the received bytes");
}
