#include "Options.hpp"

#include "Messages.hpp"

#include <getopt.h>

#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace httpfetch {

namespace {

using foundation::httpclient_core::HttpMethod;

// Codes of the options that have no short form.
enum LongOnly : int {
    Retries = 256,
    Backoff,
    Resume,
    MaxRedirects,
    NoRedirects,
    ConnectTimeout,
    CaCert,
    Proxy,
    Help,
    Version,
    Demo,
};

// The leading ":" makes getopt_long report a missing argument as ':' and stay quiet.
const char* const shortOptions = ":X:H:d:F:q:o:is";

const option longOptions[] = {
    {"request", required_argument, nullptr, 'X'},
    {"header", required_argument, nullptr, 'H'},
    {"data", required_argument, nullptr, 'd'},
    {"form", required_argument, nullptr, 'F'},
    {"query", required_argument, nullptr, 'q'},
    {"output", required_argument, nullptr, 'o'},
    {"include", no_argument, nullptr, 'i'},
    {"silent", no_argument, nullptr, 's'},
    {"retries", required_argument, nullptr, Retries},
    {"backoff", required_argument, nullptr, Backoff},
    {"resume", no_argument, nullptr, Resume},
    {"max-redirects", required_argument, nullptr, MaxRedirects},
    {"no-redirects", no_argument, nullptr, NoRedirects},
    {"connect-timeout", required_argument, nullptr, ConnectTimeout},
    {"cacert", required_argument, nullptr, CaCert},
    {"proxy", required_argument, nullptr, Proxy},
    {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version},
    {"demo", no_argument, nullptr, Demo},
    {nullptr, 0, nullptr, 0},
};

[[noreturn]] void fail(const std::string& message)
{
    throw UsageError(message);
}

// A decimal count from 0 to maximum, nothing else around it.
long parseCount(const std::string& option, std::string_view text, long maximum)
{
    long value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value < 0 || value > maximum) {
        fail(messages::badNumber(option, std::string(text)));
    }
    return value;
}

Field parseField(const std::string& option, const std::string& text)
{
    const auto equals = text.find('=');
    Field field{text.substr(0, equals), equals == std::string::npos ? "" : text.substr(equals + 1)};
    if (field.first.empty()) {
        fail(messages::emptyFieldName(option, text));
    }
    return field;
}

std::string parseHeader(const std::string& text)
{
    const auto colon = text.find(':');
    if (colon == std::string::npos || text.find_first_not_of(" \t") >= colon) {
        fail(messages::badHeader(text));
    }
    return text;
}

HttpMethod parseMethod(const std::string& name)
{
    try {
        return foundation::httpclient_core::createHttpMethod(name);
    } catch (const std::out_of_range&) {
        fail(messages::unknownMethod(name));
    }
}

// The option as the user wrote it, for a message about it.
std::string offendingOption(char* argv[])
{
    if (optopt != 0 && optopt < Retries) {
        return std::string("-") + static_cast<char>(optopt);
    }
    return argv[optind - 1];
}

void apply(Options& options, int code, const std::string& argument, char* argv[])
{
    constexpr long maximumRetries = std::numeric_limits<int>::max() - 1;
    constexpr long maximum = std::numeric_limits<long>::max();
    switch (code) {
    case 'X':
        options.method = parseMethod(argument);
        break;
    case 'H':
        options.headers.push_back(parseHeader(argument));
        break;
    case 'd':
        options.data = argument;
        break;
    case 'F':
        options.form.push_back(parseField("-F", argument));
        break;
    case 'q':
        options.query.push_back(parseField("-q", argument));
        break;
    case 'o':
        options.output = argument;
        break;
    case 'i':
        options.include = true;
        break;
    case 's':
        options.silent = true;
        break;
    case Retries:
        options.retries = static_cast<int>(parseCount("--retries", argument, maximumRetries));
        break;
    case Backoff:
        options.backoff = std::chrono::milliseconds(parseCount("--backoff", argument, maximum));
        break;
    case Resume:
        options.resume = true;
        break;
    case MaxRedirects:
        options.maxRedirects = parseCount("--max-redirects", argument, maximum);
        break;
    case NoRedirects:
        options.followRedirects = false;
        break;
    case ConnectTimeout:
        options.connectTimeout = std::chrono::milliseconds(parseCount("--connect-timeout", argument, maximum));
        break;
    case CaCert:
        options.caCertificate = argument;
        break;
    case Proxy:
        options.proxy = argument;
        break;
    case Help:
        options.action = Options::Action::Help;
        break;
    case Version:
        options.action = Options::Action::Version;
        break;
    case Demo:
        options.action = Options::Action::Demo;
        break;
    case ':':
        fail(messages::missingArgument(argv[optind - 1]));
    default:
        fail(messages::unknownOption(offendingOption(argv)));
    }
}

void checkOperands(Options& options, int argc, char* argv[])
{
    const int operands = argc - optind;
    if (options.action == Options::Action::Demo && operands > 0) {
        fail(messages::demoTakesNoUrl());
    }
    if (options.action != Options::Action::Fetch) {
        return;
    }
    if (operands == 0) {
        fail(messages::missingUrl());
    }
    if (operands > 1) {
        fail(messages::extraOperand(argv[optind + 1]));
    }
    options.url = argv[optind];
    if (options.data && !options.form.empty()) {
        fail(messages::dataAndForm());
    }
}

} // namespace

HttpMethod Options::effectiveMethod() const
{
    if (method) {
        return *method;
    }
    return data || !form.empty() ? HttpMethod::POST : HttpMethod::GET;
}

Options parseOptions(int argc, char* argv[])
{
    Options options;
    opterr = 0;
    int code = 0;
    while ((code = getopt_long(argc, argv, shortOptions, longOptions, nullptr)) != -1) {
        apply(options, code, optarg != nullptr ? optarg : "", argv);
    }
    checkOperands(options, argc, argv);
    return options;
}

} // namespace httpfetch
