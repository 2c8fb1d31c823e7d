// The command line of httpfetch, parsed as curl parses its own: the same
// letters and long names mean the same things.
//
//   parseOptions({"-sS", "-H", "Accept:", "-d", "a=1", "-o", "out.bin", "http://127.0.0.1:8080/form"});
//   // silent, showError, headers {"Accept:"}, data {{Data::Kind::Ascii, "a=1"}},
//   // output "out.bin", url "http://127.0.0.1:8080/form"
//
// Short options may be bundled ("-sSL") and take their argument attached or
// as the next word ("-XPOST", "-X POST"); long options take the next word.
// "--" ends the options. Texts are kept as given: what "-d @file", "-F" or
// "-H 'Name:'" mean is decided when the request is made (see Plan.hpp).
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace httpfetch {

// A command line that cannot be run; what() says why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Field = std::pair<std::string, std::string>;

// One piece of request data, as the option that gave it.
struct Data {
    enum class Kind {
        Ascii,    // -d: "@file" reads a file (or "@-" standard input) without CR and LF
        Raw,      // --data-raw: the text as it is
        Binary,   // --data-binary: "@file" reads the file's bytes as they are
        UrlEncode // --data-urlencode: "value", "=value", "name=value", "@file", "name@file"
    };
    Kind kind;
    std::string text;

    bool operator==(const Data& other) const { return kind == other.kind && text == other.text; }
};

struct Options {
    enum class Action { Fetch, Help, Version, Demo };

    Action action = Action::Fetch;
    std::string url;
    // -X as given; -I makes HEAD.
    std::optional<std::string> method;
    bool head = false;
    std::vector<std::string> headers;
    std::vector<Data> data;
    bool dataInQuery = false;
    std::vector<std::string> form;
    std::vector<Field> query;
    // "-" is standard output.
    std::optional<std::string> output;
    bool remoteName = false;
    bool include = false;
    bool followRedirects = true;
    std::optional<long> maxRedirects;
    std::optional<std::string> user;
    std::optional<std::string> proxy;
    std::optional<std::string> proxyUser;
    std::optional<std::string> referer;
    std::vector<std::string> cookies;
    std::optional<std::string> cookieJar;
    // Seconds, fractions allowed.
    std::optional<double> connectTimeout;
    // -m: seconds the whole attempt may take, fractions allowed.
    std::optional<double> maxTime;
    bool compressed = false;
    // -C - or --resume: continue a partial -o file from its size.
    bool resume = false;
    int retries = 0;
    double retryDelay = 0.5;
    double retryMaxTime = 0; // seconds; 0: no limit
    bool retryAllErrors = false;
    bool fail = false;
    bool failWithBody = false;
    bool silent = false;
    bool showError = false;
    bool verbose = false;
    std::optional<std::string> writeOut;
    std::optional<std::string> caCertificate;
};

// Parses the arguments after the program's name. Throws UsageError for an
// unknown option, a missing or malformed argument, -k, -C with anything but
// "-", -d together with -F, or a URL missing or given twice (--demo takes none).
Options parseOptions(const std::vector<std::string>& arguments);

} // namespace httpfetch
