#include <httpclient_core/NameValueCollection.hpp>

#include <algorithm>
#include <clocale>
#include <locale.h>
#include <new>
#include <sstream>
#include <stdexcept>
#include <strings.h>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwNotFound(const std::string& name)
{
    throw std::out_of_range(name + " not found.");
}

template <typename Write>
void render(const NameValueCollection& collection, const std::string& entrySeparator,
            const std::string& pairSeparator, Write write)
{
    bool first = true;
    for (const auto& [name, value] : collection) {
        if (!first) {
            write(entrySeparator);
        }
        first = false;
        write(name, true);
        write(pairSeparator);
        write(value, true);
    }
}

} // namespace

class NameValueCollection::CaseInsensitiveCompare::Impl {
public:
    Impl() : locale(newlocale(LC_CTYPE_MASK, "C", nullptr))
    {
        if (locale == nullptr) {
            throw std::bad_alloc();
        }
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() { freelocale(locale); }

    locale_t locale;
};

NameValueCollection::CaseInsensitiveCompare::CaseInsensitiveCompare() : impl(std::make_shared<const Impl>()) {}

bool NameValueCollection::CaseInsensitiveCompare::operator()(const std::string& left,
                                                             const std::string& right) const
{
    return strcasecmp_l(left.c_str(), right.c_str(), impl->locale) < 0;
}

NameValueCollection::NameValueCollection() = default;

NameValueCollection::NameValueCollection(std::initializer_list<value_type> pairs) : entries(pairs)
{
    init();
}

NameValueCollection::NameValueCollection(const NameValueCollection& other) : entries(other.entries)
{
    init();
}

NameValueCollection& NameValueCollection::operator=(const NameValueCollection& other)
{
    if (this == &other) {
        return *this;
    }
    if (!entries.empty()) {
        // The list nodes are reused front to back; those beyond the source's
        // length are destroyed, so no index entry may keep pointing at them.
        if (entries.size() > other.entries.size()) {
            std::vector<iterator> surplus;
            auto it = std::next(entries.begin(), static_cast<std::ptrdiff_t>(other.entries.size()));
            for (; it != entries.end(); ++it) {
                surplus.push_back(it);
            }
            dropIndexEntriesOf(surplus);
        }
        indexHasExtras = true;
    }
    entries = other.entries;
    init();
    return *this;
}

void NameValueCollection::init()
{
    if (!nameIndex.empty()) {
        indexHasExtras = true;
    }
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        index(it);
    }
}

std::string NameValueCollection::get(const std::string& name) const
{
    const auto first = firstOf(name);
    if (first == nameIndex.end()) {
        throwNotFound(name);
    }
    return first->second->second;
}

void NameValueCollection::set(const std::string& name, std::string value)
{
    const auto first = firstOf(name);
    if (first != nameIndex.end()) {
        first->second->second = std::move(value);
        return;
    }
    entries.emplace_back(name, std::move(value));
    index(std::prev(entries.end()));
}

void NameValueCollection::add(const std::string& name, std::string value)
{
    entries.emplace_back(name, std::move(value));
    index(std::prev(entries.end()));
}

void NameValueCollection::add(value_type pair)
{
    entries.push_back(std::move(pair));
    index(std::prev(entries.end()));
}

bool NameValueCollection::has(const std::string& name) const
{
    return firstOf(name) != nameIndex.end();
}

void NameValueCollection::erase(const std::string& name)
{
    const auto [first, last] = nameIndex.equal_range(name);
    if (first == last) {
        return;
    }
    std::vector<iterator> doomed;
    for (auto it = first; it != last; ++it) {
        if (std::find(doomed.begin(), doomed.end(), it->second) == doomed.end()) {
            doomed.push_back(it->second);
        }
    }
    nameIndex.erase(first, last);
    if (indexHasExtras) {
        dropIndexEntriesOf(doomed);
    }
    for (const auto& entry : doomed) {
        entries.erase(entry);
    }
}

std::vector<std::string> NameValueCollection::getAll(const std::string& name) const
{
    const auto [first, last] = nameIndex.equal_range(name);
    std::vector<std::string> values;
    values.reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (auto it = first; it != last; ++it) {
        values.push_back(it->second->second);
    }
    return values;
}

NameValueCollection::const_iterator NameValueCollection::find(const std::string& name) const
{
    const auto first = firstOf(name);
    return first == nameIndex.end() ? entries.cend() : const_iterator(first->second);
}

bool NameValueCollection::operator==(const NameValueCollection& other) const
{
    return entries == other.entries;
}

std::ostream& NameValueCollection::toStream(std::ostream& out, const std::string& entrySeparator,
                                            const std::string& pairSeparator,
                                            const Transform& transform) const
{
    render(*this, entrySeparator, pairSeparator, [&](const std::string& text, bool transformed = false) {
        if (transformed) {
            out << transform(text);
        } else {
            out << text;
        }
    });
    return out;
}

std::string NameValueCollection::toString(const std::string& entrySeparator, const std::string& pairSeparator,
                                          const Transform& transform) const
{
    std::string text;
    render(*this, entrySeparator, pairSeparator, [&](const std::string& piece, bool transformed = false) {
        if (transformed) {
            text += transform(piece);
        } else {
            text += piece;
        }
    });
    return text;
}

std::string NameValueCollection::toString(const std::string& entrySeparator,
                                          const std::string& pairSeparator) const
{
    std::string text;
    render(*this, entrySeparator, pairSeparator, [&](const std::string& piece, bool = false) { text += piece; });
    return text;
}

NameValueCollection::Index::const_iterator NameValueCollection::firstOf(const std::string& name) const
{
    // The earliest-added entry of a name is the front of its equal range.
    const auto first = nameIndex.lower_bound(name);
    if (first == nameIndex.end() || nameIndex.key_comp()(name, first->first)) {
        return nameIndex.end();
    }
    return first;
}

void NameValueCollection::index(iterator entry)
{
    // A multimap inserts after every key equal to the new one, so the
    // earliest-added entry of a name stays first in its equal range.
    nameIndex.emplace(entry->first, entry);
}

void NameValueCollection::dropIndexEntriesOf(const std::vector<iterator>& doomed)
{
    for (auto it = nameIndex.begin(); it != nameIndex.end();) {
        if (std::find(doomed.begin(), doomed.end(), it->second) != doomed.end()) {
            it = nameIndex.erase(it);
        } else {
            ++it;
        }
    }
}

} // namespace foundation::httpclient_core
