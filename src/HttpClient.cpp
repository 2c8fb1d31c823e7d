#include <httpclient_core/HttpClient.hpp>

#include <functional>
#include <stdexcept>
#include <string>

namespace foundation::httpclient_core {

namespace {

const std::string rangeHeader = "Range";
const std::string acceptRangesHeader = "Accept-Ranges";

void validateRequest(const HttpRequest& request)
{
    if (!request.hasRequestBody()) {
        return;
    }
    const bool hasLength = request.hasHeader(HttpHeaders::CONTENT_LENGTH);
    const bool hasEncoding = request.hasHeader(HttpHeaders::TRANSFER_ENCODING);
    if (!hasLength && !hasEncoding) {
        throw std::logic_error("A HttpRequest with a body must have a Content-Length or a Transfer-Encoding header.");
    }
    if (hasLength && hasEncoding && request.getHeaderValue(HttpHeaders::TRANSFER_ENCODING) != "identity") {
        throw std::logic_error(
            "HttpRequest headers must not include Content-Length and a non-identity Transfer-Encoding.");
    }
}

// Offsets the download figures by the bytes already received. Wrapping a
// wrapper adds the offsets up, as consecutive resumes need.
ProgressCallback offsetProgress(ProgressCallback previous, std::int64_t offset)
{
    return [previous = std::move(previous), offset](const Progress& progress) {
        Progress shifted = progress;
        shifted.downloadTotal += offset;
        shifted.downloadNow += offset;
        return previous(shifted);
    };
}

bool resumable(const HttpResponse& response)
{
    return response.hasHeader(acceptRangesHeader) && response.getHeaderValue(acceptRangesHeader) == "bytes";
}

void prepareForRetry(HttpRequest& request, HttpResponse& response, bool resume)
{
    if (request.hasRequestBody()) {
        // A transport that read the body to its end left it failed at EOF;
        // clear that so the rewind takes effect.
        auto& body = request.getRequestBody();
        body.clear();
        body.seekg(0);
    }
    const auto code = response.getResponseCode();
    if (code == HttpResponseCode::RequestNotMade) {
        return;
    }
    if (code == HttpResponseCode::RangeNotSatisfiable) {
        request.removeHeader(rangeHeader);
        response.resetResponseBody();
    } else if (resume && resumable(response)) {
        auto& body = response.getResponseBody();
        const std::int64_t received = static_cast<std::streamoff>(body.tellp());
        request.setHeaderValue(rangeHeader, "bytes=" + std::to_string(received) + "-");
        if (request.hasProgressCallback()) {
            request.setProgressCallback(offsetProgress(request.getProgressCallback(), received));
        }
        body.flush();
    } else {
        response.resetResponseBody();
    }
    response.setResponseCodeAndReason(HttpResponseCode::RequestNotMade, "Request Not Made");
    response.setHeaders(HttpHeaders());
}

class PromiseCompletionHandler {
public:
    explicit PromiseCompletionHandler(std::promise<HttpResponse> promise) : promise(std::move(promise)) {}

    void operator()(HttpRequest, HttpResponse response, std::exception_ptr error)
    {
        if (error) {
            promise.set_exception(std::move(error));
        } else {
            promise.set_value(std::move(response));
        }
    }

private:
    std::promise<HttpResponse> promise;
};

} // namespace

HttpClient::HttpClient() = default;

HttpClient::~HttpClient() = default;

HttpResponse HttpClient::makeRequest(HttpRequest request) const
{
    validateRequest(request);
    HttpResponse response(request);
    const auto retry = retryFor(request);
    const auto& strategy = retry.strategy;

    int failuresSinceSuccess = 0;
    int attempt = 1;
    std::exception_ptr lastError;
    bool again = true;
    while (again) {
        // Looks at the previous attempt's status, before the retry resets it.
        if (failuresSinceSuccess >= 1 && isSuccess(response.getResponseCode())) {
            failuresSinceSuccess = 0;
        }
        if (attempt != 1) {
            prepareForRetry(request, response, retry.resume);
        }
        try {
            performRequest(request, response);
            lastError = nullptr;
        } catch (...) {
            lastError = std::current_exception();
        }
        ++failuresSinceSuccess;
        if (!strategy) {
            throw std::bad_function_call();
        }
        again = strategy(request, response, lastError, attempt, failuresSinceSuccess);
        ++attempt;
    }
    if (lastError) {
        std::rethrow_exception(lastError);
    }
    return response;
}

unsigned long HttpClient::makeAsyncRequest(HttpRequest request, CompletionHandler handler) const
{
    validateRequest(request);
    HttpResponse response(request);
    const unsigned long requestId = nextRequestId.fetch_add(1);
    auto retry = retryFor(request);
    auto shared = std::make_shared<CompletionHandler>(std::move(handler));
    auto link = retryCompletionHandler(std::move(shared), requestId, 0, 0, std::move(retry));
    performAsyncRequest(std::move(request), std::move(response), requestId, std::move(link));
    return requestId;
}

std::pair<std::future<HttpResponse>, unsigned long> HttpClient::makeAsyncRequest(HttpRequest request) const
{
    std::promise<HttpResponse> promise;
    auto future = promise.get_future();
    const auto requestId =
        makeAsyncRequest(std::move(request), CompletionHandler(PromiseCompletionHandler(std::move(promise))));
    return {std::move(future), requestId};
}

void HttpClient::setClientConfiguration(ClientConfiguration configuration)
{
    const std::lock_guard<std::mutex> lock(configurationMutex);
    clientConfiguration = std::move(configuration);
    configurationChanged(clientConfiguration);
}

ClientConfiguration HttpClient::getClientConfiguration() const
{
    const std::lock_guard<std::mutex> lock(configurationMutex);
    return clientConfiguration;
}

void HttpClient::configurationChanged(const ClientConfiguration&)
{
}

HttpClient::Retry HttpClient::retryFor(const HttpRequest& request) const
{
    if (request.hasClientConfiguration()) {
        const auto configuration = request.getClientConfiguration();
        return {configuration.retryStrategy(), configuration.resumeOnRetry()};
    }
    const std::lock_guard<std::mutex> lock(configurationMutex);
    return {clientConfiguration.retryStrategy(), clientConfiguration.resumeOnRetry()};
}

CompletionHandler HttpClient::retryCompletionHandler(std::shared_ptr<CompletionHandler> handler,
                                                     unsigned long requestId, int attempt, int failuresSinceSuccess,
                                                     Retry retry) const
{
    // Whatever this link throws stays inside the handler, which nobody
    // hears of: by design the caller's handler is then never run.
    return CompletionHandler([client = this, attempt = attempt + 1, failuresSinceSuccess = failuresSinceSuccess + 1,
                              handler = std::move(handler), requestId, retry = std::move(retry)](
                                 HttpRequest request, HttpResponse response, std::exception_ptr error) mutable {
        // Each link judges with a fresh copy, so a strategy with state of its
        // own starts every attempt's decision from the configured state.
        const auto strategy = retry.strategy;
        // Unlike the synchronous loop, a success-coded attempt resets the count
        // before the strategy judges it.
        if (isSuccess(response.getResponseCode())) {
            failuresSinceSuccess = 0;
        }
        if (!strategy) {
            throw std::bad_function_call();
        }
        if (!strategy(request, response, error, attempt, failuresSinceSuccess)) {
            (*handler)(std::move(request), std::move(response), std::move(error));
            return;
        }
        prepareForRetry(request, response, retry.resume);
        auto next = client->retryCompletionHandler(std::move(handler), requestId, attempt, failuresSinceSuccess,
                                                   std::move(retry));
        client->performAsyncRequest(std::move(request), std::move(response), requestId, std::move(next));
    });
}

} // namespace foundation::httpclient_core
