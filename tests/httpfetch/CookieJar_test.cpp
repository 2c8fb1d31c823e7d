// The cookie file of -b and -c: which stored cookies a request sends, what a
// response's Set-Cookie headers change, and the Netscape format written back.
#include "CookieJar.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using foundation::httpclient_core::HttpHeaders;
using httpfetch::CookieJar;

namespace {

const std::int64_t now = 1000000;

CookieJar jarOf(const std::string& text)
{
    std::istringstream in(text);
    return CookieJar::read(in);
}

std::string written(const CookieJar& jar)
{
    std::ostringstream out;
    jar.write(out);
    return out.str();
}

} // namespace

TEST(HttpfetchCookieJar, SendsTheStoredCookiesThatMatchDomainPathSchemeAndTime)
{
    const auto jar = jarOf("# comment\n"
                           "\n"
                           ".example.test\tTRUE\t/\tFALSE\t0\tall\t1\r\n"
                           "www.example.test\tFALSE\t/docs\tFALSE\t2000000\tdocs\t2\n"
                           "#HttpOnly_www.example.test\tFALSE\t/\tTRUE\t0\tsecure\t3\n"
                           "www.example.test\tFALSE\t/\tFALSE\t999999\texpired\t4\n"
                           "www.example.test\tFALSE\t/\tFALSE\t0\tempty\n"
                           "malformed line\n");
    const struct {
        std::string url;
        std::string header;
    } rows[] = {
        {"http://www.example.test/", "all=1; empty="},
        {"https://user@WWW.example.test:8443/docs/a?q", "all=1; docs=2; secure=3; empty="},
        {"http://www.example.test/docsx", "all=1; empty="},
        {"http://example.test/docs", "all=1"},
        {"http://badexample.test/", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        EXPECT_EQ(jar.headerFor(row.url, now), row.header);
    }
}

TEST(HttpfetchCookieJar, StoresReplacesAndRemovesWhatSetCookieSaysAndWritesItBack)
{
    auto jar = jarOf("www.example.test\tFALSE\t/\tFALSE\t0\told\tx\n"
                     "www.example.test\tFALSE\t/\tFALSE\t0\tgone\ty\n");
    jar.receive("https://www.example.test/a/b",
                HttpHeaders({{"Set-Cookie", "old=new; Path=/"},
                             {"set-cookie", "gone=; path=/; Max-Age=0"},
                             {"Set-Cookie", "id=7; Domain=.Example.test; Path=/; Max-Age=60; Secure; HttpOnly"},
                             {"Set-Cookie", "here=1"},
                             {"Set-Cookie", "dated=2; Expires=Sun, 01 Jan 2040 00:00:00 GMT"},
                             {"Set-Cookie", "past=3; Expires=Thu, 01 Jan 1970 00:20:00 GMT"},
                             {"Set-Cookie", "foreign=1; Domain=other.test"},
                             {"Set-Cookie", "novalue"},
                             {"Content-Type", "text/plain"}}),
                now - 100);
    EXPECT_EQ(written(jar), "# Netscape HTTP Cookie File\n# Written by httpfetch.\n\n"
                            "www.example.test\tFALSE\t/\tFALSE\t0\told\tnew\n"
                            "#HttpOnly_.example.test\tTRUE\t/\tTRUE\t999960\tid\t7\n"
                            "www.example.test\tFALSE\t/a\tFALSE\t0\there\t1\n"
                            "www.example.test\tFALSE\t/a\tFALSE\t2208988800\tdated\t2\n");
}
