#include <httpclient_core/httpclient_core.hpp>

#include <gtest/gtest.h>

using namespace foundation::httpclient_core;

TEST(Umbrella, DeclaresTheTextLayerThroughOneInclude)
{
    HttpHeaders headers;
    headers.addHeader("Host: example.test:8080\r\n");
    const QueryParameters query{{"q", "a b"}};
    EXPECT_EQ(headers.getHeaderValue("host"), "example.test:8080");
    EXPECT_EQ(query.toString(), "?q=a%20b");
    EXPECT_EQ(createHttpMethod("PUT"), HttpMethod::PUT);
    EXPECT_TRUE(isSuccess(HttpResponseCode::OK));
}
