// Fuzzes the escaping of names and file names in MultipartFormData.
//
// Input: name/value pairs, cut as fuzz::pairsOf describes
// ("|name|report.txt|"). Each pair adds a field named name whose content is
// the value, then a file part named value that sends a small file under the
// file name name.
//
// Properties: the body is the parts in order, each opened by "--b" CRLF, its
// header lines, a blank line and its content, closed by "--b--" CRLF; in the
// quoted names '"', CR and LF appear only as "%22", "%0D" and "%0A" and every
// other byte is kept, so a disposition line is one line whose only quotes
// are those around its names. contentLength() is the body's size and
// every stream() reads the whole body from its start.
#include <httpclient_core/MultipartFormData.hpp>

#include "Check.hpp"
#include "Encoding.hpp"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <string>

using foundation::httpclient_core::MultipartFormData;

namespace {

const std::string fileContent = "file\r\n--b\r\n";

// A small file of the process's own, removed when it ends.
struct ScratchFile {
    ScratchFile() { std::ofstream(path, std::ios::binary) << fileContent; }
    ~ScratchFile() { std::filesystem::remove(path); }
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("fuzz_multipart_" + std::to_string(::getpid()));
};

std::string readAll(std::istream& in)
{
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        result += c == '"' ? "%22" : c == '\r' ? "%0D" : c == '\n' ? "%0A" : std::string(1, c);
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const ScratchFile file;
    const auto pairs = fuzz::pairsOf(data, size);
    MultipartFormData form;
    form.setBoundary("b");
    std::string expected;
    for (const auto& [name, value] : pairs) {
        form.addField(name, value);
        form.addFile(value, file.path, "text/plain", name);
        const auto fieldLine = "Content-Disposition: form-data; name=\"" + escaped(name) + "\"";
        const auto fileLine =
            "Content-Disposition: form-data; name=\"" + escaped(value) + "\"; filename=\"" + escaped(name) + "\"";
        expected += "--b\r\n" + fieldLine + "\r\n\r\n" + value + "\r\n";
        expected += "--b\r\n" + fileLine + "\r\nContent-Type: text/plain\r\n\r\n" + fileContent + "\r\n";
    }
    expected += "--b--\r\n";

    const auto first = form.stream();
    const auto second = form.stream();
    const auto body = readAll(*first);
    fuzz::require(body == expected, "the body is the parts in order with their names escaped");
    fuzz::require(readAll(*second) == body, "each stream reads the whole body from its start");
    fuzz::require(form.contentLength() == body.size(), "the content length is the body's size");
    return 0;
}
