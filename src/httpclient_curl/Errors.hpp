// Errors: every message the libcurl client writes, and the one mapping from
// libcurl's result codes to this library's exceptions.
//
//   transferError(CURLE_OPERATION_TIMEDOUT, "", url);   // holds HttpRequestTimeoutException
//   throwMalformedHeader("no colon", url);               // "Malformed header line <no colon> from <url>"
#pragma once

#include <httpclient_core/Exceptions.hpp>

#include <curl/curl.h>

#include <exception>
#include <string>
#include <string_view>

namespace foundation::httpclient_curl::detail {

// "Request to <url> failed: <reason>".
httpclient_core::HttpRequestFailedException requestFailure(const std::string& url, const std::string& reason);

[[noreturn]] void throwOutOfHandles();
[[noreturn]] void throwHeaderRefused(const std::string& name, const std::string& url);
[[noreturn]] void throwHeaderNameRefused(const std::string& name, const std::string& url);
[[noreturn]] void throwUnsupportedMethod(const std::string& url);
[[noreturn]] void throwBadContentLength(const std::string& value, const std::string& url);
[[noreturn]] void throwMalformedHeader(std::string_view line, const std::string& url);
[[noreturn]] void throwRangeMismatch(const std::string& contentRange, long long start, const std::string& url);
[[noreturn]] void throwBadReplyLength(const std::string& value, const std::string& url);
[[noreturn]] void throwConflictingReplyLength(const std::string& first, const std::string& second,
                                              const std::string& url);
// reason: the system's error text, or "" when it gave none.
[[noreturn]] void throwBodyWriteFailure(const std::string& url, const std::string& reason);
[[noreturn]] void throwBodyReadFailure(const std::string& url);
[[noreturn]] void throwHeaderBlockCut(const std::string& url);
[[noreturn]] void throwBodyNotRewindable(const std::string& url);

// Null for success, else a time-out, a cancellation, or a failure that
// carries libcurl's own error text (errorText when it holds one) and the URL:
// a TransferFailedException when the code has a known cause. Malformed
// replies, range mismatches and body stream failures are
// TransferFailedExceptions too.
std::exception_ptr transferError(CURLcode code, const char* errorText, const std::string& url);

std::exception_ptr cancellation();

} // namespace foundation::httpclient_curl::detail
