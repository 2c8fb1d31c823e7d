// httpfetch: fetches one URL with CurlHttpClient; see messages::usage().
//
// Exit status: 0 for a 2xx or 3xx reply, 1 for an HTTP error status (the
// status line on standard error), 2 for a usage error (the usage on standard
// error), 3 for a failed transfer (the failure's text on standard error).
#include "BodySink.hpp"
#include "Demo.hpp"
#include "Fetch.hpp"
#include "Messages.hpp"
#include "Options.hpp"
#include "ProgressReporter.hpp"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <memory>

namespace {

using foundation::httpclient_core::HttpResponse;
using namespace httpfetch;

enum ExitStatus : int { Success = 0, HttpError = 1, UsageFailure = 2, TransferFailure = 3 };

// Without -o the body waits in memory and goes to standard output at the
// end: a retry that starts afresh must be able to take back what an earlier
// attempt wrote, which a stream already sent to standard output cannot.
std::unique_ptr<BodySink> sinkFor(const Options& options)
{
    if (options.output) {
        return std::make_unique<FileSink>(*options.output);
    }
    return std::make_unique<MemorySink>();
}

void printHead(const HttpResponse& response)
{
    std::cout << messages::statusLine(response.getResponseCode(), response.getResponseCodeReason()) << '\n';
    for (const auto& [name, value] : response.getHeaders()) {
        std::cout << messages::headerLine(name, value) << '\n';
    }
    std::cout << '\n';
}

int exitStatusFor(const HttpResponse& response)
{
    const auto code = response.getResponseCode();
    if (isSuccess(code) || isRedirection(code)) {
        return Success;
    }
    std::cerr << messages::httpError(code, response.getResponseCodeReason()) << '\n';
    return HttpError;
}

int runFetch(const Options& options)
{
    ProgressReporter reporter(ProgressReporter::styleFor(options.silent, STDERR_FILENO), std::cerr);
    const auto sink = sinkFor(options);
    AttemptLog log;
    try {
        const HttpResponse response = fetch(options, *sink, reporter, log);
        reporter.finish();
        if (options.include) {
            printHead(response);
        }
        sink->finish(std::cout);
        return exitStatusFor(response);
    } catch (...) {
        // Delivers what the last attempt received; a file keeps no stale bytes.
        reporter.finish();
        sink->finish(std::cout);
        throw;
    }
}

int run(const Options& options)
{
    if (options.action == Options::Action::Help) {
        std::cout << messages::usage() << '\n';
        return Success;
    }
    if (options.action == Options::Action::Version) {
        std::cout << messages::version() << '\n';
        return Success;
    }
    if (options.action == Options::Action::Demo) {
        return runDemo(options.silent, std::cout);
    }
    return runFetch(options);
}

} // namespace

int main(int argc, char* argv[])
{
    Options options;
    try {
        options = parseOptions(argc, argv);
    } catch (const UsageError& error) {
        std::cerr << error.what() << "\n\n" << messages::usage() << '\n';
        return UsageFailure;
    }
    try {
        return run(options);
    } catch (const std::exception& error) {
        std::cerr << messages::failure(error.what()) << '\n';
    } catch (...) {
        std::cerr << messages::failure(messages::unknownFailure()) << '\n';
    }
    return TransferFailure;
}
