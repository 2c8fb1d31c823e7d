#include <httpclient_core/ContentType.hpp>

#include <httpclient_core/HttpHeaders.hpp>

#include <stdexcept>
#include <utility>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwMissingParameterValue(const std::string& name)
{
    throw std::runtime_error("Missing parameter value for <" + name + ">");
}

} // namespace

ContentType::ContentType(std::string type, NameValueCollection parameters)
    : type(std::move(type)),
      parameters(std::move(parameters))
{
}

ContentType ContentType::parse(const std::string& text)
{
    auto [type, parameters] = HttpHeaders::splitParameters(text, ";");
    for (const auto& [name, value] : parameters) {
        if (value.empty()) {
            throwMissingParameterValue(name);
        }
    }
    return ContentType(std::move(type), std::move(parameters));
}

std::string ContentType::getType() const
{
    return type;
}

NameValueCollection ContentType::getParameters() const
{
    return parameters;
}

bool ContentType::operator==(const ContentType& other) const
{
    return type == other.type && parameters == other.parameters;
}

std::string ContentType::toString() const
{
    if (parameters.empty()) {
        return type;
    }
    std::string text = type;
    text += "; ";
    text += parameters.toString(";", "=");
    return text;
}

} // namespace foundation::httpclient_core
