// Plan: what one run of httpfetch will do, made from its options without a
// socket or a process: the request, the client's configuration and what
// becomes of the response.
//
//   std::istringstream input;
//   Plan plan = makePlan(parseOptions({"-d", "a=1", "-d", "b=2", "-o", "out", "http://127.0.0.1/f"}), input);
//   plan.request.getRequestBodyString();            // "a=1&b=2"
//   plan.request.getHeaderValue("Content-Type");    // "application/x-www-form-urlencoded"
//   plan.output.file;                               // "out"
//
// Request data: -d TEXT as it is, "-d @FILE" the file without its CR and LF
// bytes ("@-": standard input), --data-raw as it is, --data-binary @FILE the
// file's bytes; --data-urlencode "TEXT" or "=TEXT" encoded, "NAME=TEXT" as
// NAME=encoded, "@FILE" and "NAME@FILE" the file encoded. Pieces are joined
// with "&" and sent form-urlencoded unless -H sets a Content-Type; with -G
// they go into the query instead. -F NAME=VALUE adds a field, NAME=<FILE a
// field read from FILE, NAME=@FILE[;type=TYPE][;filename=NAME] a file sent
// from disk as it is read. -H "Name: value" adds a header, "Name:" removes
// it, "Name;" sends it empty. -b NAME=VALUE[; ...] is sent as it is; -b FILE
// loads a cookie file (a missing one is empty) whose matching cookies are sent.
#pragma once

#include "CookieJar.hpp"
#include "Options.hpp"

#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/MultipartFormData.hpp>

#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>

namespace httpfetch {

// What becomes of the response and how the run reports.
struct OutputPlan {
    // Where the body goes; none: standard output.
    std::optional<std::filesystem::path> file;
    // -C -: the body continues the file from this size, written in place.
    std::optional<std::int64_t> resumeFrom;
    bool include = false;
    bool headersOnly = false;
    // -f: an HTTP error status fails the run and no body is written;
    // --fail-with-body: it fails the run after the body is written.
    bool fail = false;
    bool failWithBody = false;
    bool silent = false;
    bool showError = false;
    bool verbose = false;
    std::optional<std::string> writeOut;
    // The cookies of the -b files, which -c writes with those received.
    CookieJar cookies;
    std::optional<std::filesystem::path> cookieJar;
    int retries = 0;
    double retryDelay = 0.5;
    double retryMaxTime = 0; // seconds; 0: no limit
    bool retryAllErrors = false;
};

struct Plan {
    foundation::httpclient_core::HttpRequest request;
    foundation::httpclient_core::ClientConfiguration configuration;
    OutputPlan output;
};

// Reads the files and the standard input that the data and cookie options
// name; now (seconds since the epoch) decides which cookies expired. Throws
// UsageError for a header that is not "Name: value", "Name:" or "Name;", a
// file that cannot be read, an unknown -X method, -O on a URL without a file
// name, or a -F that is not NAME=VALUE.
Plan makePlan(const Options& options, std::istream& standardInput, std::int64_t now);

} // namespace httpfetch
