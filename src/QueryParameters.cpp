#include <httpclient_core/QueryParameters.hpp>

#include <httpclient_core/PercentEncoder.hpp>

#include <algorithm>
#include <stdexcept>

namespace foundation::httpclient_core {

namespace {

const char* const keyValueSeparator = "=";
const char* const entrySeparator = "&";

[[noreturn]] void throwMissingKey(const std::string& key)
{
    throw std::logic_error("Requested query parameter (" + key + ") doesn't exist");
}

NameValueCollection checkedPairs(std::initializer_list<std::pair<std::string, std::string>> pairs)
{
    if (std::any_of(pairs.begin(), pairs.end(), [](const auto& pair) { return pair.first.empty(); })) {
        throw std::logic_error("Cannot create QueryParameter with an empty key");
    }
    return NameValueCollection(pairs);
}

} // namespace

QueryParameters::QueryParameters() : keyValueSep(keyValueSeparator), entrySep(entrySeparator)
{
}

QueryParameters::QueryParameters(std::initializer_list<std::pair<std::string, std::string>> pairs)
    : parameters(checkedPairs(pairs)),
      keyValueSep(keyValueSeparator),
      entrySep(entrySeparator)
{
}

QueryParameters::QueryParameters(NameValueCollection pairs)
    : parameters(std::move(pairs)),
      keyValueSep(keyValueSeparator),
      entrySep(entrySeparator)
{
}

bool QueryParameters::hasParameterKey(const std::string& key)
{
    return parameters.has(key);
}

std::string QueryParameters::getParameterValue(const std::string& key)
{
    if (!hasParameterKey(key)) {
        throwMissingKey(key);
    }
    return parameters.get(key);
}

std::vector<std::string> QueryParameters::getAllParameterValues(const std::string& key)
{
    if (!hasParameterKey(key)) {
        throwMissingKey(key);
    }
    std::vector<std::string> values;
    for (const auto& [name, value] : parameters) {
        if (name == key) {
            values.push_back(value);
        }
    }
    return values;
}

void QueryParameters::addQueryParameter(const std::string& key, std::string value)
{
    if (key.empty()) {
        throw std::logic_error("Cannot add QueryParameter with an empty key");
    }
    parameters.add(key, std::move(value));
}

std::size_t QueryParameters::size()
{
    return parameters.size();
}

bool QueryParameters::empty() const
{
    return parameters.empty();
}

std::string QueryParameters::toString() const
{
    if (parameters.empty()) {
        return {};
    }
    const PercentEncoder encode("%20");
    std::string text = "?";
    bool first = true;
    for (const auto& [key, value] : parameters) {
        if (!first) {
            text += entrySep;
        }
        first = false;
        text += encode(key);
        if (!value.empty()) {
            text += keyValueSep;
            text += encode(value);
        }
    }
    return text;
}

std::ostream& QueryParameters::toStream(std::ostream& out) const
{
    return out << toString();
}

std::string QueryParameters::getEntrySep()
{
    return entrySep;
}

std::string QueryParameters::getKeyValueSep()
{
    return keyValueSep;
}

} // namespace foundation::httpclient_core
