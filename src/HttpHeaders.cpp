#include <httpclient_core/HttpHeaders.hpp>

#include <stdexcept>
#include <string_view>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwMissingDelimiter(const std::string& delimiter, const std::string& text)
{
    throw std::runtime_error("Missing delimiter <" + delimiter + "> when parsing : <" + text + ">");
}

constexpr bool isWhitespace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The text without leading and trailing blanks, tabs, CRs and LFs; a view into text.
std::string_view trim(std::string_view text)
{
    std::size_t first = 0;
    while (first < text.size() && isWhitespace(text[first])) {
        ++first;
    }
    std::size_t end = text.size();
    while (end > first && isWhitespace(text[end - 1])) {
        --end;
    }
    return text.substr(first, end - first);
}

// Calls piece(raw) for every piece of text between separators, empty pieces
// included, exactly as the element and parameter splitters cut; each piece is
// a view into text.
template <typename Piece>
void cut(std::string_view text, const std::string& separators, Piece piece)
{
    std::size_t start = 0;
    while (true) {
        const auto position = separators.empty() ? std::string_view::npos : text.find_first_of(separators, start);
        if (position == std::string_view::npos) {
            piece(start < text.size() ? text.substr(start) : std::string_view());
            return;
        }
        piece(text.substr(start, position - start));
        start = position + 1;
    }
}

} // namespace

const std::string HttpHeaders::ACCEPT = "Accept";
const std::string HttpHeaders::CONTENT_TYPE = "Content-Type";
const std::string HttpHeaders::CONTENT_LENGTH = "Content-Length";
const std::string HttpHeaders::COOKIE = "Cookie";
const std::string HttpHeaders::TRANSFER_ENCODING = "Transfer-Encoding";

HttpHeaders::HttpHeaders(std::initializer_list<std::pair<std::string, std::string>> fields) : fields(fields)
{
}

std::string HttpHeaders::getHeaderValue(const std::string& name) const
{
    return fields.get(name);
}

void HttpHeaders::setHeaderValue(const std::string& name, std::string value)
{
    fields.set(name, std::move(value));
}

void HttpHeaders::addHeaderValue(const std::string& name, std::string value)
{
    fields.add(name, std::move(value));
}

void HttpHeaders::addHeader(const std::string& line)
{
    auto field = splitParameter(line, ":");
    if (field.first.empty()) {
        return;
    }
    fields.add(std::move(field));
}

bool HttpHeaders::hasHeader(const std::string& name) const
{
    return fields.has(name);
}

void HttpHeaders::removeHeader(const std::string& name)
{
    fields.erase(name);
}

HttpHeaders::const_iterator HttpHeaders::find(const std::string& name) const
{
    return fields.find(name);
}

void HttpHeaders::splitElements(const std::string& text, const std::function<void(const std::string&)>& callback,
                                const std::string& separators, bool skipEmpty)
{
    const auto deliver = callback;
    cut(text, separators, [&](std::string_view raw) {
        const auto element = trim(raw);
        if (!skipEmpty || !element.empty()) {
            deliver(std::string(element));
        }
    });
}

std::pair<std::string, std::string> HttpHeaders::splitParameter(const std::string& text, const std::string& delimiter)
{
    const auto trimmed = trim(text);
    if (trimmed.empty()) {
        return {};
    }
    const auto position = trimmed.find(delimiter);
    if (position == std::string_view::npos) {
        throwMissingDelimiter(delimiter, text);
    }
    const auto name = trim(trimmed.substr(0, position));
    const auto valueStart = position + 1;
    const auto value = valueStart >= trimmed.size() ? std::string_view() : trim(trimmed.substr(valueStart));
    return {std::string(name), std::string(value)};
}

std::pair<std::string, NameValueCollection> HttpHeaders::splitParameters(const std::string& text,
                                                                         const std::string& separators)
{
    std::string leading;
    NameValueCollection parameters;
    cut(text, separators, [&](std::string_view piece) {
        if (leading.empty()) {
            leading = piece;
        } else {
            parameters.add(splitParameter(std::string(piece), "="));
        }
    });
    return {std::move(leading), std::move(parameters)};
}

} // namespace foundation::httpclient_core
