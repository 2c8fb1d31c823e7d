#include "Demo.hpp"

#include "BodySink.hpp"
#include "DemoServer.hpp"
#include "Fetch.hpp"
#include "Messages.hpp"

#include <unistd.h>

#include <chrono>
#include <iostream>

namespace httpfetch {

namespace {

constexpr int demoRetries = 3;
constexpr std::chrono::milliseconds demoBackoff{200};

Options demoOptions(const DemoServer& server)
{
    Options options;
    options.url = server.url();
    options.retries = demoRetries;
    options.backoff = demoBackoff;
    options.resume = true;
    return options;
}

} // namespace

int runDemo(bool silent, std::ostream& out)
{
    const DemoServer server;
    ProgressReporter reporter(ProgressReporter::styleFor(silent, STDERR_FILENO), std::cerr);
    MemorySink sink;
    AttemptLog log;
    const auto start = std::chrono::steady_clock::now();
    const auto response = fetch(demoOptions(server), sink, reporter, log);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    reporter.finish();

    const std::string body = sink.bytes();
    const bool intact =
        isSuccess(response.getResponseCode()) && body.size() == server.size() && fnv1a64(body) == server.checksum();
    out << messages::demoSummary(log.attempts, log.resumedAt, static_cast<std::int64_t>(body.size()), elapsed.count(),
                                 intact)
        << std::endl;
    return intact ? 0 : 1;
}

} // namespace httpfetch
