// httpfetch: fetches one URL with CurlHttpClient; see messages::usage().
//
// Exit status, as curl's: 0 when a response arrived, whatever its status
// (unless -f or --fail-with-body: 22 for 400 and above); 2 for a usage error;
// for a failed transfer curl's number of its cause (TransferFailure), 28 for
// a time-out, 23 when the body could not be written, 33 when the server
// ignored the range of -C -, and 1 for a failure of any other cause.
#include "BodySink.hpp"
#include "Demo.hpp"
#include "Fetch.hpp"
#include "Messages.hpp"
#include "Options.hpp"
#include "Plan.hpp"
#include "ProgressReporter.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_curl/TransferFailedException.hpp>

#include <unistd.h>

#include <chrono>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using foundation::httpclient_core::HttpRequestTimeoutException;
using foundation::httpclient_core::HttpResponse;
using foundation::httpclient_curl::TraceCallback;
using foundation::httpclient_curl::TraceKind;
using foundation::httpclient_curl::TransferFailedException;
using namespace httpfetch;

enum ExitStatus : int {
    Success = 0,
    OtherFailure = 1,
    UsageFailure = 2,
    HttpFailure = 22,
    WriteFailure = 23,
    TimedOut = 28,
    RangeFailure = 33,
};

// Prints a failure unless -s silenced it without -S.
int failWith(const OutputPlan& plan, int status, const std::string& message)
{
    if (!plan.silent || plan.showError) {
        std::cerr << message << '\n';
    }
    return status;
}

int failedTransfer(const OutputPlan& plan, const BodySink& sink, std::int64_t written)
{
    if (sink.tookBack()) {
        return failWith(plan, WriteFailure, messages::cannotTakeBack(written, plan.file));
    }
    try {
        throw;
    } catch (const HttpRequestTimeoutException& error) {
        return failWith(plan, TimedOut, messages::failure(error.what()));
    } catch (const TransferFailedException& error) {
        return failWith(plan, static_cast<int>(error.cause()), messages::failure(error.what()));
    } catch (const std::exception& error) {
        return failWith(plan, OtherFailure, messages::failure(error.what()));
    }
}

bool isErrorStatus(const HttpResponse& response)
{
    return isClientError(response.getResponseCode()) || isServerError(response.getResponseCode());
}

// Writes the -c jar: the -b cookies with those the response set.
void saveCookies(OutputPlan& output, const HttpResponse* response)
{
    if (!output.cookieJar) {
        return;
    }
    if (response != nullptr) {
        output.cookies.receive(response->getTransactionReport().effectiveURL().toAsciiString(), response->getHeaders(),
                               std::time(nullptr));
    }
    std::ofstream jar(*output.cookieJar);
    output.cookies.write(jar);
}

// -v shows the transport's trace on standard error; -i and -I write the
// head of every response before the body.
TraceCallback traceFor(const OutputPlan& output, BodySink& sink)
{
    if (!output.verbose && !output.include && !output.headersOnly) {
        return {};
    }
    return [&output, &sink](TraceKind kind, std::string_view line) {
        if (output.verbose) {
            std::cerr << messages::traceLine(kind, line) << '\n';
        }
        if (kind == TraceKind::HeaderIn) {
            sink.writeHeadLine(line);
        }
    };
}

// What becomes of a response that arrived: the body kept or not, -w, and the exit status.
int deliver(const OutputPlan& output, BodySink& sink, const HttpResponse& response, double seconds)
{
    const bool resumed = output.resumeFrom && *output.resumeFrom > 0;
    if (resumed && isSuccess(response.getResponseCode()) &&
        response.getResponseCode() != foundation::httpclient_core::HttpResponseCode::PartialContent) {
        sink.restore();
        return failWith(output, RangeFailure, messages::rangeIgnored());
    }
    if (output.fail && isErrorStatus(response)) {
        sink.restore();
        return failWith(output, HttpFailure, messages::httpError(response.getResponseCode()));
    }
    const auto size = sink.bodySize();
    sink.finish(true);
    if (output.writeOut) {
        const auto report = response.getTransactionReport();
        std::cout << messages::writeOut(*output.writeOut,
                                        {response.getResponseCode(), size, seconds,
                                         report.effectiveURL().toAsciiString(), report.redirectCount()})
                  << std::flush;
    }
    if (output.failWithBody && isErrorStatus(response)) {
        return failWith(output, HttpFailure, messages::httpError(response.getResponseCode()));
    }
    return Success;
}

int runFetch(const Options& options)
{
    Plan plan = makePlan(options, std::cin, std::time(nullptr));
    auto& output = plan.output;
    std::unique_ptr<BodySink> sink;
    try {
        sink = BodySink::open(output);
    } catch (const std::exception& error) {
        return failWith(output, WriteFailure, messages::failure(error.what()));
    }
    plan.request.setResponseStreamFactory(sink->factory());
    ProgressReporter reporter(ProgressReporter::styleFor(output.silent, STDERR_FILENO), std::cerr);
    AttemptLog log;
    const RetrySettings retries{
        output.retries, std::chrono::milliseconds(static_cast<long>(output.retryDelay * 1000)), options.resume,
        std::chrono::milliseconds(static_cast<long>(output.retryMaxTime * 1000)), output.retryAllErrors};
    const auto start = std::chrono::steady_clock::now();
    try {
        const HttpResponse response = fetch(std::move(plan.request), std::move(plan.configuration), retries, reporter,
                                            log, traceFor(output, *sink));
        reporter.finish();
        saveCookies(output, &response);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        return deliver(output, *sink, response, elapsed.count());
    } catch (const std::exception&) {
        reporter.finish();
        const auto written = sink->bodySize();
        sink->finish(false);
        saveCookies(output, nullptr);
        return failedTransfer(output, *sink, written);
    }
}

int run(const Options& options)
{
    switch (options.action) {
    case Options::Action::Help:
        std::cout << messages::usage() << '\n';
        return Success;
    case Options::Action::Version:
        std::cout << messages::version() << '\n';
        return Success;
    case Options::Action::Demo:
        return runDemo(options.silent, std::cout);
    case Options::Action::Fetch:
        break;
    }
    return runFetch(options);
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        return run(parseOptions(std::vector<std::string>(argv + 1, argv + argc)));
    } catch (const UsageError& error) {
        std::cerr << error.what() << '\n' << messages::usageHint() << '\n';
        return UsageFailure;
    } catch (const std::exception& error) {
        std::cerr << messages::failure(error.what()) << '\n';
    } catch (...) {
        std::cerr << messages::failure(messages::unknownFailure()) << '\n';
    }
    return WriteFailure;
}
