// A model of the header-value grammar, written from its documented rules and
// independent of the library's code, against which the targets compare what
// the library parses.
//
// Whitespace is exactly blank, tab, carriage return and line feed. Text is cut
// at every separator byte with no quoting, so n separators give n + 1 pieces.
// A parse that must fail yields the exact message of its std::runtime_error
// (such messages are never empty).
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

using Field = std::pair<std::string, std::string>;
using Fields = std::vector<Field>;

inline bool isWhitespace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

inline std::string trim(const std::string& text)
{
    std::size_t first = 0;
    std::size_t end = text.size();
    while (first < end && isWhitespace(text[first])) {
        ++first;
    }
    while (end > first && isWhitespace(text[end - 1])) {
        --end;
    }
    return text.substr(first, end - first);
}

// The raw pieces between separator bytes, empty ones included.
inline std::vector<std::string> cut(const std::string& text, const std::string& separators)
{
    std::vector<std::string> pieces(1);
    for (const char c : text) {
        if (separators.find(c) != std::string::npos) {
            pieces.emplace_back();
        } else {
            pieces.back() += c;
        }
    }
    return pieces;
}

// HttpHeaders::splitElements: the trimmed pieces, blank ones left out when
// skipEmpty.
inline std::vector<std::string> elements(const std::string& text, const std::string& separators, bool skipEmpty)
{
    std::vector<std::string> result;
    for (const auto& piece : cut(text, separators)) {
        auto element = trim(piece);
        if (!skipEmpty || !element.empty()) {
            result.push_back(std::move(element));
        }
    }
    return result;
}

struct ParameterCut {
    Field field;
    std::string error;
};

// HttpHeaders::splitParameter: ("", "") for blank text; otherwise the trimmed
// text before the first delimiter and the trimmed rest from one byte after the
// delimiter's position, whatever the delimiter's length.
inline ParameterCut parameter(const std::string& text, const std::string& delimiter)
{
    const auto trimmed = trim(text);
    if (trimmed.empty()) {
        return {};
    }
    const auto position = trimmed.find(delimiter);
    if (position == std::string::npos) {
        return {{}, "Missing delimiter <" + delimiter + "> when parsing : <" + text + ">"};
    }
    const auto valueStart = position + 1;
    auto value = valueStart < trimmed.size() ? trim(trimmed.substr(valueStart)) : std::string();
    return {{trim(trimmed.substr(0, position)), std::move(value)}, {}};
}

struct ParametersCut {
    std::string leading;
    Fields parameters;
    std::string error;
};

// HttpHeaders::splitParameters: the first non-empty raw piece, untrimmed, is
// the leading value; every later piece is cut at "=".
inline ParametersCut parameters(const std::string& text, const std::string& separators)
{
    ParametersCut result;
    for (const auto& piece : cut(text, separators)) {
        if (result.leading.empty()) {
            result.leading = piece;
            continue;
        }
        auto cutPiece = parameter(piece, "=");
        if (!cutPiece.error.empty()) {
            return {{}, {}, std::move(cutPiece.error)};
        }
        result.parameters.push_back(std::move(cutPiece.field));
    }
    return result;
}

// ContentType::parse: the type and parameters of splitParameters at ";", and
// no parameter without a value.
inline ParametersCut contentType(const std::string& text)
{
    auto result = parameters(text, ";");
    if (!result.error.empty()) {
        return result;
    }
    for (const auto& [name, value] : result.parameters) {
        if (value.empty()) {
            return {{}, {}, "Missing parameter value for <" + name + ">"};
        }
    }
    return result;
}

// Rendering "name=value" pairs joined by entrySeparator, as Cookie::toString
// ("; ") and the parameters of ContentType::toString (";") do.
inline std::string render(const Fields& fields, const std::string& entrySeparator)
{
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i != 0) {
            text += entrySeparator;
        }
        text += fields[i].first + "=" + fields[i].second;
    }
    return text;
}

// ContentType::toString: the type alone, or the type, "; " and the
// parameters joined by a bare ";".
inline std::string render(const ParametersCut& type)
{
    return type.parameters.empty() ? type.leading : type.leading + "; " + render(type.parameters, ";");
}

} // namespace fuzz
