#include "Options.hpp"

#include "Messages.hpp"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace httpfetch {

namespace {

using Apply = void (*)(Options&, const std::string&);

// One option: its letter (0 for none), its long name, whether it takes an
// argument, and what it does.
struct OptionRule {
    char letter;
    const char* name;
    bool takesArgument;
    Apply apply;
};

[[noreturn]] void fail(const std::string& message)
{
    throw UsageError(message);
}

long parseCount(const std::string& option, const std::string& text, long maximum)
{
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || text[0] == '+' || *end != '\0' || errno != 0 || value > maximum) {
        fail(messages::badNumber(option, text));
    }
    return value;
}

double parseSeconds(const std::string& option, const std::string& text)
{
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos || *end != '\0' ||
        !std::isfinite(value)) {
        fail(messages::badSeconds(option, text));
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

void addData(Options& options, Data::Kind kind, const std::string& text)
{
    options.data.push_back({kind, text});
}

const OptionRule rules[] = {
    {'X', "request", true, [](Options& o, const std::string& a) { o.method = a; }},
    {'H', "header", true, [](Options& o, const std::string& a) { o.headers.push_back(a); }},
    {'d', "data", true, [](Options& o, const std::string& a) { addData(o, Data::Kind::Ascii, a); }},
    {0, "data-ascii", true, [](Options& o, const std::string& a) { addData(o, Data::Kind::Ascii, a); }},
    {0, "data-raw", true, [](Options& o, const std::string& a) { addData(o, Data::Kind::Raw, a); }},
    {0, "data-binary", true, [](Options& o, const std::string& a) { addData(o, Data::Kind::Binary, a); }},
    {0, "data-urlencode", true, [](Options& o, const std::string& a) { addData(o, Data::Kind::UrlEncode, a); }},
    {'G', "get", false, [](Options& o, const std::string&) { o.dataInQuery = true; }},
    {'F', "form", true, [](Options& o, const std::string& a) { o.form.push_back(a); }},
    {0, "query-param", true,
     [](Options& o, const std::string& a) { o.query.push_back(parseField("--query-param", a)); }},
    {'q', "disable", false, [](Options&, const std::string&) {}},
    {'o', "output", true, [](Options& o, const std::string& a) { o.output = a; }},
    {'O', "remote-name", false, [](Options& o, const std::string&) { o.remoteName = true; }},
    {'i', "include", false, [](Options& o, const std::string&) { o.include = true; }},
    {'I', "head", false, [](Options& o, const std::string&) { o.head = true; }},
    {'L', "location", false, [](Options& o, const std::string&) { o.followRedirects = true; }},
    {0, "no-redirects", false, [](Options& o, const std::string&) { o.followRedirects = false; }},
    {0, "max-redirs", true,
     [](Options& o, const std::string& a) {
         o.maxRedirects = parseCount("--max-redirs", a, std::numeric_limits<long>::max());
     }},
    {'u', "user", true, [](Options& o, const std::string& a) { o.user = a; }},
    {'x', "proxy", true, [](Options& o, const std::string& a) { o.proxy = a; }},
    {'U', "proxy-user", true, [](Options& o, const std::string& a) { o.proxyUser = a; }},
    {'A', "user-agent", true, [](Options& o, const std::string& a) { o.headers.push_back("User-Agent: " + a); }},
    {'e', "referer", true, [](Options& o, const std::string& a) { o.headers.push_back("Referer: " + a); }},
    {'b', "cookie", true, [](Options& o, const std::string& a) { o.cookies.push_back(a); }},
    {'c', "cookie-jar", true, [](Options& o, const std::string& a) { o.cookieJar = a; }},
    {0, "connect-timeout", true,
     [](Options& o, const std::string& a) { o.connectTimeout = parseSeconds("--connect-timeout", a); }},
    {'m', "max-time", true, [](Options& o, const std::string& a) { o.maxTime = parseSeconds("--max-time", a); }},
    {0, "compressed", false, [](Options& o, const std::string&) { o.compressed = true; }},
    {'C', "continue-at", true,
     [](Options& o, const std::string& a) {
         if (a != "-") {
             fail(messages::onlyResumeFromSize(a));
         }
         o.resume = true;
     }},
    {0, "resume", false, [](Options& o, const std::string&) { o.resume = true; }},
    {0, "retry", true,
     [](Options& o, const std::string& a) {
         o.retries = static_cast<int>(parseCount("--retry", a, std::numeric_limits<int>::max() - 1));
     }},
    {0, "retries", true,
     [](Options& o, const std::string& a) {
         o.retries = static_cast<int>(parseCount("--retries", a, std::numeric_limits<int>::max() - 1));
     }},
    {0, "retry-max-time", true,
     [](Options& o, const std::string& a) { o.retryMaxTime = parseSeconds("--retry-max-time", a); }},
    {0, "retry-all-errors", false, [](Options& o, const std::string&) { o.retryAllErrors = true; }},
    {0, "retry-delay", true, [](Options& o, const std::string& a) { o.retryDelay = parseSeconds("--retry-delay", a); }},
    {'f', "fail", false, [](Options& o, const std::string&) { o.fail = true; }},
    {0, "fail-with-body", false, [](Options& o, const std::string&) { o.failWithBody = true; }},
    {'s', "silent", false, [](Options& o, const std::string&) { o.silent = true; }},
    {'S', "show-error", false, [](Options& o, const std::string&) { o.showError = true; }},
    {'v', "verbose", false, [](Options& o, const std::string&) { o.verbose = true; }},
    {'w', "write-out", true, [](Options& o, const std::string& a) { o.writeOut = a; }},
    {0, "cacert", true, [](Options& o, const std::string& a) { o.caCertificate = a; }},
    {'k', "insecure", false, [](Options&, const std::string&) { fail(messages::insecureRefused()); }},
    {'h', "help", false, [](Options& o, const std::string&) { o.action = Options::Action::Help; }},
    {'V', "version", false, [](Options& o, const std::string&) { o.action = Options::Action::Version; }},
    {0, "demo", false, [](Options& o, const std::string&) { o.action = Options::Action::Demo; }},
};

const OptionRule* byLetter(char letter)
{
    for (const auto& rule : rules) {
        if (rule.letter == letter) {
            return &rule;
        }
    }
    return nullptr;
}

const OptionRule* byName(const std::string& name)
{
    for (const auto& rule : rules) {
        if (name == rule.name) {
            return &rule;
        }
    }
    return nullptr;
}

// Walks the words, applying options and collecting operands.
class Parser {
public:
    explicit Parser(const std::vector<std::string>& words) : words(words) {}

    Options run()
    {
        bool optionsEnded = false;
        for (; next < words.size(); ++next) {
            const auto& word = words[next];
            if (optionsEnded || word.size() < 2 || word[0] != '-') {
                operands.push_back(word);
            } else if (word == "--") {
                optionsEnded = true;
            } else if (word[1] == '-') {
                longOption(word);
            } else {
                shortOptions(word);
            }
        }
        checkOperands();
        return options;
    }

private:
    void longOption(const std::string& word)
    {
        const auto* rule = byName(word.substr(2));
        if (rule == nullptr) {
            fail(messages::unknownOption(word));
        }
        rule->apply(options, rule->takesArgument ? argumentAfter(word) : std::string());
    }

    void shortOptions(const std::string& word)
    {
        for (std::size_t i = 1; i < word.size(); ++i) {
            const auto* rule = byLetter(word[i]);
            if (rule == nullptr) {
                fail(messages::unknownOption(std::string("-") + word[i]));
            }
            if (!rule->takesArgument) {
                rule->apply(options, {});
                continue;
            }
            const auto attached = word.substr(i + 1);
            rule->apply(options, attached.empty() ? argumentAfter(std::string("-") + word[i]) : attached);
            return;
        }
    }

    std::string argumentAfter(const std::string& option)
    {
        if (next + 1 >= words.size()) {
            fail(messages::missingArgument(option));
        }
        return words[++next];
    }

    void checkOperands()
    {
        if (options.action == Options::Action::Demo && !operands.empty()) {
            fail(messages::demoTakesNoUrl());
        }
        if (options.action != Options::Action::Fetch) {
            return;
        }
        if (operands.empty()) {
            fail(messages::missingUrl());
        }
        if (operands.size() > 1) {
            fail(messages::extraOperand(operands[1]));
        }
        options.url = operands[0];
        if (!options.data.empty() && !options.form.empty()) {
            fail(messages::dataAndForm());
        }
    }

    const std::vector<std::string>& words;
    std::size_t next = 0;
    std::vector<std::string> operands;
    Options options;
};

} // namespace

Options parseOptions(const std::vector<std::string>& arguments)
{
    return Parser(arguments).run();
}

} // namespace httpfetch
