#include <httpclient_core/HttpRequest.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <httpclient_core/ClientConfiguration.hpp>

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace foundation::httpclient_core;

static_assert(!std::is_copy_constructible_v<HttpRequest> && !std::is_copy_assignable_v<HttpRequest>);
static_assert(std::is_nothrow_move_constructible_v<HttpRequest> && std::is_nothrow_move_assignable_v<HttpRequest>);

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

// A request that records the names written through the virtual setHeaderValue.
class RecordingRequest : public HttpRequest {
public:
    explicit RecordingRequest(const Fields& fields) : HttpRequest(HttpMethod::POST, URL{"http://h/"}, {})
    {
        for (const auto& [name, value] : fields) {
            addHeaderValue(name, value);
        }
    }
    void setHeaderValue(const std::string& name, std::string value) override
    {
        writes.push_back(name);
        HttpRequest::setHeaderValue(name, std::move(value));
    }
    Fields fields() const
    {
        const auto headers = getHeaders();
        return Fields(headers.begin(), headers.end());
    }
    std::vector<std::string> writes;
};

} // namespace

TEST(HttpRequest, AFreshRequestHasNoBodyCallbackOrConfigurationAndADefaultFactory)
{
    const HttpRequest request(HttpMethod::GET, URL{"http://h/p"}, {{"X", "1"}});
    EXPECT_EQ(request.getHttpMethod(), HttpMethod::GET);
    EXPECT_EQ(request.getURL(), URL{"http://h/p"});
    EXPECT_EQ(request.getHeaderValue("x"), "1");
    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
    EXPECT_THROW_MSG(request.getRequestBody(), std::logic_error, "Request does not have a body.");
    EXPECT_FALSE(request.hasProgressCallback());
    EXPECT_THROW_MSG(request.getProgressCallback(), std::logic_error, "Request does not have a ProgressCallback");
    EXPECT_FALSE(request.hasClientConfiguration());
    EXPECT_THROW_MSG(request.getClientConfiguration(), std::logic_error, "Request does not have a ClientConfiguration");
    EXPECT_FALSE(static_cast<bool>(request.getPreRespCodeAndHeadersCallback()));
    const auto stream = request.getResponseStreamFactory()(HttpResponseCode::OK, "OK", HttpHeaders());
    *stream << "body";
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream->rdbuf()), {}), "body");
}

TEST(HttpRequest, QueryTextIsAppendedToTheUrlAsItIs)
{
    HttpRequest request(HttpMethod::GET, URL{"http://h/p?x=1"}, {});
    request.setQueryParameters(QueryParameters{{"a", "1"}, {"b", "c d"}});
    EXPECT_EQ(request.getURL(), URL{"http://h/p?x=1?a=1&b=c%20d"});
}

TEST(HttpRequest, StringBodyAddsContentTypeThenContentLengthOnlyWhereAbsent)
{
    struct Row {
        Fields before, after;
        std::vector<std::string> writes;
    };
    const Row rows[] = {
        {{}, {{"Content-Type", "text/plain"}, {"Content-Length", "3"}}, {"Content-Type", "Content-Length"}},
        {{{"transfer-encoding", "chunked"}},
         {{"transfer-encoding", "chunked"}, {"Content-Type", "text/plain"}},
         {"Content-Type"}},
        {{{"content-type", "a/b"}}, {{"content-type", "a/b"}, {"Content-Length", "3"}}, {"Content-Length"}},
        {{{"Content-Length", "99"}}, {{"Content-Length", "99"}, {"Content-Type", "text/plain"}}, {"Content-Type"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before.empty() ? "no headers" : row.before[0].first);
        RecordingRequest request(row.before);
        request.setRequestBody(std::string("abc"));
        EXPECT_EQ(request.fields(), row.after);
        EXPECT_EQ(request.writes, row.writes);
        EXPECT_EQ(request.getRequestBodyString(), "abc");
        EXPECT_EQ(request.getRequestBodyString(), "") << "reading consumes the body";
    }
}

TEST(HttpRequest, StreamBodyReplacesTheBodyTouchesNoHeaderAndMovesWithTheRequest)
{
    RecordingRequest request({});
    request.setRequestBody(std::string("old"));
    auto stream = std::make_unique<std::istringstream>("new");
    const std::istream* const raw = stream.get();
    request.setRequestBody(std::move(stream));
    EXPECT_EQ(request.writes.size(), 2U);
    HttpRequest moved(std::move(request));
    EXPECT_EQ(&moved.getRequestBody(), raw);
    EXPECT_EQ(moved.getRequestBodyString(), "new");
}

TEST(HttpRequest, BuildersReturnTheSameRequestAndConfigurationsAreHeldAsIndependentCopies)
{
    HttpRequest request(HttpMethod::GET, URL{"http://h/"}, {});
    ClientConfiguration config;
    config.setMaxRedirects(1);
    HttpRequest& chained = request.withHeaders({{"A", "1"}})
                               .withProgressCallback([](const Progress&) { return ProgressResult::Abort; })
                               .withResponseStreamFactory(ResponseStreamFactory())
                               .withPreRespCodeAndHeadersCallback([] {})
                               .withClientConfiguration(config);
    EXPECT_EQ(&chained, &request);
    EXPECT_EQ(request.getHeaderValue("A"), "1");
    EXPECT_EQ(request.getProgressCallback()(Progress{0, 0, 0, 0}), ProgressResult::Abort);
    EXPECT_FALSE(static_cast<bool>(request.getResponseStreamFactory()));
    EXPECT_TRUE(static_cast<bool>(request.getPreRespCodeAndHeadersCallback()));

    config.setMaxRedirects(2);
    auto copy = request.getClientConfiguration();
    copy.setMaxRedirects(3);
    EXPECT_EQ(request.getClientConfiguration().maxRedirects(), 1);
    request.setClientConfiguration(ClientConfiguration().withFollowRedirects(false));
    EXPECT_EQ(request.getClientConfiguration().maxRedirects(), 5) << "replaced entirely";
    EXPECT_FALSE(request.getClientConfiguration().followRedirects());
}
