// The command line of httpfetch, parsed with getopt_long.
//
//   httpfetch -q page=2 -H 'Accept: text/plain' --retries 3 --resume -o out.bin http://127.0.0.1:8080/file
//   // url "http://127.0.0.1:8080/file", query {("page", "2")}, headers {"Accept: text/plain"},
//   // retries 3, resume true, output "out.bin"
//
// A field of -F or -q is NAME=VALUE, cut at the first "="; without "=" the
// whole text is the name and the value is empty. A header of -H must read
// "Name: value".
#pragma once

#include <httpclient_core/HttpMethod.hpp>

#include <chrono>
#include <filesystem>
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

struct Options {
    enum class Action { Fetch, Help, Version, Demo };

    Action action = Action::Fetch;
    std::string url;
    std::optional<foundation::httpclient_core::HttpMethod> method;
    std::vector<std::string> headers;
    std::optional<std::string> data;
    std::vector<Field> form;
    std::vector<Field> query;
    std::optional<std::filesystem::path> output;
    bool include = false;
    int retries = 0;
    std::chrono::milliseconds backoff{500};
    bool resume = false;
    std::optional<long> maxRedirects;
    bool followRedirects = true;
    std::optional<std::chrono::milliseconds> connectTimeout;
    std::optional<std::filesystem::path> caCertificate;
    std::optional<std::string> proxy;
    bool silent = false;

    // The method of -X; without it POST when there is a body (-d or -F), else GET.
    foundation::httpclient_core::HttpMethod effectiveMethod() const;
};

// Parses the whole command line; argv[0] is the program's name. Throws
// UsageError for an unknown option, a missing or malformed argument, -d
// together with -F, or a URL missing or given twice (--demo takes none).
// Uses getopt_long, so it runs once per process.
Options parseOptions(int argc, char* argv[]);

} // namespace httpfetch
