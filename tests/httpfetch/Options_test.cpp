// httpfetch's command line, parsed in process: curl's letters and long names,
// bundling, attached arguments, and the exact message of every usage error.
#include "Options.hpp"

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using httpfetch::Data;
using httpfetch::Options;
using httpfetch::parseOptions;
using httpfetch::UsageError;

namespace {

const std::string url = "http://127.0.0.1:1/f";

} // namespace

TEST(HttpfetchOptions, ReadsCurlsLettersBundledOrAttachedAndLongNames)
{
    const struct {
        std::vector<std::string> arguments;
        std::function<bool(const Options&)> holds;
    } rows[] = {
        {{"-sSfL", url}, [](const Options& o) { return o.silent && o.showError && o.fail && o.followRedirects; }},
        {{"-XPUT", "-ofile", url}, [](const Options& o) { return *o.method == "PUT" && *o.output == "file"; }},
        {{"-o", "-", "-O", "-i", "-I", url},
         [](const Options& o) { return *o.output == "-" && o.remoteName && o.include && o.head; }},
        {{"-d", "a=1", "--data-raw", "@x", "--data-binary", "@f", "--data-urlencode", "n=v w", "-G", url},
         [](const Options& o) {
             return o.data == std::vector<Data>{{Data::Kind::Ascii, "a=1"},
                                                {Data::Kind::Raw, "@x"},
                                                {Data::Kind::Binary, "@f"},
                                                {Data::Kind::UrlEncode, "n=v w"}} &&
                    o.dataInQuery;
         }},
        {{"-H", "Accept:", "-A", "agent/1", "-e", "http://from/", url},
         [](const Options& o) {
             return o.headers == std::vector<std::string>{"Accept:", "User-Agent: agent/1", "Referer: http://from/"};
         }},
        {{"-u", "me:pw", "-x", "http://127.0.0.1:3128", "-U", "p:q", url},
         [](const Options& o) {
             return *o.user == "me:pw" && *o.proxy == "http://127.0.0.1:3128" && *o.proxyUser == "p:q";
         }},
        {{"-b", "a=1", "-c", "jar.txt", "--connect-timeout", "0.25", "--max-redirs", "3", url},
         [](const Options& o) {
             return o.cookies == std::vector<std::string>{"a=1"} && *o.cookieJar == "jar.txt" &&
                    *o.connectTimeout == 0.25 && *o.maxRedirects == 3;
         }},
        {{"-C", "-", "--retry", "2", "--retry-delay", "1.5", "-w", "%{http_code}", url},
         [](const Options& o) {
             return o.resume && o.retries == 2 && o.retryDelay == 1.5 && *o.writeOut == "%{http_code}";
         }},
        {{"-q", "--query-param", "k=v", "--no-redirects", "--fail-with-body", "-v", url},
         [](const Options& o) {
             return o.query == std::vector<httpfetch::Field>{{"k", "v"}} && !o.followRedirects && o.failWithBody &&
                    o.verbose;
         }},
        {{"--", "-notanoption"}, [](const Options& o) { return o.url == "-notanoption"; }},
        {{"-h"}, [](const Options& o) { return o.action == Options::Action::Help; }},
        {{"--demo", "-s"}, [](const Options& o) { return o.action == Options::Action::Demo && o.silent; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.arguments));
        EXPECT_TRUE(row.holds(parseOptions(row.arguments)));
    }
}

TEST(HttpfetchOptions, RejectsMalformedCommandLinesWithTheirReason)
{
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } rows[] = {
        {{}, "no URL given"},
        {{url, url}, "one URL only; unexpected '" + url + "'"},
        {{"--bogus", url}, "unknown option --bogus"},
        {{"-sz", url}, "unknown option -z"},
        {{url, "-o"}, "option -o needs an argument"},
        {{url, "--retry"}, "option --retry needs an argument"},
        {{"--retry", "-1", url}, "--retry takes a whole number of 0 or more, not '-1'"},
        {{"--connect-timeout", "5ms", url}, "--connect-timeout takes a number of seconds such as 2 or 0.5, not '5ms'"},
        {{"--query-param", "=v", url}, "--query-param takes NAME=VALUE with a name, not '=v'"},
        {{"-C", "100", url}, "-C takes '-' (continue from the size of the -o file), not '100'"},
        {{"-k", url}, "-k/--insecure is not supported: certificates are always verified (use --cacert FILE)"},
        {{"-d", "x", "-F", "a=b", url}, "-d and -F cannot be used together"},
        {{"--demo", url}, "--demo takes no URL"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        EXPECT_THROW_MSG(parseOptions(row.arguments), UsageError, "httpfetch: " + row.message);
    }
}
