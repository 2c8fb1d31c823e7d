// Downloads a URL into a file with retries: a refused, reset or cut transfer
// is tried again after a jittered pause, a cut body continues where it stopped
// ("Range: bytes=N-" when the server sent "Accept-Ranges: bytes"), a 429 or
// 503 waits as long as its Retry-After asks, and every request of the program
// draws on one retry budget. Prints a line per retry, then the outcome.
//
//   resume_download http://127.0.0.1:8080/big.bin big.bin
#include <httpclient_core/httpclient_core.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

using namespace foundation::httpclient_core;

namespace {

// Why an attempt failed: its exception's text, or else its status line.
std::string failureOf(const HttpResponse& response, const std::exception_ptr& error)
{
    if (error) {
        try {
            std::rethrow_exception(error);
        } catch (const std::exception& failure) {
            return failure.what();
        }
    }
    return to_string(response.getResponseCode()) + ' ' + response.getResponseCodeReason();
}

// The same strategy, printing each retry it grants.
RetryStrategy printingRetries(RetryStrategy strategy)
{
    return [strategy](const HttpRequest& request, const HttpResponse& response, const std::exception_ptr& error,
                      int attempt, int failuresSinceSuccess) {
        const bool again = strategy(request, response, error, attempt, failuresSinceSuccess);
        if (again) {
            std::cout << "attempt " << attempt << " failed (" << failureOf(response, error) << "); retrying\n";
        }
        return again;
    };
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: resume_download URL FILE\n";
        return 2;
    }
    const std::string file = argv[2];

    // One budget for the whole program: once a failing server has used it up,
    // requests fail at once instead of piling retries on it.
    const auto quota = std::make_shared<RetryQuota>();
    JitteredBackoff backoff; // 100 ms, then 200 ms... (1 s, 2 s... after a 429 or 503), randomised
    backoff.maxAttempts = 4;
    ClientConfiguration configuration;
    configuration.withResumeOnRetry(true).withRetryStrategy(
        printingRetries(honorRetryAfter(withRetryQuota(jitteredRetryStrategy(backoff), quota))));
    const foundation::httpclient_curl::CurlHttpClient client(configuration);

    HttpRequest request(HttpMethod::GET, URL{argv[1]}, {});
    request.setResponseStreamFactory([file](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::fstream>(file, std::ios::out | std::ios::trunc | std::ios::binary);
    });
    try {
        HttpResponseCode code{};
        {
            const HttpResponse response = client.makeRequest(std::move(request));
            code = response.getResponseCode();
            std::cout << code << ' ' << response.getResponseCodeReason();
        } // closes the file
        std::cout << ", " << std::filesystem::file_size(file) << " bytes in " << file << '\n';
        return isSuccess(code) ? 0 : 1;
    } catch (const HttpRequestFailedException& failure) { // the last attempt failed, timed out or was cut
        std::cerr << failure.what() << '\n';
        return 3;
    }
}
