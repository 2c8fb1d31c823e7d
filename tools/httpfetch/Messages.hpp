// Every text httpfetch prints, in one place: the usage, usage errors,
// failures, the status line of -i, progress and retry lines, and the demo's
// summary. Lines come without their line end.
//
//   messages::statusLine(HttpResponseCode::NotFound, "Not Found");   // "404 Not Found"
//   messages::byteCount(13421772);                                  // "12.8 MiB"
#pragma once

#include "ProgressReporter.hpp"

#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace httpfetch::messages {

std::string usage();
std::string version();

// Usage errors, each prefixed "httpfetch: ".
std::string unknownOption(const std::string& option);
std::string missingArgument(const std::string& option);
std::string badNumber(const std::string& option, const std::string& text);
std::string badSeconds(const std::string& option, const std::string& text);
std::string badHeader(const std::string& header);
std::string emptyFieldName(const std::string& option, const std::string& field);
std::string badFormPart(const std::string& part);
std::string unknownMethod(const std::string& method);
std::string missingUrl();
std::string extraOperand(const std::string& operand);
std::string dataAndForm();
std::string demoTakesNoUrl();
std::string insecureRefused();
std::string onlyResumeFromSize(const std::string& offset);
std::string resumeNeedsFile();
std::string noRemoteName(const std::string& url);
std::string cannotRead(const std::string& file);
// What follows a usage error: where to find the usage.
std::string usageHint();

// "httpfetch: (22) The requested URL returned error: 404", for -f and --fail-with-body.
std::string httpError(foundation::httpclient_core::HttpResponseCode code);
// A reply of the whole body to a request for the rest of a file.
std::string rangeIgnored();
// A retry that would take back bytes already written to standard output
// (no file) or to a file that cannot be rewritten.
std::string cannotTakeBack(std::int64_t written, const std::optional<std::filesystem::path>& file);
// "httpfetch: " and the failure's text.
std::string failure(const std::string& what);
// The text of a failure that carries none.
std::string unknownFailure();
std::string cannotOpenOutput(const std::filesystem::path& path, const std::string& reason);
std::string demoServerFailed();

// "200 OK": the code and the reason phrase.
std::string statusLine(foundation::httpclient_core::HttpResponseCode code, const std::string& reason);
// One header field as printed by -i: "Name: value".
std::string headerLine(const std::string& name, const std::string& value);

// The figures that -w can show.
struct WriteOutFigures {
    foundation::httpclient_core::HttpResponseCode code;
    std::int64_t sizeDownload;
    double timeTotal;
    std::string urlEffective;
    long numRedirects;
};
// The -w format with its %{variables} replaced, and "\n", "\r", "\t" and
// "%%" unescaped; an unknown variable is left as written.
std::string writeOut(const std::string& format, const WriteOutFigures& figures);

// A line of -v: "* " before a note, "> " before a line sent, "< " before a
// line received; a blank line is the prefix alone (">").
std::string traceLine(foundation::httpclient_curl::TraceKind kind, std::string_view line);

// A count of bytes in B, KiB, MiB or GiB with one decimal: "512 B", "12.8 MiB".
std::string byteCount(std::int64_t bytes);
// The progress bar, for a terminal, redrawn in place.
std::string progressBar(const ProgressFigures& figures);
// One plain progress line, for anything but a terminal.
std::string progressLine(const ProgressFigures& figures);
// Which attempt failed, why, and how and when the next one starts.
std::string retryLine(const RetryNotice& notice);

// "demo: 3 attempts, resumed at 13421772 bytes, 33554432 bytes in 0.41 s (78.1 MiB/s), checksum OK".
std::string demoSummary(int attempts, std::optional<std::int64_t> resumedAt, std::int64_t bytes, double seconds,
                        bool checksumMatches);

} // namespace httpfetch::messages
