// MultipartFormData: a request body of the media type "multipart/form-data",
// fields and files in the order they were added. Files are read only while
// the body is sent, each opened when its turn comes, never held in memory.
//
//   MultipartFormData form;
//   form.setBoundary("xyz");
//   form.addField("name", "John");
//   form.addFile("upload", "/tmp/a.txt", "text/plain");   // the file holds "hi"
//   form.contentType().toString();  // "multipart/form-data; boundary=xyz"
//   form.attachTo(request);         // Content-Type, Content-Length: 173, the body
//
// Grammar of the body (CRLF line ends):
//   body   = *( "--" boundary CRLF part CRLF ) "--" boundary "--" CRLF
//   part   = "Content-Disposition: form-data; name=" quoted [ "; filename=" quoted ] CRLF
//            [ "Content-Type: " type CRLF ] CRLF content
//   quoted = DQUOTE escaped-text DQUOTE
// Names and file names are escaped as browsers escape them: '"' becomes
// "%22", CR "%0D" and LF "%0A". By design nothing else is escaped, a
// backslash and "%" included, so a server reads the bytes as browsers send them.
#pragma once

#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Export.hpp>

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace foundation::httpclient_core {

class HttpRequest;

class HTTPCLIENT_CORE_EXPORT MultipartFormData {
public:
    // A form without parts and with a new random boundary of 40 letters,
    // digits and dashes.
    MultipartFormData();

    // Adds a field whose content is value.
    void addField(const std::string& name, std::string value);
    // Adds the content of the file at path, sent under fileName (the last
    // component of path when not given) with the given media type. The file
    // is not touched until the length is asked for or the body is read.
    // Throws std::logic_error "Invalid part content type <type>" when type
    // holds a CR, LF or NUL byte.
    void addFile(const std::string& name, std::filesystem::path path,
                 const std::string& type = "application/octet-stream",
                 std::optional<std::string> fileName = std::nullopt);

    // Throws std::logic_error "Invalid multipart boundary <boundary>" unless
    // boundary is 1 to 70 letters, digits, "'", "+", "_", "-" or ".".
    void setBoundary(std::string boundary);
    const std::string& getBoundary() const noexcept { return boundary; }

    // "multipart/form-data" with the boundary as its only parameter.
    ContentType contentType() const;
    // The exact number of bytes of the body, the files at their present size.
    // Throws std::runtime_error "Cannot read file <path>" for a file that is
    // missing or not a regular file.
    std::uint64_t contentLength() const;
    // A new stream of the whole body, positioned at its start, that can seek
    // anywhere in it (a retry rewinds it). Throws as contentLength() does. A
    // file that cannot be opened when its turn comes, or whose size changed
    // since the stream was made, puts the stream in the bad state.
    std::unique_ptr<std::istream> stream() const;
    // Sets the request's Content-Type and Content-Length, replacing any
    // earlier ones, and the stream as its body. Throws as contentLength() does.
    void attachTo(HttpRequest& request) const;

private:
    // A part's header lines with the blank line after them, then its content:
    // the text, or the file when there is one.
    struct Part {
        std::string head;
        std::string text;
        std::optional<std::filesystem::path> file;
    };

    std::string boundary;
    std::vector<Part> parts;
};

} // namespace foundation::httpclient_core
