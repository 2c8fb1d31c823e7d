// A GoogleTest file of an application's own: GoogleTest's `testing`, the
// core under `using namespace` and the scripted client side by side.
#include <httpclient_core/httpclient_core.hpp>
#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <gtest/gtest.h>

using namespace foundation::httpclient_core;
using foundation::httpclient_scripted::ScriptedHttpClient;
using foundation::httpclient_scripted::ScriptedReply;

namespace {

class ScriptedConsumer : public testing::Test {
protected:
    ScriptedHttpClient client;
};

TEST_F(ScriptedConsumer, PlaysTheScriptedReplyAndRecordsTheAttempt)
{
    client.enqueue(ScriptedReply::status(HttpResponseCode::OK, "OK").withBody("hello"));
    EXPECT_EQ(client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://test/"}, {})).getResponseBodyString(),
              "hello");
    ASSERT_EQ(client.attempts().size(), 1U);
    EXPECT_EQ(client.attempts()[0].url, URL{"http://test/"});
}

} // namespace
