// FormUrlEncoded: a request body of the media type
// "application/x-www-form-urlencoded", rendered once from form fields.
//
//   FormUrlEncoded form({{"name", "John Smith"}, {"city", "a&b=c"}, {"flag", ""}});
//   form.contentLength();          // 36: "name=John+Smith&city=a%26b%3Dc&flag="
//   form.contentType().toString(); // "application/x-www-form-urlencoded"
//   request.setRequestBody(form.stream());
//
// Grammar of the body, fields in insertion order, repeated names all written:
//   body  = [ field *( "&" field ) ]
//   field = encoded-name "=" encoded-value
// Names and values are percent-encoded with a space written as "+" (so "+"
// itself becomes "%2B"). By design this differs from QueryParameters: no
// leading "?", a space is not "%20", and an empty value keeps its "=".
#pragma once

#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Export.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <cstddef>
#include <istream>
#include <memory>
#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT FormUrlEncoded {
public:
    // Renders the fields; they are not kept.
    explicit FormUrlEncoded(NameValueCollection fields);

    // A new stream over a copy of the body, positioned at its start; each call
    // gives a fresh stream that reads independently of the others.
    std::unique_ptr<std::istream> stream() const;
    // "application/x-www-form-urlencoded" without parameters (no charset).
    ContentType contentType() const;
    // The number of bytes of the body.
    std::size_t contentLength() const noexcept { return body.size(); }

private:
    std::string body;
};

} // namespace foundation::httpclient_core
