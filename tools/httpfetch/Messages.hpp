// Every text httpfetch prints, in one place: the usage, usage errors,
// failures, the status line of -i, progress and retry lines, and the demo's
// summary. Lines come without their line end.
//
//   messages::statusLine(HttpResponseCode::NotFound, "Not Found");   // "404 Not Found"
//   messages::byteCount(13421772);                                  // "12.8 MiB"
#pragma once

#include "ProgressReporter.hpp"

#include <httpclient_core/HttpResponseCode.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace httpfetch::messages {

std::string usage();
std::string version();

// Usage errors, each prefixed "httpfetch: ".
std::string unknownOption(const std::string& option);
std::string missingArgument(const std::string& option);
std::string badNumber(const std::string& option, const std::string& text);
std::string badHeader(const std::string& header);
std::string emptyFieldName(const std::string& option, const std::string& field);
std::string unknownMethod(const std::string& method);
std::string missingUrl();
std::string extraOperand(const std::string& operand);
std::string dataAndForm();
std::string demoTakesNoUrl();

// "httpfetch: 404 Not Found", for an HTTP error status.
std::string httpError(foundation::httpclient_core::HttpResponseCode code, const std::string& reason);
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
