#include "Plan.hpp"

#include "Messages.hpp"

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/PercentEncoder.hpp>
#include <httpclient_core/QueryParameters.hpp>
#include <httpclient_core/URL.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

namespace httpfetch {

namespace {

using foundation::httpclient_core::ClientConfiguration;
using foundation::httpclient_core::HttpHeaders;
using foundation::httpclient_core::HttpMethod;
using foundation::httpclient_core::HttpRequest;
using foundation::httpclient_core::MultipartFormData;
using foundation::httpclient_core::PercentEncoder;
using foundation::httpclient_core::QueryParameters;
using foundation::httpclient_core::URL;

[[noreturn]] void fail(const std::string& message)
{
    throw UsageError(message);
}

// The whole content of a file, or of standard input for "-".
std::string readSource(const std::string& name, std::istream& standardInput)
{
    if (name == "-") {
        return {std::istreambuf_iterator<char>(standardInput), std::istreambuf_iterator<char>()};
    }
    std::ifstream file(name, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        fail(messages::cannotRead(name));
    }
    return content;
}

std::string withoutLineBreaks(std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }), text.end());
    return text;
}

std::string urlEncoded(const std::string& text, std::istream& standardInput)
{
    const PercentEncoder encode("%20");
    const auto cut = text.find_first_of("=@");
    if (cut == std::string::npos) {
        return encode(text);
    }
    const auto name = text.substr(0, cut);
    const auto rest = text.substr(cut + 1);
    const auto value = encode(text[cut] == '@' ? readSource(rest, standardInput) : rest);
    return name.empty() ? value : name + "=" + value;
}

std::string dataPiece(const Data& data, std::istream& standardInput)
{
    const bool fromFile = data.text.size() > 1 && data.text[0] == '@';
    switch (data.kind) {
    case Data::Kind::Ascii:
        return fromFile ? withoutLineBreaks(readSource(data.text.substr(1), standardInput)) : data.text;
    case Data::Kind::Binary:
        return fromFile ? readSource(data.text.substr(1), standardInput) : data.text;
    case Data::Kind::UrlEncode:
        return urlEncoded(data.text, standardInput);
    case Data::Kind::Raw:
        break;
    }
    return data.text;
}

std::string joinedData(const std::vector<Data>& data, std::istream& standardInput)
{
    std::string joined;
    for (const auto& piece : data) {
        if (&piece != &data.front()) {
            joined += '&';
        }
        joined += dataPiece(piece, standardInput);
    }
    return joined;
}

std::string base64(const std::string& bytes)
{
    constexpr const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string encoded;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto count = std::min<std::size_t>(3, bytes.size() - i);
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = (group << 8U) | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            encoded += k <= count ? alphabet[(group >> (18 - 6 * k)) & 63U] : '=';
        }
    }
    return encoded;
}

HttpMethod methodFor(const Options& options)
{
    if (options.method) {
        try {
            return foundation::httpclient_core::createHttpMethod(*options.method);
        } catch (const std::out_of_range&) {
            fail(messages::unknownMethod(*options.method));
        }
    }
    if (options.head) {
        return HttpMethod::HEAD;
    }
    const bool hasBody = (!options.data.empty() && !options.dataInQuery) || !options.form.empty();
    return hasBody ? HttpMethod::POST : HttpMethod::GET;
}

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Adds the -H headers; returns the names of those that "Name:" removes.
std::vector<std::string> applyHeaders(HttpRequest& request, const std::vector<std::string>& headers)
{
    std::vector<std::string> removed;
    for (const auto& header : headers) {
        const auto colon = header.find(':');
        const auto name = header.substr(0, std::min(colon, header.find(';')));
        if (name.empty() || name.find_first_of(" \t") != std::string::npos) {
            fail(messages::badHeader(header));
        }
        if (colon == name.size()) {
            const auto value = trimmed(header.substr(colon + 1));
            if (value.empty()) {
                removed.push_back(name);
            } else {
                request.addHeaderValue(name, value);
            }
        } else if (header.size() == name.size() + 1) {
            request.addHeaderValue(name, "");
        } else {
            fail(messages::badHeader(header));
        }
    }
    return removed;
}

// NAME=@FILE[;type=TYPE][;filename=NAME] adds a file, NAME=<FILE a field
// read from FILE, NAME=VALUE a field.
void addFormPart(MultipartFormData& form, const std::string& text, std::istream& standardInput)
{
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        fail(messages::badFormPart(text));
    }
    const auto name = text.substr(0, equals);
    const auto value = text.substr(equals + 1);
    if (value.empty() || value[0] != '@') {
        form.addField(name, !value.empty() && value[0] == '<' ? readSource(value.substr(1), standardInput) : value);
        return;
    }
    std::istringstream pieces(value.substr(1));
    std::string path;
    std::getline(pieces, path, ';');
    std::string type = "application/octet-stream";
    std::optional<std::string> fileName;
    for (std::string parameter; std::getline(pieces, parameter, ';');) {
        if (parameter.rfind("type=", 0) == 0) {
            type = parameter.substr(5);
        } else if (parameter.rfind("filename=", 0) == 0) {
            fileName = parameter.substr(9);
        } else {
            fail(messages::badFormPart(text));
        }
    }
    form.addFile(name, path, type, fileName);
}

void attachBody(HttpRequest& request, const Options& options, std::istream& standardInput)
{
    if (!options.form.empty()) {
        MultipartFormData form;
        for (const auto& part : options.form) {
            addFormPart(form, part, standardInput);
        }
        try {
            form.attachTo(request);
        } catch (const std::runtime_error& error) {
            fail(messages::failure(error.what()));
        }
        return;
    }
    if (options.data.empty() || options.dataInQuery) {
        return;
    }
    if (!request.hasHeader(HttpHeaders::CONTENT_TYPE)) {
        request.setContentType("application/x-www-form-urlencoded");
    }
    request.setRequestBody(joinedData(options.data, standardInput));
}

// The URL with the -G data and the --query-param pairs added to its query.
std::string urlFor(const Options& options, std::istream& standardInput)
{
    std::string url = options.url;
    const auto append = [&url](const std::string& query) {
        url += (url.find('?') == std::string::npos ? '?' : '&') + query;
    };
    if (options.dataInQuery && !options.data.empty()) {
        append(joinedData(options.data, standardInput));
    }
    if (!options.query.empty()) {
        QueryParameters query;
        for (const auto& [name, value] : options.query) {
            query.addQueryParameter(name, value);
        }
        append(query.toString().substr(1));
    }
    return url;
}

// The last segment of the URL's path, for -O.
std::filesystem::path remoteFileName(const std::string& url)
{
    const auto scheme = url.find("://");
    const auto pathStart = url.find('/', scheme == std::string::npos ? 0 : scheme + 3);
    const auto path =
        pathStart == std::string::npos ? "" : url.substr(pathStart, url.find_first_of("?#", pathStart) - pathStart);
    const auto name = path.substr(path.find_last_of('/') + 1);
    if (name.empty()) {
        fail(messages::noRemoteName(url));
    }
    return name;
}

// The proxy URL with "user:password@" put in front of its host.
std::string proxyWithUser(const std::string& proxy, const std::string& user)
{
    const PercentEncoder encode("%20");
    const auto colon = user.find(':');
    auto credentials = encode(user.substr(0, colon));
    if (colon != std::string::npos) {
        credentials += ":" + encode(user.substr(colon + 1));
    }
    const auto scheme = proxy.find("://");
    const auto hostStart = scheme == std::string::npos ? 0 : scheme + 3;
    return (scheme == std::string::npos ? "http://" : proxy.substr(0, hostStart)) + credentials + "@" +
           proxy.substr(hostStart);
}

ClientConfiguration configurationFor(const Options& options)
{
    ClientConfiguration configuration;
    configuration.withFollowRedirects(options.followRedirects).withResumeOnRetry(options.resume);
    if (options.maxRedirects) {
        configuration.setMaxRedirects(*options.maxRedirects);
    }
    if (options.connectTimeout) {
        configuration.setConnectTimeout(static_cast<long>(std::ceil(*options.connectTimeout * 1000)));
    }
    if (options.maxTime) {
        configuration.setRequestTimeout(static_cast<long>(std::ceil(*options.maxTime * 1000)));
    }
    configuration.setAcceptCompressed(options.compressed);
    if (options.caCertificate) {
        configuration.setCertificateFile(*options.caCertificate);
    }
    if (options.proxy) {
        configuration.setProxy(options.proxyUser ? proxyWithUser(*options.proxy, *options.proxyUser) : *options.proxy);
    }
    return configuration;
}

OutputPlan outputFor(const Options& options)
{
    OutputPlan output;
    if (options.output && *options.output != "-") {
        output.file = *options.output;
    } else if (!options.output && options.remoteName) {
        output.file = remoteFileName(options.url);
    }
    if (options.resume) {
        if (!output.file) {
            fail(messages::resumeNeedsFile());
        }
        std::error_code error;
        const auto size = std::filesystem::file_size(*output.file, error);
        output.resumeFrom = error ? 0 : static_cast<std::int64_t>(size);
    }
    output.include = options.include;
    output.headersOnly = options.head;
    output.fail = options.fail;
    output.failWithBody = options.failWithBody;
    output.silent = options.silent;
    output.showError = options.showError;
    output.verbose = options.verbose;
    output.writeOut = options.writeOut;
    if (options.cookieJar) {
        output.cookieJar = *options.cookieJar;
    }
    output.retries = options.retries;
    output.retryDelay = options.retryDelay;
    output.retryMaxTime = options.retryMaxTime;
    output.retryAllErrors = options.retryAllErrors;
    return output;
}

} // namespace

Plan makePlan(const Options& options, std::istream& standardInput, std::int64_t now)
{
    auto output = outputFor(options);
    const auto url = urlFor(options, standardInput);
    HttpRequest request(methodFor(options), URL{url}, HttpHeaders());
    const auto removed = applyHeaders(request, options.headers);
    std::string cookies;
    for (const auto& cookie : options.cookies) {
        if (cookie.find('=') != std::string::npos) {
            cookies += (cookies.empty() ? "" : "; ") + cookie;
        } else {
            std::ifstream file(cookie);
            output.cookies = CookieJar::read(file);
        }
    }
    const auto stored = output.cookies.headerFor(url, now);
    cookies += (cookies.empty() || stored.empty() ? "" : "; ") + stored;
    if (!cookies.empty()) {
        request.addHeaderValue("Cookie", cookies);
    }
    if (options.user && !request.hasHeader("Authorization")) {
        request.setHeaderValue("Authorization", "Basic " + base64(*options.user));
    }
    attachBody(request, options, standardInput);
    if (output.resumeFrom && *output.resumeFrom > 0) {
        request.setHeaderValue("Range", "bytes=" + std::to_string(*output.resumeFrom) + "-");
    }
    for (const auto& name : removed) {
        request.removeHeader(name);
    }
    return {std::move(request), configurationFor(options), std::move(output)};
}

} // namespace httpfetch
