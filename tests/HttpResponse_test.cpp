#include <httpclient_core/HttpResponse.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(!std::is_copy_constructible_v<HttpResponse> && !std::is_copy_assignable_v<HttpResponse>);
static_assert(std::is_nothrow_move_constructible_v<HttpResponse> && std::is_nothrow_move_assignable_v<HttpResponse>);

namespace {

HttpRequest requestWith(ResponseStreamFactory factory, std::function<void()> callback = {})
{
    return std::move(HttpRequest(HttpMethod::GET, URL{"http://h/"}, {})
                         .withResponseStreamFactory(std::move(factory))
                         .withPreRespCodeAndHeadersCallback(std::move(callback)));
}

// Makes a stream whose write position starts after an existing "prefix".
std::unique_ptr<std::iostream> prefixedStream(HttpResponseCode, const std::string&, const HttpHeaders&)
{
    return std::make_unique<std::stringstream>("prefix", std::ios::in | std::ios::out | std::ios::ate);
}

std::string contentsOf(const HttpResponse& response)
{
    return static_cast<std::stringstream&>(response.getResponseBody()).str();
}

} // namespace

TEST(HttpResponse, AFreshResponseSaysNoRequestWasMade)
{
    const HttpResponse response;
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::RequestNotMade);
    EXPECT_EQ(response.getResponseCodeReason(), "Request Not Made");
    EXPECT_FALSE(isSuccess(response));
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
}

TEST(HttpResponse, RunsThePreResponseCallbackOnceBeforeEveryCodeOrHeaderChange)
{
    using Operation = std::function<void(HttpResponse&, const HttpRequest&)>;
    const std::tuple<const char*, Operation, int> rows[] = {
        {"setResponseCode", [](auto& r, auto&) { r.setResponseCode(HttpResponseCode::OK); }, 1},
        {"setResponseCodeAndReason", [](auto& r, auto&) { r.setResponseCodeAndReason(HttpResponseCode::OK, "OK"); }, 1},
        {"setHeaders",
         [](auto& r, auto&) {
             r.setHeaders(HttpHeaders{{"A", "1"}});
         },
         1},
        {"setHeaderValue", [](auto& r, auto&) { r.setHeaderValue("A", "1"); }, 1},
        {"addHeaderValue", [](auto& r, auto&) { r.addHeaderValue("A", "1"); }, 1},
        {"addHeader", [](auto& r, auto&) { r.addHeader("A: 1"); }, 1},
        {"removeHeader", [](auto& r, auto&) { r.removeHeader("A"); }, 1},
        {"setContentLength", [](auto& r, auto&) { r.setContentLength("10"); }, 1},
        {"setTransferEncoding", [](auto& r, auto&) { r.setTransferEncoding("chunked"); }, 1},
        {"setContentType(ContentType)", [](auto& r, auto&) { r.setContentType(ContentType("a/b", {})); }, 1},
        {"setAccept(Accept)", [](auto& r, auto&) { r.setAccept(Accept::parse("a/b")); }, 1},
        {"setCookie",
         [](auto& r, auto&) {
             r.setCookie(NameValueCollection{{"a", "1"}});
         },
         1},
        {"setResponseBody", [](auto& r, auto&) { r.setResponseBody("abc"); }, 1},
        {"setTransactionReport", [](auto& r, auto&) { r.setTransactionReport(TransactionReport(2, URL{"u"})); }, 0},
        {"getResponseBody", [](auto& r, auto&) { r.getResponseBody() << "x"; }, 0},
        {"move-assignment", [](auto& r, auto& request) { r = HttpResponse(request); }, 0},
    };
    for (const auto& [name, operation, expected] : rows) {
        SCOPED_TRACE(name);
        int calls = 0;
        const auto request = requestWith(defaultResponseStreamFactory(), [&] { ++calls; });
        HttpResponse response(request);
        operation(response, request);
        operation(response, request);
        EXPECT_EQ(calls, 2 * expected) << "no flag remembers an earlier call";
    }
}

TEST(HttpResponse, AThrowingCallbackLeavesCodeHeadersAndBodyAsTheyWere)
{
    int made = 0;
    const auto counting = [&](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
        ++made;
        return defaultResponseStreamFactory()(code, reason, headers);
    };
    HttpResponse response(requestWith(counting, [] { throw std::runtime_error("callback"); }));
    EXPECT_THROW_MSG(response.setResponseCodeAndReason(HttpResponseCode::OK, "OK"), std::runtime_error, "callback");
    EXPECT_THROW(response.setResponseCode(HttpResponseCode::OK), std::runtime_error);
    EXPECT_THROW(response.setHeaders(HttpHeaders{{"A", "1"}}), std::runtime_error);
    EXPECT_THROW(response.setContentType(ContentType("a/b", {})), std::runtime_error);
    EXPECT_THROW(response.setResponseBody("abc"), std::runtime_error);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::RequestNotMade);
    EXPECT_EQ(response.getResponseCodeReason(), "Request Not Made");
    EXPECT_TRUE(response.getHeaders().empty());
    EXPECT_EQ(made, 0) << "the body was not touched";
}

TEST(HttpResponse, FactoryRunsOnceAtFirstTouchWithCopiesOfTheCodeReasonAndHeadersOfThatMoment)
{
    int made = 0;
    std::string seen;
    HttpResponse* self = nullptr;
    auto request = requestWith([&](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
        ++made;
        // A change made while the factory runs does not show through its arguments.
        self->setResponseCodeAndReason(HttpResponseCode::OK, "changed");
        self->setHeaderValue("Content-Range", "changed");
        seen = to_string(code) + " " + reason + " " + headers.getHeaderValue("content-range");
        return std::make_unique<std::stringstream>();
    });
    HttpResponse response(request);
    self = &response;
    request.setResponseStreamFactory(nullptr);
    response.setResponseCodeAndReason(HttpResponseCode::PartialContent, "Partial");
    response.setHeaderValue("Content-Range", "bytes 0-1/2");
    std::iostream& body = response.getResponseBody();
    EXPECT_EQ(&response.getResponseBody(), &body);
    response.resetResponseBody();
    EXPECT_EQ(made, 1);
    EXPECT_EQ(seen, "206 Partial bytes 0-1/2");
}

TEST(HttpResponse, AFailedFactoryLeavesNoBodyAndTheNextTouchRetries)
{
    EXPECT_THROW(HttpResponse(requestWith(nullptr)).getResponseBody(), std::bad_function_call);
    int made = 0;
    const auto failingTwice = [&](HttpResponseCode code, const std::string& reason,
                                  const HttpHeaders& headers) -> std::unique_ptr<std::iostream> {
        if (++made == 1) {
            return nullptr;
        }
        if (made == 2) {
            throw std::runtime_error("disk full");
        }
        return defaultResponseStreamFactory()(code, reason, headers);
    };
    HttpResponse response(requestWith(failingTwice));
    EXPECT_THROW_MSG(response.getResponseBody(), std::logic_error, "The response stream factory returned no stream.");
    EXPECT_THROW_MSG(response.getResponseBody(), std::runtime_error, "disk full");
    response.getResponseBody() << "ok";
    EXPECT_EQ(made, 3);
    EXPECT_EQ(response.getResponseBodyString(), "ok");
}

TEST(HttpResponse, SetResponseBodySetsContentLengthAndAppendsWithoutClearing)
{
    HttpResponse response;
    response.setResponseBody("hello");
    EXPECT_EQ(response.getHeaderValue("Content-Length"), "5");
    EXPECT_EQ(response.getResponseBodyString(), "hello");
    EXPECT_EQ(response.getResponseBodyString(), "") << "reading consumes the body";
    HttpResponse twice;
    twice.setResponseBody("ab");
    twice.setResponseBody("ab");
    EXPECT_EQ(twice.getHeaderValue("Content-Length"), "2");
    EXPECT_EQ(twice.getResponseBodyString(), "abab");
}

TEST(HttpResponse, ResetRewindsToTheFactoryStartWithoutTruncating)
{
    HttpResponse response;
    response.getResponseBody() << "abcdef";
    response.resetResponseBody();
    response.getResponseBody() << "xy";
    EXPECT_EQ(response.getResponseBodyString(), "xycdef");

    HttpResponse prefixed(requestWith(prefixedStream));
    prefixed.resetResponseBody(); // makes the body
    prefixed.getResponseBody() << "abc";
    prefixed.resetResponseBody();
    prefixed.getResponseBody() << "XY";
    EXPECT_EQ(contentsOf(prefixed), "prefixXYc");
}

TEST(HttpResponse, MovingHandsOverTheVeryStreamAndItsStartPosition)
{
    auto source = std::make_unique<HttpResponse>(requestWith(prefixedStream));
    source->setResponseCode(HttpResponseCode::OK);
    std::iostream* const stream = &source->getResponseBody();
    *stream << "abc";
    HttpResponse constructed(std::move(*source));
    source.reset(); // a moved-from response that still owned the stream would free it here
    EXPECT_EQ(&constructed.getResponseBody(), stream);
    EXPECT_EQ(constructed.getResponseCode(), HttpResponseCode::OK);

    int destroyed = 0;
    struct CountedStream : std::stringstream {
        explicit CountedStream(int& destroyed) : destroyed(destroyed) {}
        ~CountedStream() override { ++destroyed; }
        int& destroyed;
    };
    HttpResponse assigned(requestWith([&](auto, auto&, auto&) { return std::make_unique<CountedStream>(destroyed); }));
    assigned.getResponseBody() << "old";
    assigned = std::move(constructed);
    EXPECT_EQ(destroyed, 1) << "the old body is destroyed, not handed to the moved-from response";
    EXPECT_EQ(&assigned.getResponseBody(), stream);
    assigned.resetResponseBody();
    assigned.getResponseBody() << "XY";
    EXPECT_EQ(contentsOf(assigned), "prefixXYc");
}

TEST(HttpResponse, ConcurrentFirstTouchesShareOneStreamMadeOnce)
{
    std::atomic<int> made{0};
    const HttpResponse response(
        requestWith([&](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
            ++made;
            std::this_thread::yield();
            return defaultResponseStreamFactory()(code, reason, headers);
        }));
    std::atomic<bool> go{false};
    std::iostream* seen[2] = {nullptr, nullptr};
    const auto touch = [&](int i) {
        while (!go) {
            std::this_thread::yield();
        }
        seen[i] = &response.getResponseBody();
    };
    std::thread first(touch, 0);
    std::thread second(touch, 1);
    go = true;
    first.join();
    second.join();
    EXPECT_EQ(made, 1);
    EXPECT_EQ(seen[0], seen[1]);
}
