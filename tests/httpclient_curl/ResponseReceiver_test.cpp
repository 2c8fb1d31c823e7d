#include "ResponseReceiver.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <support/ExpectThrowMessage.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::detail::ResponseReceiver;

namespace {

const std::string url = "http://127.0.0.1/file";

// Hands a reply to the receiver as libcurl would: one header line per call
// up to the blank line of a final (non-1xx) block, the rest as body, then the
// trailer lines. Returns the error message of the first throw, "" for none.
std::string feed(ResponseReceiver& receiver, std::string_view reply, const std::vector<std::string>& trailers = {})
{
    try {
        bool body = false;
        while (!reply.empty() && !body) {
            const auto end = reply.find('\n');
            const std::string_view line = reply.substr(0, end == std::string_view::npos ? reply.size() : end + 1);
            reply.remove_prefix(line.size());
            receiver.receiveHeaderLine(line);
            body = (line == "\r\n" || line == "\n") && !reply.empty() && reply.substr(0, 5) != "HTTP/";
        }
        receiver.receiveBody(reply.data(), reply.size());
        for (const auto& trailer : trailers) {
            receiver.receiveHeaderLine(trailer);
        }
        receiver.finish();
    } catch (const HttpRequestFailedException& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(ResponseReceiver, TakesTheFinalReplyAndFailsOnAnyFramingItCannotTrust)
{
    const struct {
        const char* name;
        std::string reply;
        std::optional<long long> resumeFrom;
        int code;
        // The header to look at and its expected value ("" = absent).
        std::string header;
        std::string value;
        std::string body;
        std::string error;
    } rows[] = {
        {"plain", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi", {}, 200, "Content-Length", "2", "hi", ""},
        {"interim replies before the final one",
         "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\nHTTP/1.1 201 Created\r\n\r\nok",
         {},
         201,
         "Link",
         "",
         "ok",
         ""},
        {"obs-fold unfolded into its field",
         "HTTP/1.1 200 OK\r\nX-Long: one\r\n \t two \r\n\tthree\r\n\r\n",
         {},
         200,
         "X-Long",
         "one two three",
         "",
         ""},
        {"list of equal lengths",
         "HTTP/1.1 200 OK\r\nContent-Length: 2, 2\r\nContent-Length: 2\r\n\r\nhi",
         {},
         200,
         "Content-Length",
         "2, 2",
         "hi",
         ""},
        {"header block cut after the status line",
         "HTTP/1.1 200 OK\r\n",
         {},
         200,
         "",
         "",
         "",
         "Request to " + url + " failed: the connection closed inside the reply's header block"},
        {"cut inside the fields",
         "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n",
         {},
         200,
         "",
         "",
         "",
         "Request to " + url + " failed: the connection closed inside the reply's header block"},
        {"cut after an interim reply",
         "HTTP/1.1 100 Continue\r\n\r\n",
         {},
         100,
         "",
         "",
         "",
         "Request to " + url + " failed: the connection closed inside the reply's header block"},
        {"hexadecimal length",
         "HTTP/1.1 200 OK\r\nContent-Length: 0x10\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed Content-Length <0x10> from " + url},
        {"length with a tail",
         "HTTP/1.1 200 OK\r\nContent-Length: 5abc\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed Content-Length <5abc> from " + url},
        {"length beyond 64 bits",
         "HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551616\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed Content-Length <18446744073709551616> from " + url},
        {"signed length",
         "HTTP/1.1 200 OK\r\nContent-Length: +5\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed Content-Length <+5> from " + url},
        {"conflicting lengths",
         "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Conflicting Content-Length <5> and <6> from " + url},
        {"conflicting list",
         "HTTP/1.1 200 OK\r\nContent-Length: 5, 05, 7\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Conflicting Content-Length <5> and <7> from " + url},
        {"line without a colon",
         "HTTP/1.1 200 OK\r\nno colon\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed header line <no colon> from " + url},
        {"continuation without a field",
         "HTTP/1.1 200 OK\r\n folded: x\r\n\r\n",
         {},
         200,
         "",
         "",
         "",
         "Malformed header line < folded: x> from " + url},
        {"206 continuing at N", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 3-4/5\r\n\r\nde", 3, 206,
         "Content-Range", "bytes 3-4/5", "abcde", ""},
        {"206 starting elsewhere", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-4/5\r\n\r\n", 3, 206, "", "",
         "abc", "Content-Range <bytes 0-4/5> from " + url + " does not start at byte 3"},
        {"206 without Content-Range", "HTTP/1.1 206 Partial Content\r\n\r\n", 3, 206, "", "", "abc",
         "Content-Range <> from " + url + " does not start at byte 3"},
        {"a ranged attempt answered whole restarts the body", "HTTP/1.1 200 OK\r\n\r\nxyz", 3, 200, "", "", "xyz", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        HttpResponse response;
        if (row.resumeFrom) {
            response.getResponseBody() << "abc";
        }
        ResponseReceiver receiver(response, url, row.resumeFrom);
        EXPECT_EQ(feed(receiver, row.reply), row.error);
        EXPECT_EQ(static_cast<int>(response.getResponseCode()), row.code);
        if (!row.header.empty()) {
            EXPECT_EQ(response.hasHeader(row.header) ? response.getHeaderValue(row.header) : "", row.value);
        }
        if (row.error.empty()) {
            EXPECT_EQ(response.getResponseBodyString(), row.body);
        }
    }
}

TEST(ResponseReceiver, KeepsTrailersWithoutCheckingTheRangeAgainAndReportsTheValidator)
{
    const struct {
        std::string headers;
        std::string validator;
    } rows[] = {
        {"ETag: \"v1\"\r\nLast-Modified: Tue, 01 Jan 2030 00:00:00 GMT\r\n", "\"v1\""},
        {"ETag: W/\"v1\"\r\nLast-Modified: Tue, 01 Jan 2030 00:00:00 GMT\r\n", "Tue, 01 Jan 2030 00:00:00 GMT"},
        {"", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.headers);
        HttpResponse response;
        response.getResponseBody() << "abc";
        ResponseReceiver receiver(response, url, 3);
        EXPECT_EQ(feed(receiver,
                       "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 3-4/5\r\n" + row.headers + "\r\nde",
                       {"X-Checksum: 1\r\n", "\r\n"}),
                  "");
        EXPECT_EQ(receiver.validator(), row.validator);
        EXPECT_EQ(response.getHeaderValue("X-Checksum"), "1");
        EXPECT_FALSE(receiver.restarted());
    }

    HttpResponse response;
    ResponseReceiver receiver(response, url, std::nullopt);
    EXPECT_EQ(feed(receiver, "HTTP/1.1 503 Busy\r\nETag: \"v1\"\r\n\r\n"), "");
    EXPECT_EQ(receiver.validator(), std::nullopt);
}
