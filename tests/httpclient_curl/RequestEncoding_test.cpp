#include "RequestEncoding.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::detail::headerLines;
using foundation::httpclient_curl::detail::HeaderSet;
using foundation::httpclient_curl::detail::resumeOffset;

namespace {

const std::string url = "http://127.0.0.1/file";

HttpRequest withHeaders(HttpHeaders headers)
{
    return HttpRequest(HttpMethod::GET, URL{url}, std::move(headers));
}

} // namespace

TEST(RequestEncoding, SendsIfRangeOnlyBesideARangeAndWithholdsBothWhenTold)
{
    const struct {
        HttpHeaders headers;
        bool withhold;
        std::vector<std::string> lines;
    } rows[] = {
        {{{"Range", "bytes=5-"}, {"If-Range", "\"v1\""}, {"Empty", ""}},
         false,
         {"Range: bytes=5-", "If-Range: \"v1\"", "Empty;"}},
        {{{"range", "bytes=5-"}, {"if-range", "\"v1\""}, {"Accept", "*/*"}}, true, {"Accept: */*"}},
        {{{"If-Range", "\"v1\""}}, false, {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(headerLines(withHeaders(row.headers), url, row.withhold, HeaderSet::WithBody), row.lines);
    }
}

TEST(RequestEncoding, RefusesAHeaderNameThatIsNotAToken)
{
    for (const std::string name : {"X Note", "X-Note:", "(comment)", "X\x7f", "Caf\xc3\xa9", "X\"Q\""}) {
        SCOPED_TRACE(name);
        EXPECT_THROW_MSG(headerLines(withHeaders({{name, "1"}}), url, false, HeaderSet::WithBody),
                         HttpRequestFailedException,
                         "Refused to send header <" + name + "> to " + url + ": its name is not a token");
    }
    EXPECT_EQ(headerLines(withHeaders({{"!#$%&'*+-.^_`|~09azAZ", "1"}}), url, false, HeaderSet::WithBody),
              std::vector<std::string>{"!#$%&'*+-.^_`|~09azAZ: 1"});
}

TEST(RequestEncoding, ReadsTheStartOfAnOpenEndedRangeOnly)
{
    const struct {
        std::string range;
        std::optional<long long> offset;
    } rows[] = {
        {"bytes=1000-", 1000}, {"bytes=0-", 0},    {"bytes=-1-", -1}, {"bytes=x-", -1},
        {"bytes=0-99", {}},    {"bytes=-500", {}}, {"items=5-", {}},  {"", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.range);
        HttpHeaders headers;
        if (!row.range.empty()) {
            headers.addHeaderValue("Range", row.range);
        }
        EXPECT_EQ(resumeOffset(withHeaders(headers)), row.offset);
    }
}
