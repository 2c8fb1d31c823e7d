#include <httpclient_core/HttpClient.hpp>

#include "support/ExpectThrowMessage.hpp"
#include "support/Requests.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_scripted/ScriptedHttpClient.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

using namespace foundation::httpclient_core;
using foundation::httpclient_scripted::ScriptedHttpClient;
using foundation::httpclient_scripted::ScriptedReply;
using support::get;

namespace {

using Calls = std::vector<std::pair<int, int>>;

const ScriptedReply ok = ScriptedReply::status(HttpResponseCode::OK, "OK");

// A scripted client whose strategy allows the first `retries` retries and
// records every (attempt, failuresSinceSuccess) pair it is asked about.
class RetryingClient : public ScriptedHttpClient {
public:
    explicit RetryingClient(int retries, bool resume = false) { retryUpTo(retries, resume); }

    void retryUpTo(int retries, bool resume = false)
    {
        calls.clear();
        setClientConfiguration(support::with(
            [this, retries](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int attempt,
                            int failures) {
                calls.emplace_back(attempt, failures);
                return static_cast<int>(calls.size()) <= retries;
            },
            resume));
    }

    Calls calls;
};

ScriptedReply failed(const std::string& what = "cut")
{
    return ScriptedReply::failure(HttpRequestFailedException(what));
}

// A 200 whose transfer breaks after these body bytes.
ScriptedReply cutAfter(const std::string& body, const std::string& acceptRanges = "bytes")
{
    return ScriptedReply(ok)
        .withHeader("Accept-Ranges", acceptRanges)
        .withBody(body)
        .thenThrow(HttpRequestFailedException("cut"));
}

HttpRequest withBody(HttpHeaders headers)
{
    HttpRequest request(HttpMethod::POST, URL{"http://test/"}, std::move(headers));
    request.setRequestBody(std::make_unique<std::istringstream>("payload"));
    return request;
}

// A GET whose progress callback records the download figures it sees.
HttpRequest recordingProgress(std::vector<Progress>& seen)
{
    return std::move(get().withProgressCallback([&seen](const Progress& figures) {
        seen.push_back(figures);
        return ProgressResult::Continue;
    }));
}

} // namespace

TEST(HttpClientValidation, RequiresALengthOrAnEncodingAndRefusesTheirMixUnlessIdentity)
{
    ScriptedHttpClient client;
    client.setDefaultReply(ok);
    EXPECT_NO_THROW(client.makeRequest(get()));
    EXPECT_THROW_MSG(client.makeRequest(withBody({})), std::logic_error,
                     "A HttpRequest with a body must have a Content-Length or a Transfer-Encoding header.");
    const char* mixed = "HttpRequest headers must not include Content-Length and a non-identity Transfer-Encoding.";
    EXPECT_THROW_MSG(client.makeRequest(withBody({{"Content-Length", "7"}, {"Transfer-Encoding", "chunked"}})),
                     std::logic_error, mixed);
    EXPECT_THROW_MSG(client.makeRequest(withBody({{"content-length", "7"}, {"Transfer-Encoding", "Identity"}})),
                     std::logic_error, mixed);
    EXPECT_NO_THROW(client.makeRequest(withBody({{"Content-Length", "7"}, {"Transfer-Encoding", "identity"}})));
    EXPECT_NO_THROW(client.makeRequest(withBody({{"transfer-encoding", "anything"}})));
    EXPECT_EQ(client.attempts().size(), 3U) << "a refused request is never sent";
}

TEST(HttpClientMakeRequest, HandsTheStrategyAttemptAndFailureCountsAndRetriesUntilItDeclines)
{
    RetryingClient client(2);
    client.enqueue(failed());
    client.enqueue(failed());
    client.enqueue(ok);
    EXPECT_EQ(client.makeRequest(get()).getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(client.calls, (Calls{{1, 1}, {2, 2}, {3, 3}}));
    EXPECT_EQ(client.attempts().size(), 3U);
}

TEST(HttpClient, ResetsTheFailureCountAfterASuccessCodedAttemptSynchronouslyButOnItAsynchronouslyByDesign)
{
    RetryingClient client(2);
    client.enqueue(ScriptedReply(ok).thenThrow(HttpRequestFailedException("after the status line")));
    client.enqueue(failed());
    client.enqueue(failed());
    EXPECT_THROW(client.makeRequest(get()), HttpRequestFailedException);
    EXPECT_EQ(client.calls, (Calls{{1, 1}, {2, 1}, {3, 2}}));

    client.retryUpTo(0);
    client.enqueue(ScriptedReply(ok).thenThrow(HttpRequestFailedException("after the status line")));
    auto [future, id] = client.makeAsyncRequest(get());
    ASSERT_TRUE(support::ready(future));
    EXPECT_THROW(future.get(), HttpRequestFailedException);
    EXPECT_EQ(client.calls, (Calls{{1, 0}}));
}

TEST(HttpClientMakeRequest, RethrowsTheVeryExceptionObjectOfTheLastAttempt)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with(noRetriesStrategy()));
    const auto error = std::make_exception_ptr(HttpRequestTimeoutException());
    client.enqueue(ScriptedReply::failure(error));
    const void* original = nullptr;
    try {
        std::rethrow_exception(error);
    } catch (const HttpRequestTimeoutException& caught) {
        original = &caught;
    }
    try {
        client.makeRequest(get());
        FAIL() << "nothing was thrown";
    } catch (const HttpRequestTimeoutException& caught) {
        EXPECT_EQ(&caught, original);
    }
}

TEST(HttpClientMakeRequest, ThrowsBadFunctionCallAfterTheFirstAttemptWhenTheStrategyIsEmpty)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with(RetryStrategy()));
    EXPECT_THROW(client.makeRequest(get()), std::bad_function_call);
    EXPECT_EQ(client.attempts().size(), 1U);
}

TEST(HttpClient, UsesTheRequestsOwnConfigurationInsteadOfTheClientsForEveryAttempt)
{
    RetryingClient client(5);
    client.enqueue(failed());
    client.enqueue(failed());
    const auto ownConfiguration = [] {
        return std::move(get().withClientConfiguration(support::with(noRetriesStrategy())));
    };
    EXPECT_THROW(client.makeRequest(ownConfiguration()), HttpRequestFailedException);
    auto [future, id] = client.makeAsyncRequest(ownConfiguration());
    ASSERT_TRUE(support::ready(future));
    EXPECT_THROW(future.get(), HttpRequestFailedException);
    EXPECT_TRUE(client.calls.empty());
    EXPECT_EQ(client.attempts().size(), 2U);
}

TEST(HttpClientRetry, RewindsTheBodyAndMarksTheResponseNotMadeBeforeEachRetry)
{
    // Records what the response looked like when each attempt began.
    class ObservingClient : public RetryingClient {
    public:
        ObservingClient() : RetryingClient(1) {}
        mutable std::vector<std::tuple<HttpResponseCode, std::string, std::size_t>> seen;

    protected:
        void performRequest(HttpRequest& request, HttpResponse& response) const override
        {
            seen.emplace_back(response.getResponseCode(), response.getResponseCodeReason(),
                              response.getHeaders().size());
            RetryingClient::performRequest(request, response);
        }
    };
    ObservingClient client;
    client.enqueue(ScriptedReply::status(HttpResponseCode::ServiceUnavailable, "Busy").withHeader("Retry", "1"));
    client.enqueue(ok);
    client.makeRequest(withBody({{"Content-Length", "7"}}));

    const auto attempts = client.attempts();
    ASSERT_EQ(attempts.size(), 2U);
    EXPECT_EQ(attempts[0].body, "payload");
    EXPECT_EQ(attempts[1].body, "payload");
    ASSERT_EQ(client.seen.size(), 2U);
    EXPECT_EQ(client.seen[1],
              std::make_tuple(HttpResponseCode::RequestNotMade, std::string("Request Not Made"), std::size_t{0}));
}

TEST(HttpClientRetry, LeavesTheResponseUntouchedWhenNoStatusLineArrived)
{
    RetryingClient client(1);
    client.enqueue(failed());
    client.enqueue(ok);
    int callbacks = 0;
    client.makeRequest(std::move(get().withPreRespCodeAndHeadersCallback([&callbacks] { ++callbacks; })));
    EXPECT_EQ(callbacks, 1) << "only the second attempt's status line, no reset";
}

TEST(HttpClientRetry, ResumesWithARangeAndOffsetsProgressWhenTheServerAcceptsByteRanges)
{
    RetryingClient client(1, true);
    const std::string head(1000, 'a');
    client.enqueue(cutAfter(head));
    client.enqueue(ScriptedReply::status(HttpResponseCode::PartialContent, "Partial").withBody("tail"));
    std::vector<Progress> progress;
    EXPECT_EQ(client.makeRequest(recordingProgress(progress)).getResponseBodyString(), head + "tail");
    const auto attempts = client.attempts();
    ASSERT_EQ(attempts.size(), 2U);
    EXPECT_FALSE(attempts[0].headers.hasHeader("Range"));
    EXPECT_EQ(attempts[1].headers.getHeaderValue("Range"), "bytes=1000-");
    ASSERT_EQ(progress.size(), 2U);
    EXPECT_EQ(progress[0].downloadNow, 1000);
    EXPECT_EQ(progress[1].downloadNow, 1004);
    EXPECT_EQ(progress[1].downloadTotal, 1004);
}

TEST(HttpClientRetry, WrapsTheProgressWrapperAgainOnASecondResumeByDesign)
{
    RetryingClient client(2, true);
    client.enqueue(cutAfter("ab"));
    client.enqueue(cutAfter("cde"));
    client.enqueue(ScriptedReply::status(HttpResponseCode::PartialContent).withBody("f"));
    std::vector<Progress> progress;
    EXPECT_EQ(client.makeRequest(recordingProgress(progress)).getResponseBodyString(), "abcdef");
    EXPECT_EQ(client.attempts()[2].headers.getHeaderValue("Range"), "bytes=5-");
    // The second wrapper adds its offset of 5 to the first one's 2: the figures
    // of the third attempt are raised by 7, not by the 5 bytes received.
    std::vector<std::int64_t> downloaded;
    for (const auto& figures : progress) {
        downloaded.push_back(figures.downloadNow);
    }
    EXPECT_EQ(downloaded, (std::vector<std::int64_t>{2, 5, 8}));
}

TEST(HttpClientRetry, ResetsTheBodyUnlessAcceptRangesIsExactlyBytesOrTheReplyWasA416)
{
    for (const bool resume : {true, false}) {
        SCOPED_TRACE(resume);
        RetryingClient client(1, resume);
        client.enqueue(cutAfter("partial", resume ? "Bytes" : "bytes"));
        client.enqueue(ScriptedReply(ok).withBody("whole"));
        EXPECT_EQ(client.makeRequest(get()).getResponseBodyString(), "wholeal") << "reset overwrites in place";
        EXPECT_FALSE(client.attempts()[1].headers.hasHeader("Range"));
    }
    RetryingClient client(2, true);
    client.enqueue(cutAfter("abc"));
    client.enqueue(ScriptedReply::status(HttpResponseCode::RangeNotSatisfiable).withHeader("Accept-Ranges", "bytes"));
    client.enqueue(ScriptedReply(ok).withBody("abcdef"));
    EXPECT_EQ(client.makeRequest(get()).getResponseBodyString(), "abcdef");
    const auto attempts = client.attempts();
    EXPECT_EQ(attempts[1].headers.getHeaderValue("Range"), "bytes=3-");
    EXPECT_FALSE(attempts[2].headers.hasHeader("Range"));
}

TEST(HttpClientConfiguration, CallsTheHookOnceWithTheNewConfiguration)
{
    class HookedClient : public ScriptedHttpClient {
    public:
        std::vector<long> changes;

    protected:
        void configurationChanged(const ClientConfiguration& configuration) override
        {
            changes.push_back(configuration.maxRedirects());
        }
    };
    HookedClient client;
    client.setClientConfiguration(ClientConfiguration().withMaxRedirects(7));
    client.setClientConfiguration(ClientConfiguration().withMaxRedirects(9));
    EXPECT_EQ(client.changes, (std::vector<long>{7, 9}));
    EXPECT_EQ(client.getClientConfiguration().maxRedirects(), 9);
}

TEST(HttpClientAsync, NumbersRequestsFromZeroAndSkipsNoneButRefusedOnes)
{
    class RefusingClient : public ScriptedHttpClient {
    public:
        bool refuse = false;

    protected:
        void performAsyncRequest(HttpRequest request, HttpResponse response, unsigned long id,
                                 CompletionHandler handler) const override
        {
            if (refuse) {
                throw HttpRequestFailedException("refused");
            }
            ScriptedHttpClient::performAsyncRequest(std::move(request), std::move(response), id, std::move(handler));
        }
    };
    RefusingClient client;
    EXPECT_THROW(client.makeAsyncRequest(withBody({})), std::logic_error);
    auto first = client.makeAsyncRequest(get());
    EXPECT_EQ(first.second, 0UL);
    client.refuse = true;
    EXPECT_THROW(client.makeAsyncRequest(get()), HttpRequestFailedException);
    client.refuse = false;
    auto third = client.makeAsyncRequest(get());
    EXPECT_EQ(third.second, 2UL);
    ASSERT_TRUE(support::ready(first.first));
    ASSERT_TRUE(support::ready(third.first));
}

TEST(HttpClientAsync, RetriesUnderOneIdentifierAndCompletesOnceWithTheLastException)
{
    RetryingClient client(2);
    for (const char* what : {"first", "second", "third"}) {
        client.enqueue(failed(what));
    }
    std::promise<std::string> done;
    std::atomic<int> calls{0};
    const auto id = client.makeAsyncRequest(get(), [&](HttpRequest, HttpResponse, std::exception_ptr error) {
        ++calls;
        try {
            std::rethrow_exception(error);
        } catch (const HttpRequestFailedException& caught) {
            done.set_value(caught.what());
        }
    });
    auto message = done.get_future();
    ASSERT_TRUE(support::ready(message));
    EXPECT_EQ(message.get(), "third");
    client.waitForAsyncRequests();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(client.calls, (Calls{{1, 1}, {2, 2}, {3, 3}}));
    for (const auto& attempt : client.attempts()) {
        EXPECT_EQ(attempt.requestId, id);
    }
}

TEST(HttpClientAsync, FulfilsTheFutureWithTheResponseOrTheException)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with(noRetriesStrategy()));
    client.enqueue(ScriptedReply(ok).withBody("hello"));
    client.enqueue(ScriptedReply::failure(HttpRequestTimeoutException()));
    auto success = client.makeAsyncRequest(get());
    auto failure = client.makeAsyncRequest(get());
    ASSERT_TRUE(support::ready(success.first));
    ASSERT_TRUE(support::ready(failure.first));
    EXPECT_EQ(success.first.get().getResponseBodyString(), "hello");
    EXPECT_THROW_MSG(failure.first.get(), HttpRequestTimeoutException, "Request timed out.");
}

TEST(HttpClientAsync, NeverRunsTheCallersHandlerWhenTheChainItselfFails)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with([](const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                                                   int, int) -> bool { throw std::runtime_error("strategy failed"); }));
    auto thrown = client.makeAsyncRequest(get());
    client.setClientConfiguration(support::with(RetryStrategy()));
    auto empty = client.makeAsyncRequest(get());
    client.waitForAsyncRequests();
    client.setClientConfiguration(support::with(noRetriesStrategy()));
    client.enqueue(ScriptedReply(ok).droppingCompletion());
    auto dropped = client.makeAsyncRequest(get());
    for (auto* future : {&thrown.first, &empty.first, &dropped.first}) {
        ASSERT_TRUE(support::ready(*future));
        try {
            future->get();
            ADD_FAILURE() << "the handler ran";
        } catch (const std::future_error& error) {
            EXPECT_EQ(error.code(), std::future_errc::broken_promise);
        }
    }
}

TEST(ScriptedHttpClient, FailsAnAttemptWithoutAScriptedReplyNamingItsMethodAndUrl)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with(noRetriesStrategy()));
    EXPECT_THROW_MSG(client.makeRequest(get()), HttpRequestFailedException, "No reply scripted for GET http://test/");
    auto [future, id] = client.makeAsyncRequest(withBody({{"Content-Length", "7"}}));
    ASSERT_TRUE(support::ready(future));
    EXPECT_THROW_MSG(future.get(), HttpRequestFailedException, "No reply scripted for POST http://test/");
    client.setDefaultReply(ok);
    EXPECT_EQ(client.makeRequest(get()).getResponseCode(), HttpResponseCode::OK);
}

TEST(ScriptedHttpClient, CancelsQueuedAndRunningAttemptsAndIgnoresIdentifiersNotInFlight)
{
    ScriptedHttpClient client;
    client.setClientConfiguration(support::with(noRetriesStrategy()));
    client.setDefaultReply(ok);
    client.cancelAsyncRequest(0);
    auto unaffected = client.makeAsyncRequest(get());
    EXPECT_EQ(unaffected.second, 0UL) << "the identifier cancelled before it was in flight";
    ASSERT_TRUE(support::ready(unaffected.first));
    EXPECT_EQ(unaffected.first.get().getResponseCode(), HttpResponseCode::OK);

    // The attempt's own progress report cancels everything while it runs.
    auto running = client.makeAsyncRequest(std::move(get().withProgressCallback([&client](const Progress&) {
        client.cancelAllAsyncRequests();
        return ProgressResult::Continue;
    })));
    ASSERT_TRUE(support::ready(running.first));
    EXPECT_THROW_MSG(running.first.get(), HttpRequestCancelledException, "Request cancelled");
    client.waitForAsyncRequests();

    std::promise<void> release;
    auto gate = release.get_future().share();
    // The first request's handler holds the client's thread until released,
    // so the second one is still queued when it is cancelled.
    client.makeAsyncRequest(get(), [gate](HttpRequest, HttpResponse, std::exception_ptr) { gate.wait(); });
    auto [future, id] = client.makeAsyncRequest(get());
    EXPECT_EQ(client.pendingAsyncRequests(), 2U);
    client.cancelAsyncRequest(id);
    release.set_value();
    ASSERT_TRUE(support::ready(future));
    client.waitForAsyncRequests();
    EXPECT_EQ(client.pendingAsyncRequests(), 0U);
    EXPECT_THROW_MSG(future.get(), HttpRequestCancelledException, "Request cancelled");
}
