#include <httpclient_curl/CurlHttpClient.hpp>
#include <httpclient_curl/TransferFailedException.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>
#include <support/LoopbackServer.hpp>
#include <support/Requests.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::LoopbackServer;

namespace {

class CurlHttpClientSecurity : public ::testing::Test {
protected:
    // A self-signed certificate for 127.0.0.1 and localhost, made afresh for this run.
    static void SetUpTestSuite()
    {
        directory = std::filesystem::temp_directory_path() / ("httpclient_curl_tls_" + std::to_string(::getpid()));
        std::filesystem::create_directories(directory);
        const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=localhost"
                                    " -addext subjectAltName=IP:127.0.0.1,DNS:localhost -keyout '" +
                                    key().string() + "' -out '" + certificate().string() + "' 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    static void TearDownTestSuite() { std::filesystem::remove_all(directory); }

    static std::filesystem::path certificate() { return directory / "certificate.pem"; }
    static std::filesystem::path key() { return directory / "key.pem"; }

    static HttpRequest withHeader(const std::string& url, const std::string& name, const std::string& value)
    {
        HttpRequest request(HttpMethod::GET, URL{url}, {});
        request.setHeaderValue(name, value);
        return request;
    }

    static inline std::filesystem::path directory;
};

} // namespace

TEST_F(CurlHttpClientSecurity, RefusesAServerItCannotVerifyAndTrustsItThroughTheCertificateFile)
{
    LoopbackServer server(certificate().string(), key().string());
    const std::string url = server.url("/echo");
    try {
        CurlHttpClient().makeRequest(support::get(url));
        FAIL() << "expected TransferFailedException";
    } catch (const foundation::httpclient_curl::TransferFailedException& error) {
        EXPECT_EQ(error.cause(), foundation::httpclient_curl::TransferFailure::Certificate);
        EXPECT_THAT(error.what(), ::testing::StartsWith("Request to " + url + " failed: SSL certificate problem"));
    }
    EXPECT_TRUE(server.seen("/echo").empty());

    CurlHttpClient client(ClientConfiguration().withCertificateFile(certificate()));
    const auto response = client.makeRequest(support::get(url));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseBodyString(), "GET ");
}

TEST_F(CurlHttpClientSecurity, RefusesAHeaderHoldingALineBreakBeforeSendingAnything)
{
    struct Row {
        std::string name;
        std::string value;
    };
    const Row rows[] = {
        {"X-Note", "a\r\nX-Injected: 1"}, {"X-Note", "a\nb"}, {"X-Note", "a\rb"}, {"X-Note", std::string("a\0b", 3)},
        {"X-Note\r\nX-Injected", "1"},
    };
    LoopbackServer server;
    const std::string url = server.url("/echo");
    std::future<HttpResponse> future;
    {
        CurlHttpClient client;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name + ": " + row.value);
            EXPECT_THROW_MSG(client.makeRequest(withHeader(url, row.name, row.value)), HttpRequestFailedException,
                             "Refused to send header <" + row.name + "> to " + url + ": it holds a CR, LF or NUL byte");
        }
        future = client.makeAsyncRequest(withHeader(url, "X-Note", "a\r\nb")).first;
        ASSERT_TRUE(support::ready(future));
    }
    // Read only once the client's threads are joined; see CurlHttpClientAsync_test.cpp.
    EXPECT_THROW_MSG(future.get(), HttpRequestFailedException,
                     "Refused to send header <X-Note> to " + url + ": it holds a CR, LF or NUL byte");
    EXPECT_TRUE(server.seen("/echo").empty());
}

TEST_F(CurlHttpClientSecurity, KeepsCredentialsFromARedirectThatLeavesTheHostAndPort)
{
    LoopbackServer origin;
    LoopbackServer other;
    CurlHttpClient client;
    for (const auto* target : {&origin, &other}) {
        HttpRequest request(HttpMethod::GET, URL{origin.url("/redirect-to")},
                            {{"Authorization", "Bearer secret"}, {"Cookie", "session=secret"}, {"X-Plain", "kept"}});
        request.setQueryParameters(QueryParameters{{"url", target->url("/echo")}});
        EXPECT_EQ(client.makeRequest(std::move(request)).getResponseCode(), HttpResponseCode::OK);
    }
    const auto sameOrigin = origin.seen("/echo").at(0);
    EXPECT_EQ(sameOrigin.header("Authorization"), "Bearer secret");
    EXPECT_EQ(sameOrigin.header("Cookie"), "session=secret");
    const auto elsewhere = other.seen("/echo").at(0);
    EXPECT_FALSE(elsewhere.headers.hasHeader("Authorization"));
    EXPECT_FALSE(elsewhere.headers.hasHeader("Cookie"));
    EXPECT_EQ(elsewhere.header("X-Plain"), "kept");
}
