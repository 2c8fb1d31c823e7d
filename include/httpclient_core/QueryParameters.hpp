// QueryParameters: the query part of a request URL, "?" included.
//
//   QueryParameters q{{"q", "a b"}, {"flag", ""}, {"x", "1&2"}};
//   q.toString();                    // "?q=a%20b&flag&x=1%262"
//   QueryParameters().toString();    // ""
//
// Keys and values are percent-encoded with a space written as "%20"; a pair
// whose value is empty is written as the bare key, without "=". Pairs keep
// insertion order, keys may repeat and are looked up without regard to case.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT QueryParameters {
public:
    using iterator = NameValueCollection::iterator;
    using const_iterator = NameValueCollection::const_iterator;

    QueryParameters();
    // Throws std::logic_error "Cannot create QueryParameter with an empty key"
    // when any key is empty; then nothing is stored.
    QueryParameters(std::initializer_list<std::pair<std::string, std::string>> pairs);
    // Takes the pairs as they are; keys are not checked.
    explicit QueryParameters(NameValueCollection pairs);

    // Whether a pair of that key exists, regardless of letter case.
    bool hasParameterKey(const std::string& key);
    // The value of the first pair of that key, regardless of letter case.
    // Throws std::logic_error "Requested query parameter (<key>) doesn't exist".
    std::string getParameterValue(const std::string& key);
    // The values of every pair whose key equals key byte for byte. By design the
    // existence test is case-insensitive and the collection case-sensitive: a
    // key stored as "Page" asked for as "page" gives an empty vector.
    // Throws std::logic_error "Requested query parameter (<key>) doesn't exist".
    std::vector<std::string> getAllParameterValues(const std::string& key);
    // Appends the pair. Throws std::logic_error "Cannot add QueryParameter with
    // an empty key" when key is empty.
    void addQueryParameter(const std::string& key, std::string value);

    std::size_t size();
    bool empty() const;

    // "" when empty, else "?" and the encoded pairs joined by "&".
    std::string toString() const;
    std::ostream& toStream(std::ostream& out) const;

    std::string getEntrySep();    // "&"
    std::string getKeyValueSep(); // "="

    iterator begin() { return parameters.begin(); }
    iterator end() { return parameters.end(); }
    const_iterator begin() const { return parameters.begin(); }
    const_iterator end() const { return parameters.end(); }
    const_iterator cbegin() const { return parameters.cbegin(); }
    const_iterator cend() const { return parameters.cend(); }

private:
    NameValueCollection parameters;
    std::string keyValueSep;
    std::string entrySep;
};

} // namespace foundation::httpclient_core
