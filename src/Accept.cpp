#include <httpclient_core/Accept.hpp>

#include <httpclient_core/HttpHeaders.hpp>

#include <utility>

namespace foundation::httpclient_core {

Accept::Accept(std::vector<ContentType> types) : types(std::move(types))
{
}

Accept Accept::parse(const std::string& text)
{
    std::vector<ContentType> types;
    HttpHeaders::splitElements(
        text, [&types](const std::string& element) { types.push_back(ContentType::parse(element)); }, ",", true);
    return Accept(std::move(types));
}

std::vector<ContentType> Accept::getTypes() const
{
    return types;
}

bool Accept::operator==(const Accept& other) const
{
    return types == other.types;
}

std::string Accept::toString() const
{
    std::string text;
    bool first = true;
    for (const auto& type : types) {
        if (!first) {
            text += ", ";
        }
        first = false;
        text += type.toString();
    }
    return text;
}

} // namespace foundation::httpclient_core
