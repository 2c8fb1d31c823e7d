// What httpfetch sends: the method, -H headers, a -d body, a -F form and a
// -q query, exactly as the server receives them.
#include "support/TestServer.hpp"
#include "support/ToolProcess.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using support::runTool;
using support::TestServer;

TEST(HttpfetchRequest, SendsFormFieldsFormEncodedAsAPostWithTheirTypeAndLength)
{
    const TestServer server;
    const auto run = runTool({"-s", "-F", "name=John Smith", "-F", "city=a&b=c", "-F", "flag", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].method, "POST");
    EXPECT_EQ(received[0].body, "name=John+Smith&city=a%26b%3Dc&flag=");
    EXPECT_EQ(received[0].header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(received[0].header("Content-Length"), "36");
}

TEST(HttpfetchRequest, AppendsQueryParametersPercentEncodedWithBareKeysForEmptyValues)
{
    const TestServer server;
    const auto run = runTool({"-s", "-q", "q=a b", "-q", "flag", "-q", "x=1&2", "-q", "k=a+b", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].method, "GET");
    EXPECT_EQ(received[0].target, "/echo?q=a%20b&flag&x=1%262&k=a%2Bb");
}

TEST(HttpfetchRequest, SendsEveryHeaderGivenWithH)
{
    const TestServer server;
    const auto run = runTool({"-s", "-H", "X-One: 1", "-H", "X-Two: two words", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].header("X-One"), "1");
    EXPECT_EQ(received[0].header("X-Two"), "two words");
}

TEST(HttpfetchRequest, SendsTheDataOfDAsAPlainTextPostUnlessXAndHSayOtherwise)
{
    const TestServer server;
    ASSERT_EQ(runTool({"-s", "-d", "hello", server.url("/echo")}).exitCode, 0);
    ASSERT_EQ(
        runTool({"-s", "-X", "PUT", "-H", "Content-Type: application/json", "-d", "{}", server.url("/echo")}).exitCode,
        0);
    const auto received = server.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].method, "POST");
    EXPECT_EQ(received[0].body, "hello");
    EXPECT_EQ(received[0].header("Content-Type"), "text/plain");
    EXPECT_EQ(received[1].method, "PUT");
    EXPECT_EQ(received[1].body, "{}");
    EXPECT_EQ(received[1].header("Content-Type"), "application/json");
}

} // namespace
