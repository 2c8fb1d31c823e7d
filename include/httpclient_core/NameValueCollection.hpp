// NameValueCollection: the ordered, case-insensitive multimap of string pairs
// under every header set, parameter list, cookie list, query and form body.
//
//   NameValueCollection c{{"Accept", "text/html"}};
//   c.add("accept", "application/json");
//   c.getAll("ACCEPT");            // {"text/html", "application/json"}
//   c.toString("&", "=");          // "Accept=text/html&accept=application/json"
//
// Pairs stay in insertion order and keep the spelling they were given; names
// are compared without regard to ASCII letter case in the "C" locale, whatever
// the program's locale. A collection of up to 16 entries is searched
// directly; a larger one looks names up through an index, never walking the
// list.
#pragma once

#include <httpclient_core/Export.hpp>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <list>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT NameValueCollection {
public:
    using value_type = std::pair<std::string, std::string>;
    using List = std::list<value_type>;
    using iterator = List::iterator;
    using const_iterator = List::const_iterator;
    // Called on every name and every value while rendering; its result is written.
    using Transform = std::function<std::string(std::string)>;

    // Orders names as strcasecmp_l does in the "C" locale: C strings (up to the
    // first NUL byte), ASCII letters folded, every other byte compared as an
    // unsigned value. Holds no state and consults no locale.
    class HTTPCLIENT_CORE_EXPORT CaseInsensitiveCompare {
    public:
        bool operator()(const std::string& left, const std::string& right) const;
    };

    NameValueCollection();
    // The pairs in the order given, duplicates kept.
    NameValueCollection(std::initializer_list<value_type> pairs);
    // Copies the entries and indexes them afresh (the source's extra index entries are not copied).
    NameValueCollection(const NameValueCollection& other);
    NameValueCollection(NameValueCollection&& other) noexcept = default;
    // By design not a clear-and-copy: the entries are assigned element-wise and
    // then indexed into the existing index, so a collection that held entries
    // before keeps its earlier index entries beside the new ones. Assigned to
    // itself, a collection keeps its entries and indexes them once more (a
    // name added twice is then found four times).
    NameValueCollection& operator=(const NameValueCollection& other);
    NameValueCollection& operator=(NameValueCollection&& other) noexcept = default;
    ~NameValueCollection() = default;

    // Indexes every entry, front to back, without emptying the index first.
    void init();

    // The value of the first entry of that name.
    // Throws std::out_of_range "<name> not found." when there is none.
    std::string get(const std::string& name) const;
    // Replaces the value of the first entry of that name (its spelling stays),
    // or appends the pair when the name is absent.
    void set(const std::string& name, std::string value);
    // Always appends, even when the name is present.
    void add(const std::string& name, std::string value);
    void add(value_type pair);
    bool has(const std::string& name) const;
    // Removes every entry of that name; nothing happens when there is none.
    void erase(const std::string& name);
    // The values of every entry of that name, earliest first.
    std::vector<std::string> getAll(const std::string& name) const;
    // The first entry of that name, or end().
    const_iterator find(const std::string& name) const;

    // Same pairs in the same order, names and values compared byte for byte.
    bool operator==(const NameValueCollection& other) const;
    bool operator!=(const NameValueCollection& other) const { return !(*this == other); }

    // Writes name, pairSeparator, value for each entry, entries joined by
    // entrySeparator, the transform applied to every name and value (name first).
    // An empty transform throws std::bad_function_call at the first entry;
    // text already written stays in the stream.
    std::ostream& toStream(std::ostream& out, const std::string& entrySeparator, const std::string& pairSeparator,
                           const Transform& transform) const;
    std::string toString(const std::string& entrySeparator, const std::string& pairSeparator,
                         const Transform& transform) const;
    // The same with names and values written as they are.
    std::string toString(const std::string& entrySeparator, const std::string& pairSeparator) const;

    bool empty() const noexcept { return entries.empty(); }
    std::size_t size() const noexcept { return entries.size(); }

    iterator begin() noexcept { return entries.begin(); }
    iterator end() noexcept { return entries.end(); }
    const_iterator begin() const noexcept { return entries.begin(); }
    const_iterator end() const noexcept { return entries.end(); }
    const_iterator cbegin() const noexcept { return entries.cbegin(); }
    const_iterator cend() const noexcept { return entries.cend(); }

private:
    using Index = std::multimap<std::string, iterator, CaseInsensitiveCompare>;

    // Indexes a newly appended entry, or the whole list once it grows large.
    void index(iterator entry);
    void indexIfLarge();
    // Switches to lookups through the index, indexing every entry once.
    void buildIndex();
    // Inserts every entry, front to back, into the index as it stands.
    void indexAll();
    void dropIndexEntriesOf(const std::vector<iterator>& doomed);

    List entries;
    // Used once indexed is set; until then each entry counts as indexed once.
    Index nameIndex;
    bool indexed = false;
    // Set once the index may hold more than one entry per list node (after a
    // copy assignment into a non-empty collection, or init()); erase then
    // also drops those extra references.
    bool indexHasExtras = false;
};

} // namespace foundation::httpclient_core
