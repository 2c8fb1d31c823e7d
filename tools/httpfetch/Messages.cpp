#include "Messages.hpp"

#include <array>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <utility>

namespace httpfetch::messages {

namespace {

const std::string prefix = "httpfetch: ";

const char* const usageText =
    R"(Usage: httpfetch [options] URL
       httpfetch --demo [-s]

Options:
  -X, --request METHOD      GET, POST, PUT, DELETE, PATCH or HEAD
                            (default GET, or POST with -d or -F)
  -H, --header 'Name: value'
                            add a request header (repeatable)
  -d, --data DATA           send DATA as the body (text/plain unless -H sets a Content-Type)
  -F, --form NAME=VALUE     add a field to a form-encoded body (repeatable)
  -q, --query NAME=VALUE    add a query parameter to the URL (repeatable)
  -o, --output FILE         write the body to FILE instead of standard output
  -i, --include             print the status line and response headers before the body
      --retries N           retry a GET up to N more times after a time-out, a failed
                            or cut connection, or a 408, 416, 429 or 5xx reply (default 0)
      --backoff MS          base of the exponential pause between retries (default 500)
      --resume              let a retry continue a partial body with a Range request
      --max-redirects N     follow at most N redirects (default 5)
      --no-redirects        do not follow redirects
      --connect-timeout MS  time allowed to connect (default 5000)
      --cacert FILE         trust the CA certificates in FILE
      --proxy URL           connect through the proxy at URL
  -s, --silent              print no progress or retry lines
      --demo                download a generated file from a misbehaving loopback server,
                            with retries and resume, and verify its checksum
      --help                print this help
      --version             print the version

Exit status: 0 for a 2xx or 3xx reply, 1 for an HTTP error status, 2 for a
usage error, 3 for a failed transfer.)";

std::string oneDecimal(double value)
{
    std::ostringstream out;
    out << std::fixed << std::setprecision(1) << value;
    return out.str();
}

std::string rate(double bytesPerSecond)
{
    return byteCount(static_cast<std::int64_t>(bytesPerSecond)) + "/s";
}

// Whole percent of a known size, when the figures fit it.
std::optional<std::int64_t> percent(const ProgressFigures& figures)
{
    if (!figures.total || figures.received > *figures.total) {
        return std::nullopt;
    }
    return figures.received * 100 / *figures.total;
}

std::string bar(std::int64_t percentDone)
{
    constexpr std::int64_t width = 24;
    const auto filled = static_cast<std::size_t>(percentDone * width / 100);
    return "[" + std::string(filled, '#') + std::string(static_cast<std::size_t>(width) - filled, '-') + "]";
}

} // namespace

std::string usage()
{
    return usageText;
}

std::string version()
{
    return std::string("httpfetch ") + HTTPFETCH_VERSION;
}

std::string unknownOption(const std::string& option)
{
    return prefix + "unknown option " + option;
}

std::string missingArgument(const std::string& option)
{
    return prefix + "option " + option + " needs an argument";
}

std::string badNumber(const std::string& option, const std::string& text)
{
    return prefix + option + " takes a whole number of 0 or more, not '" + text + "'";
}

std::string badSeconds(const std::string& option, const std::string& text)
{
    return prefix + option + " takes a number of seconds such as 2 or 0.5, not '" + text + "'";
}

std::string badHeader(const std::string& header)
{
    return prefix + "-H takes 'Name: value', 'Name:' or 'Name;', not '" + header + "'";
}

std::string badFormPart(const std::string& part)
{
    return prefix + "-F takes NAME=VALUE, NAME=<FILE or NAME=@FILE[;type=TYPE][;filename=NAME], not '" + part + "'";
}

std::string emptyFieldName(const std::string& option, const std::string& field)
{
    return prefix + option + " takes NAME=VALUE with a name, not '" + field + "'";
}

std::string unknownMethod(const std::string& method)
{
    return prefix + "unknown method '" + method + "' (GET, POST, PUT, DELETE, PATCH or HEAD)";
}

std::string missingUrl()
{
    return prefix + "no URL given";
}

std::string extraOperand(const std::string& operand)
{
    return prefix + "one URL only; unexpected '" + operand + "'";
}

std::string dataAndForm()
{
    return prefix + "-d and -F cannot be used together";
}

std::string demoTakesNoUrl()
{
    return prefix + "--demo takes no URL";
}

std::string insecureRefused()
{
    return prefix + "-k/--insecure is not supported: certificates are always verified (use --cacert FILE)";
}

std::string onlyResumeFromSize(const std::string& offset)
{
    return prefix + "-C takes '-' (continue from the size of the -o file), not '" + offset + "'";
}

std::string resumeNeedsFile()
{
    return prefix + "-C - and --resume need -o FILE or -O";
}

std::string noRemoteName(const std::string& url)
{
    return prefix + "-O needs a URL that ends in a file name, not '" + url + "'";
}

std::string cannotRead(const std::string& file)
{
    return prefix + "cannot read '" + file + "'";
}

std::string usageHint()
{
    return "httpfetch: try 'httpfetch --help' for more information";
}

std::string httpError(foundation::httpclient_core::HttpResponseCode code)
{
    return prefix + "(22) The requested URL returned error: " + foundation::httpclient_core::to_string(code);
}

std::string rangeIgnored()
{
    return prefix + "(33) the server does not support byte ranges: cannot continue the file";
}

std::string cannotTakeBack(std::int64_t written, const std::optional<std::filesystem::path>& file)
{
    return prefix + "(23) a retry had to start the body again after " + std::to_string(written) + " bytes went to " +
           (file ? file->string() : std::string("standard output")) + "; use -o with a regular FILE with --retry";
}

std::string failure(const std::string& what)
{
    return prefix + what;
}

std::string unknownFailure()
{
    return "unknown failure";
}

std::string cannotOpenOutput(const std::filesystem::path& path, const std::string& reason)
{
    return "cannot open " + path.string() + " for writing: " + reason;
}

std::string demoServerFailed()
{
    return "the demo server could not listen on 127.0.0.1";
}

std::string statusLine(foundation::httpclient_core::HttpResponseCode code, const std::string& reason)
{
    return foundation::httpclient_core::to_string(code) + " " + reason;
}

std::string headerLine(const std::string& name, const std::string& value)
{
    return name + ": " + value;
}

std::string writeOut(const std::string& format, const WriteOutFigures& figures)
{
    const std::pair<const char*, std::string> variables[] = {
        {"%{http_code}", figures.code == foundation::httpclient_core::HttpResponseCode::RequestNotMade
                             ? "000"
                             : foundation::httpclient_core::to_string(figures.code)},
        {"%{size_download}", std::to_string(figures.sizeDownload)},
        {"%{time_total}",
         [&] {
             std::ostringstream out;
             out << std::fixed << std::setprecision(6) << figures.timeTotal;
             return out.str();
         }()},
        {"%{url_effective}", figures.urlEffective},
        {"%{num_redirects}", std::to_string(figures.numRedirects)},
        {"\\n", "\n"},
        {"\\r", "\r"},
        {"\\t", "\t"},
        {"%%", "%"},
    };
    std::string text;
    for (std::size_t i = 0; i < format.size();) {
        bool replaced = false;
        for (const auto& [name, value] : variables) {
            if (format.compare(i, std::strlen(name), name) == 0) {
                text += value;
                i += std::strlen(name);
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            text += format[i++];
        }
    }
    return text;
}

std::string byteCount(std::int64_t bytes)
{
    static const std::array<const char*, 4> units{"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024) {
        return std::to_string(bytes) + " B";
    }
    auto value = static_cast<double>(bytes) / 1024.0;
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < units.size()) {
        value /= 1024.0;
        ++unit;
    }
    return oneDecimal(value) + " " + units[unit];
}

std::string progressBar(const ProgressFigures& figures)
{
    const auto done = percent(figures);
    if (!done) {
        return byteCount(figures.received) + "  " + rate(figures.bytesPerSecond);
    }
    std::ostringstream out;
    out << bar(*done) << ' ' << std::setw(3) << *done << "%  " << byteCount(figures.received) << " of "
        << byteCount(*figures.total) << "  " << rate(figures.bytesPerSecond);
    return out.str();
}

std::string progressLine(const ProgressFigures& figures)
{
    const auto done = percent(figures);
    if (!done) {
        return prefix + byteCount(figures.received) + " at " + rate(figures.bytesPerSecond);
    }
    return prefix + byteCount(figures.received) + " of " + byteCount(*figures.total) + " (" + std::to_string(*done) +
           "%) at " + rate(figures.bytesPerSecond);
}

std::string retryLine(const RetryNotice& notice)
{
    const std::string next =
        notice.resumeAt ? "resuming at byte " + std::to_string(*notice.resumeAt) : std::string("retrying");
    return prefix + "attempt " + std::to_string(notice.attempt) + " of " + std::to_string(notice.maxAttempts) +
           " failed (" + notice.reason + "); " + next + " in " + std::to_string(notice.pause.count()) + " ms";
}

std::string demoSummary(int attempts, std::optional<std::int64_t> resumedAt, std::int64_t bytes, double seconds,
                        bool checksumMatches)
{
    std::ostringstream out;
    out << "demo: " << attempts << (attempts == 1 ? " attempt, " : " attempts, ");
    if (resumedAt) {
        out << "resumed at " << *resumedAt << " bytes, ";
    } else {
        out << "not resumed, ";
    }
    const double mebibytesPerSecond = seconds > 0 ? static_cast<double>(bytes) / seconds / (1024.0 * 1024.0) : 0.0;
    out << bytes << " bytes in " << std::fixed << std::setprecision(2) << seconds << " s ("
        << oneDecimal(mebibytesPerSecond) << " MiB/s), checksum " << (checksumMatches ? "OK" : "MISMATCH");
    return out.str();
}

} // namespace httpfetch::messages
