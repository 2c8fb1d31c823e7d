// CookieJar: the cookies of -b FILE and -c FILE, in the Netscape cookie file
// format that curl reads and writes: one cookie a line, seven fields
// separated by tabs.
//
//   domain  include-subdomains  path  secure  expires  name  value
//   .example.test  TRUE  /  FALSE  0  session  abc
//
// "expires" is in seconds since the epoch, 0 for a session cookie; a line
// starting "#HttpOnly_" holds an HttpOnly cookie; other lines starting "#",
// blank lines and lines without seven fields are skipped.
//
//   CookieJar jar = CookieJar::read(file);
//   jar.headerFor("http://www.example.test/a", now);   // "session=abc"
//   jar.receive("http://www.example.test/a", response.getHeaders(), now);   // Set-Cookie: id=7; Max-Age=60
//   jar.write(out);
#pragma once

#include <httpclient_core/HttpHeaders.hpp>

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace httpfetch {

class CookieJar {
public:
    static CookieJar read(std::istream& in);

    // The Cookie header value for a request to url ("a=1; b=2"), from the
    // cookies whose domain and path match it, not expired at now, and not
    // secure unless url is https; "" when none matches.
    std::string headerFor(const std::string& url, std::int64_t now) const;
    // Stores the cookies of the Set-Cookie headers of a response from url,
    // replacing one of the same domain, path and name; a cookie already
    // expired (Max-Age 0 or less, or Expires in the past) is removed, and
    // one whose Domain does not cover url's host is ignored.
    void receive(const std::string& url, const foundation::httpclient_core::HttpHeaders& headers, std::int64_t now);
    // Every cookie, in the order stored, after a comment line.
    void write(std::ostream& out) const;

private:
    struct Cookie {
        std::string domain;
        bool includeSubdomains;
        std::string path;
        bool secure;
        std::int64_t expires;
        std::string name;
        std::string value;
        bool httpOnly;
    };

    void store(Cookie cookie, std::int64_t now);

    std::vector<Cookie> cookies;
};

} // namespace httpfetch
