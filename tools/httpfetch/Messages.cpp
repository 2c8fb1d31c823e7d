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

Options mean what curl's options of the same name mean.

Request:
  -X, --request METHOD       GET, POST, PUT, DELETE, PATCH or HEAD
  -H, --header 'Name: value' add a header; 'Name:' removes it, 'Name;' sends it empty
  -d, --data DATA            form data (POST, application/x-www-form-urlencoded unless -H
                             sets a Content-Type); @FILE or @- reads it without CR and LF;
                             repeated -d are joined with &
      --data-raw DATA        as -d, but @ is not special
      --data-binary DATA     as -d; @FILE is sent byte for byte
      --data-urlencode DATA  TEXT, =TEXT, NAME=TEXT, @FILE or NAME@FILE, percent-encoded
  -G, --get                  put the data into the query of a GET instead
  -F, --form NAME=VALUE      multipart/form-data field; NAME=@FILE[;type=T][;filename=N]
                             uploads a file as it is read, NAME=<FILE sends its content
      --query-param NAME=VALUE  add a query parameter, percent-encoded
  -u, --user USER:PASSWORD   basic authentication
  -A, --user-agent TEXT      the User-Agent header
  -e, --referer URL          the Referer header
  -b, --cookie DATA|FILE     send 'NAME=VALUE; ...', or the matching cookies of a cookie file
  -c, --cookie-jar FILE      write the cookies, with those received, to FILE at the end

Connection:
  -L, --location             follow redirects (the default; --no-redirects turns it off)
      --max-redirs N         follow at most N redirects (default 5)
      --connect-timeout S    seconds allowed to connect, fractions allowed (default 5)
  -m, --max-time S           seconds the whole transfer may take, fractions allowed
      --compressed           ask for a compressed reply (gzip, deflate, br, zstd) and decode it
  -x, --proxy URL            use this proxy;  -U, --proxy-user USER:PASSWORD its credentials
      --cacert FILE          trust the CA certificates in FILE (-k is refused:
                             certificates are always verified)
      --retry N              retry a GET, HEAD, PUT or DELETE up to N times after a
                             time-out, a failed or cut connection, or a 408, 429, 500,
                             502, 503 or 504 reply (also --retries)
      --retry-delay S        base of the pause between retries, in seconds (default 0.5),
                             doubled after each failure in a row, at most 60 s; a
                             server's Retry-After (up to 120 s) is waited out
      --retry-max-time S     start no retry once S seconds have passed
      --retry-all-errors     retry after any failure, whatever the method or status

Output:
  -o, --output FILE          write the body to FILE ('-': standard output); FILE is
                             replaced only when the transfer succeeds
  -O, --remote-name          write to the file named by the URL's last segment
  -C, --continue-at -        continue the -o file from its size (also --resume)
  -i, --include              every response's status line and headers before the body
  -I, --head                 send HEAD and show the headers only
  -f, --fail                 no body and exit 22 for a status of 400 or more
      --fail-with-body       the body, then exit 22 for a status of 400 or more
  -s, --silent               no progress and no error messages;  -S, --show-error the errors
  -v, --verbose              the connection notes (*), the request head (>) and every
                             response head (<) on standard error
  -w, --write-out FORMAT     after the transfer: %{http_code} %{size_download}
                             %{time_total} %{url_effective} %{num_redirects}, \n
  -q, --disable              accepted and ignored
      --demo                 download a generated file from a misbehaving loopback server
  -h, --help;  -V, --version

Exit status: 0 when a response arrived, whatever its status (22 with -f or
--fail-with-body for 400 and above), 2 for a usage error, and for a failed
transfer curl's number for its cause: 6 host not resolved, 7 no connection,
18 body cut short, 23 body not written, 28 time-out, 33 range ignored by -C -,
35 TLS handshake, 47 too many redirects, 52 empty reply, 56 receive failure,
60 certificate not trusted, 77 CA file unreadable, 1 any other failure.)";

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

std::string traceLine(foundation::httpclient_curl::TraceKind kind, std::string_view line)
{
    using foundation::httpclient_curl::TraceKind;
    const char prefix = kind == TraceKind::Note ? '*' : kind == TraceKind::HeaderOut ? '>' : '<';
    return line.empty() ? std::string(1, prefix) : std::string(1, prefix) + " " + std::string(line);
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
           " failed (" + notice.reason + "); " + next + " in " + std::to_string(notice.pause.count()) + " ms" +
           (notice.serverWait ? " (the server asked for " + std::to_string(notice.serverWait->count()) + " ms)" : "");
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
