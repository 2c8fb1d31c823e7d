// The client against real servers from the system, each started on 127.0.0.1
// with a configuration of its own: nginx as the origin, squid as the proxy.
#include <httpclient_curl/CurlHttpClient.hpp>

#include <httpclient_core/Exceptions.hpp>
#include <support/NginxServer.hpp>
#include <support/Requests.hpp>
#include <support/SquidProxy.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;
using support::get;
using ::testing::HasSubstr;

namespace {

ClientConfiguration once()
{
    return ClientConfiguration().withRetryStrategy(noRetriesStrategy());
}

} // namespace

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
    // Squid logs a tunnel when it closes, which the clients' ends above bring about.
    const auto log = squid.log(3);
    ASSERT_EQ(log.size(), 3U);
    EXPECT_THAT(log[0], HasSubstr("TCP_DENIED/407"));
    EXPECT_EQ(log[1], "GET " + nginx.url("/file.txt") + " TCP_MISS/200");
    EXPECT_THAT(log[2], ::testing::StartsWith("CONNECT " + nginx.tlsUrl("").substr(8) + " TCP_TUNNEL/200"));
}
