#include <httpclient_core/HttpMessage.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

using namespace foundation::httpclient_core;

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

// A message that records every write through the virtual setHeaderValue.
class RecordingMessage : public HttpMessage {
public:
    RecordingMessage() : HttpMessage(HttpHeaders()) {}
    void setHeaderValue(const std::string& name, std::string value) override
    {
        writes.emplace_back(name, value);
        HttpMessage::setHeaderValue(name, std::move(value));
    }
    Fields fields() const
    {
        const auto headers = getHeaders();
        return Fields(headers.begin(), headers.end());
    }
    Fields writes;
};

} // namespace

TEST(HttpMessage, ContentLengthReadsLeadingDigitsAndRewrapsOnlyMissingDigits)
{
    const std::pair<const char*, long> rows[] = {{"  42", 42}, {"42 bytes", 42}, {"-5", -5}, {"+7", 7}};
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        RecordingMessage message;
        message.setContentLength(text);
        EXPECT_EQ(message.getContentLength(), expected);
    }
    RecordingMessage message;
    EXPECT_THROW_MSG(message.getContentLength(), std::out_of_range, "Content-Length not found.");
    message.setContentLength("abc");
    try {
        message.getContentLength();
        ADD_FAILURE() << "nothing thrown for abc";
    } catch (const std::runtime_error& error) {
        const std::string prefix = "Failed to convert Content-Length abc to long. ";
        EXPECT_EQ(typeid(error), typeid(std::runtime_error));
        EXPECT_EQ(std::string(error.what()).substr(0, prefix.size()), prefix);
        EXPECT_GT(std::string(error.what()).size(), prefix.size()) << "the conversion's own text follows";
    }
    message.setContentLength("99999999999999999999");
    EXPECT_THROW(message.getContentLength(), std::out_of_range) << "not rewrapped into a runtime_error";
}

TEST(HttpMessage, EveryConvenienceSetterWritesThroughTheVirtualSetHeaderValue)
{
    RecordingMessage message;
    message.setContentLength(std::string("1"));
    message.setContentLength("2");
    message.setTransferEncoding("chunked");
    message.setContentType(std::string("text/html; charset="));
    message.setAccept(std::string("*/*"));
    message.setContentType(ContentType("text/plain", {{"a", "1"}, {"b", "2"}}));
    message.setAccept(Accept::parse("text/html, application/json;q=0.9"));
    message.setCookie({{"a", "1"}, {"b", "2"}});
    const Fields expected = {
        {"Content-Length", "1"},
        {"Content-Length", "2"},
        {"Transfer-Encoding", "chunked"},
        {"Content-Type", "text/html; charset="},
        {"Accept", "*/*"},
        {"Content-Type", "text/plain; a=1;b=2"},
        {"Accept", "text/html, application/json; q=0.9"},
        {"Cookie", "a=1; b=2"},
    };
    EXPECT_EQ(message.writes, expected);
    EXPECT_EQ(message.getTransferEncoding(), "chunked");
}

TEST(HttpMessage, TypedGettersParseTheFirstFieldOfTheirNameAfresh)
{
    RecordingMessage message;
    const auto accept = Accept::parse("text/html, application/json;q=0.9");
    message.setAccept(accept);
    EXPECT_EQ(message.getAccept(), accept);
    message.setCookie({{"a", "1"}, {"b", "2"}});
    message.addHeaderValue("cookie", "c=3");
    EXPECT_EQ(message.getCookie(), (NameValueCollection{{"a", "1"}, {"b", "2"}}));

    message.addHeaderValue("content-type", "text/html");
    message.addHeaderValue("Content-Type", "text/plain");
    EXPECT_EQ(message.getContentType().getType(), "text/html");
    message.setContentType(ContentType("x/y", {{"q", "1"}}));
    EXPECT_EQ(message.getContentType(), ContentType("x/y", {{"q", "1"}}));
    EXPECT_EQ(message.fields(), (Fields{{"Accept", "text/html, application/json; q=0.9"},
                                        {"Cookie", "a=1; b=2"},
                                        {"cookie", "c=3"},
                                        {"content-type", "x/y; q=1"},
                                        {"Content-Type", "text/plain"}}));
}

TEST(HttpMessage, TypedGettersReportMissingFieldsAndPassParseErrorsThrough)
{
    RecordingMessage message;
    EXPECT_THROW_MSG(message.getAccept(), std::out_of_range, "Accept not found.");
    EXPECT_THROW_MSG(message.getContentType(), std::out_of_range, "Content-Type not found.");
    EXPECT_THROW_MSG(message.getCookie(), std::out_of_range, "Cookie not found.");
    message.setContentType(std::string("text/html; charset="));
    EXPECT_THROW_MSG(message.getContentType(), std::runtime_error, "Missing parameter value for <charset>");
}
