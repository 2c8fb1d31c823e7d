#include <httpclient_core/NameValueCollection.hpp>

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

namespace foundation::httpclient_core {

namespace {

// ASCII letters folded to lower case, every other byte as it is: the "C"
// locale's tolower, independent of any locale.
constexpr std::array<unsigned char, 256> makeFold()
{
    std::array<unsigned char, 256> fold{};
    for (unsigned c = 0; c < 256; ++c) {
        fold[c] = static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
    return fold;
}

constexpr std::array<unsigned char, 256> fold = makeFold();

// Collections up to this size are searched directly; a larger one, or one
// whose index must keep references beside its entries, gets the index.
constexpr std::size_t directSearchLimit = 16;

// Whether the names are equal under CaseInsensitiveCompare, in one pass.
bool sameName(const std::string& left, const std::string& right)
{
    const auto* a = reinterpret_cast<const unsigned char*>(left.c_str());
    const auto* b = reinterpret_cast<const unsigned char*>(right.c_str());
    while (fold[*a] == fold[*b] && *a != 0) {
        ++a;
        ++b;
    }
    return fold[*a] == fold[*b];
}

[[noreturn]] void throwNotFound(const std::string& name)
{
    throw std::out_of_range(name + " not found.");
}

template <typename Write>
void render(const NameValueCollection& collection, const std::string& entrySeparator, const std::string& pairSeparator,
            Write write)
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

bool NameValueCollection::CaseInsensitiveCompare::operator()(const std::string& left, const std::string& right) const
{
    const auto* a = reinterpret_cast<const unsigned char*>(left.c_str());
    const auto* b = reinterpret_cast<const unsigned char*>(right.c_str());
    while (fold[*a] == fold[*b] && *a != 0) {
        ++a;
        ++b;
    }
    return fold[*a] < fold[*b];
}

NameValueCollection::NameValueCollection() = default;

NameValueCollection::NameValueCollection(std::initializer_list<value_type> pairs) : entries(pairs)
{
    indexIfLarge();
}

NameValueCollection::NameValueCollection(const NameValueCollection& other) : entries(other.entries)
{
    indexIfLarge();
}

NameValueCollection& NameValueCollection::operator=(const NameValueCollection& other)
{
    // Self-assignment skips only the copy: its entries are indexed once more.
    if (this == &other) {
        init();
        return *this;
    }
    if (entries.empty() && !indexed) {
        entries = other.entries;
        indexIfLarge();
        return *this;
    }
    buildIndex();
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
    indexAll();
    return *this;
}

void NameValueCollection::init()
{
    buildIndex();
    indexAll();
}

std::string NameValueCollection::get(const std::string& name) const
{
    const auto first = find(name);
    if (first == entries.end()) {
        throwNotFound(name);
    }
    return first->second;
}

void NameValueCollection::set(const std::string& name, std::string value)
{
    const auto first = find(name);
    if (first != entries.end()) {
        // The entry is this collection's own: only the iterator is const.
        entries.erase(first, first)->second = std::move(value);
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
    return find(name) != entries.end();
}

void NameValueCollection::erase(const std::string& name)
{
    if (!indexed) {
        entries.remove_if([&name](const value_type& entry) { return sameName(entry.first, name); });
        return;
    }
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
    std::vector<std::string> values;
    if (!indexed) {
        const auto matches = [&name](const value_type& entry) { return sameName(entry.first, name); };
        values.reserve(static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), matches)));
        for (const auto& entry : entries) {
            if (matches(entry)) {
                values.push_back(entry.second);
            }
        }
        return values;
    }
    const auto [first, last] = nameIndex.equal_range(name);
    values.reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (auto it = first; it != last; ++it) {
        values.push_back(it->second->second);
    }
    return values;
}

NameValueCollection::const_iterator NameValueCollection::find(const std::string& name) const
{
    if (!indexed) {
        return std::find_if(entries.begin(), entries.end(),
                            [&name](const value_type& entry) { return sameName(entry.first, name); });
    }
    // The earliest-added entry of a name is the front of its equal range.
    const auto first = nameIndex.lower_bound(name);
    if (first == nameIndex.end() || nameIndex.key_comp()(name, first->first)) {
        return entries.end();
    }
    return first->second;
}

bool NameValueCollection::operator==(const NameValueCollection& other) const
{
    return entries == other.entries;
}

std::ostream& NameValueCollection::toStream(std::ostream& out, const std::string& entrySeparator,
                                            const std::string& pairSeparator, const Transform& transform) const
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

std::string NameValueCollection::toString(const std::string& entrySeparator, const std::string& pairSeparator) const
{
    std::string text;
    render(*this, entrySeparator, pairSeparator, [&](const std::string& piece, bool = false) { text += piece; });
    return text;
}

void NameValueCollection::index(iterator entry)
{
    if (indexed) {
        // A multimap inserts after every key equal to the new one, so the
        // earliest-added entry of a name stays first in its equal range.
        nameIndex.emplace(entry->first, entry);
    } else {
        indexIfLarge();
    }
}

void NameValueCollection::indexIfLarge()
{
    if (entries.size() > directSearchLimit) {
        buildIndex();
    }
}

void NameValueCollection::buildIndex()
{
    if (!indexed) {
        indexed = true;
        indexAll();
    }
}

void NameValueCollection::indexAll()
{
    if (!nameIndex.empty()) {
        indexHasExtras = true;
    }
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        nameIndex.emplace(it->first, it);
    }
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
