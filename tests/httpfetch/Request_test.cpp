// What httpfetch sends, exactly as the server receives it, for each group of
// request options: data, forms, headers, credentials and the query.
#include "support/HttpfetchTest.hpp"

#include <fstream>

namespace {

using HttpfetchRequest = support::HttpfetchTest;

TEST_F(HttpfetchRequest, SendsEachGroupOfRequestOptionsAsCurlDoes)
{
    std::ofstream(file, std::ios::binary) << "line\r\n";
    const struct {
        std::vector<std::string> arguments;
        std::string method;
        std::string query;
        std::string body;
        std::vector<std::pair<std::string, std::string>> headers;
        std::vector<std::string> absent;
    } rows[] = {
        {{"-d", "a=1", "-d", "@" + file.string()},
         "POST",
         "",
         "a=1&line",
         {{"Content-Type", "application/x-www-form-urlencoded"}, {"Content-Length", "8"}},
         {}},
        {{"--data-binary", "@" + file.string(), "-H", "Content-Type: application/octet-stream"},
         "POST",
         "",
         "line\r\n",
         {{"Content-Type", "application/octet-stream"}},
         {}},
        {{"--data-urlencode", "q=a b&c", "-G", "--query-param", "k=1"},
         "GET",
         "?q=a%20b%26c&k=1",
         "",
         {},
         {"Content-Type"}},
        {{"-X", "PUT", "--data-raw", "@x", "-H", "X-Gone: 1", "-H", "X-Gone:"}, "PUT", "", "@x", {}, {"X-Gone"}},
        {{"-u", "me:pw", "-A", "agent/1", "-e", "http://from/", "-b", "a=1; b=2"},
         "GET",
         "",
         "",
         {{"Authorization", "Basic bWU6cHc="},
          {"User-Agent", "agent/1"},
          {"Referer", "http://from/"},
          {"Cookie", "a=1; b=2"}},
         {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.arguments));
        const support::LoopbackServer server;
        auto arguments = row.arguments;
        arguments.insert(arguments.begin(), "-s");
        arguments.push_back(server.url("/echo"));
        const auto run = runTool(arguments);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const auto seen = server.seen("/echo");
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(seen[0].method, row.method);
        EXPECT_EQ(seen[0].target, "/echo" + row.query);
        EXPECT_EQ(seen[0].body, row.body);
        for (const auto& [name, value] : row.headers) {
            EXPECT_TRUE(seen[0].headers.hasHeader(name)) << name;
            EXPECT_EQ(seen[0].header(name), value) << name;
        }
        for (const auto& name : row.absent) {
            EXPECT_FALSE(seen[0].headers.hasHeader(name)) << name;
        }
    }
}

TEST_F(HttpfetchRequest, UploadsAFileAsAMultipartFormThatTheServerParses)
{
    std::ofstream(file, std::ios::binary) << support::LoopbackServer::payload();
    const auto run = runTool({"-s", "-F", "name=John", "-F", "up=@" + file.string() + ";type=image/png;filename=p.png",
                              server.url("/echo")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto seen = server.seen("/echo");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].method, "POST");
    EXPECT_THAT(seen[0].header("Content-Type"), ::testing::StartsWith("multipart/form-data; boundary="));
    ASSERT_EQ(seen[0].parts.size(), 2U);
    EXPECT_EQ(seen[0].parts[0].name, "name");
    EXPECT_EQ(seen[0].parts[0].content, "John");
    EXPECT_EQ(seen[0].parts[1].name, "up");
    EXPECT_EQ(seen[0].parts[1].fileName, "p.png");
    EXPECT_EQ(seen[0].parts[1].type, "image/png");
    EXPECT_EQ(support::fingerprint(seen[0].parts[1].content), support::fingerprint(support::LoopbackServer::payload()));
}

TEST_F(HttpfetchRequest, SendsTheCookiesOfAFileAndWritesThoseReceivedToTheJar)
{
    std::ofstream(file) << "127.0.0.1\tFALSE\t/\tFALSE\t0\tstored\t1\nother.test\tFALSE\t/\tFALSE\t0\tforeign\t2\n";
    const auto run = runTool({"-s", "-b", file.string(), "-b", "extra=3", "-c", file.string(),
                              server.url("/set-cookie?c=id%3D7%3B%20Path%3D%2F")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(server.seen("/set-cookie").at(0).header("Cookie"), "extra=3; stored=1");
    EXPECT_EQ(contents(), "# Netscape HTTP Cookie File\n# Written by httpfetch.\n\n"
                          "127.0.0.1\tFALSE\t/\tFALSE\t0\tstored\t1\n"
                          "other.test\tFALSE\t/\tFALSE\t0\tforeign\t2\n"
                          "127.0.0.1\tFALSE\t/\tFALSE\t0\tid\t7\n");
}

} // namespace
