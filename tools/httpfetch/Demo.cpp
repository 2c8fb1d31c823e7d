#include "Demo.hpp"

#include "DemoServer.hpp"
#include "Fetch.hpp"
#include "Messages.hpp"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <utility>

namespace httpfetch {

namespace {

using foundation::httpclient_core::ClientConfiguration;
using foundation::httpclient_core::HttpMethod;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::URL;

constexpr int demoRetries = 3;
constexpr std::chrono::milliseconds demoBackoff{200};

} // namespace

int runDemo(bool silent, std::ostream& out)
{
    const DemoServer server;
    ProgressReporter reporter(ProgressReporter::styleFor(silent, STDERR_FILENO), std::cerr);
    AttemptLog log;
    const auto start = std::chrono::steady_clock::now();
    HttpRequest request(HttpMethod::GET, URL{server.url()}, {});
    const auto response = fetch(std::move(request), ClientConfiguration().withResumeOnRetry(true),
                                {demoRetries, demoBackoff, true}, reporter, log, {});
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    reporter.finish();

    const std::string body = response.getResponseBodyString();
    const bool intact =
        isSuccess(response.getResponseCode()) && body.size() == server.size() && fnv1a64(body) == server.checksum();
    out << messages::demoSummary(log.attempts, log.resumedAt, static_cast<std::int64_t>(body.size()), elapsed.count(),
                                 intact)
        << std::endl;
    return intact ? 0 : 1;
}

} // namespace httpfetch
