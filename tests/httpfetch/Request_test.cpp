// What httpfetch sends: the method, -H headers, a -d body, a -F form and a
// -q query, exactly as the server receives them.
#include "support/HttpfetchTest.hpp"

namespace {

using HttpfetchRequest = support::HttpfetchTest;

TEST_F(HttpfetchRequest, SendsFormFieldsFormEncodedAsAPostWithTheirTypeAndLength)
{
    const auto run = runTool({"-s", "-F", "name=John Smith", "-F", "city=a&b=c", "-F", "flag", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].method, "POST");
    EXPECT_EQ(seen[0].body, "name=John+Smith&city=a%26b%3Dc&flag=");
    EXPECT_EQ(seen[0].header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(seen[0].header("Content-Length"), "36");
}

TEST_F(HttpfetchRequest, AppendsQueryParametersPercentEncodedWithBareKeysForEmptyValues)
{
    const auto run = runTool({"-s", "-q", "q=a b", "-q", "flag", "-q", "x=1&2", "-q", "k=a+b", server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].method, "GET");
    EXPECT_EQ(seen[0].target, "/echo?q=a%20b&flag&x=1%262&k=a%2Bb");
}

TEST_F(HttpfetchRequest, SendsTheDataOfDAsAPlainTextPostUnlessXAndHSayOtherwiseAndEveryHeaderOfH)
{
    ASSERT_EQ(runTool({"-s", "-d", "hello", server.url("/echo")}).exitCode, 0);
    ASSERT_EQ(runTool({"-s", "-X", "PUT", "-H", "Content-Type: application/json", "-H", "X-Two: two words", "-d", "{}",
                       server.url("/echo")})
                  .exitCode,
              0);
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].method, "POST");
    EXPECT_EQ(seen[0].body, "hello");
    EXPECT_EQ(seen[0].header("Content-Type"), "text/plain");
    EXPECT_EQ(seen[1].method, "PUT");
    EXPECT_EQ(seen[1].body, "{}");
    EXPECT_EQ(seen[1].header("Content-Type"), "application/json");
    EXPECT_EQ(seen[1].header("X-Two"), "two words");
}

} // namespace
