#include <httpclient_core/MultipartFormData.hpp>

#include <httpclient_core/HttpRequest.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <ios>
#include <limits>
#include <random>
#include <stdexcept>
#include <streambuf>
#include <string_view>
#include <system_error>
#include <utility>

namespace foundation::httpclient_core {

namespace {

constexpr std::string_view crlf = "\r\n";

[[noreturn]] void throwInvalidBoundary(const std::string& boundary)
{
    throw std::logic_error("Invalid multipart boundary <" + boundary + ">");
}

[[noreturn]] void throwInvalidType(const std::string& type)
{
    throw std::logic_error("Invalid part content type <" + type + ">");
}

[[noreturn]] void throwUnreadable(const std::filesystem::path& file)
{
    throw std::runtime_error("Cannot read file <" + file.string() + ">");
}

bool isAlphanumeric(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// The boundary characters that need no quoting in the Content-Type parameter.
bool isBoundaryCharacter(char c)
{
    return isAlphanumeric(c) || std::string_view("'+_-.").find(c) != std::string_view::npos;
}

std::string randomBoundary()
{
    constexpr std::string_view alphabet = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::random_device source;
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    std::string boundary(24, '-');
    for (int i = 0; i < 16; ++i) {
        boundary += alphabet[pick(source)];
    }
    return boundary;
}

std::string escapeQuoted(const std::string& text)
{
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '"':
            escaped += "%22";
            break;
        case '\r':
            escaped += "%0D";
            break;
        case '\n':
            escaped += "%0A";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string dispositionLine(const std::string& name, const std::optional<std::string>& fileName)
{
    std::string line = "Content-Disposition: form-data; name=\"" + escapeQuoted(name) + '"';
    if (fileName) {
        line += "; filename=\"" + escapeQuoted(*fileName) + '"';
    }
    line += crlf;
    return line;
}

// A stretch of the body: text held here, or a file of a known size.
struct Segment {
    std::string text;
    std::optional<std::filesystem::path> file;
    std::uint64_t size;
};

std::uint64_t regularFileSize(const std::filesystem::path& file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        throwUnreadable(file);
    }
    const auto size = std::filesystem::file_size(file, error);
    if (error) {
        throwUnreadable(file);
    }
    return size;
}

// Streams the segments one buffer at a time, opening a file when the read
// position reaches it and closing it when the position leaves it.
class SegmentBuffer : public std::streambuf {
public:
    explicit SegmentBuffer(std::vector<Segment> segments) : segments(std::move(segments))
    {
        for (const auto& segment : this->segments) {
            starts.push_back(total);
            total += segment.size;
        }
    }

protected:
    int_type underflow() override
    {
        if (gptr() < egptr()) {
            return traits_type::to_int_type(*gptr());
        }
        if (end >= total) {
            return traits_type::eof();
        }
        const auto index =
            static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), end) - starts.begin() - 1);
        const auto& segment = segments[index];
        const auto offset = end - starts[index];
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), segment.size - offset));
        if (segment.file) {
            readFile(index, offset, count);
        } else {
            segment.text.copy(buffer.data(), count, static_cast<std::size_t>(offset));
        }
        setg(buffer.data(), buffer.data(), buffer.data() + count);
        end += count;
        return traits_type::to_int_type(buffer[0]);
    }

    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override
    {
        const auto current = static_cast<off_type>(end) - (egptr() - gptr());
        if (offset == 0 && direction == std::ios_base::cur) {
            return current;
        }
        off_type base = 0;
        if (direction == std::ios_base::cur) {
            base = current;
        } else if (direction == std::ios_base::end) {
            base = static_cast<off_type>(total);
        }
        const off_type target = base + offset;
        if ((which & std::ios_base::in) == 0 || target < 0 || static_cast<std::uint64_t>(target) > total) {
            return {off_type(-1)};
        }
        setg(buffer.data(), buffer.data(), buffer.data());
        end = static_cast<std::uint64_t>(target);
        return target;
    }

    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

private:
    // Reads count bytes at offset of the file of segments[index]. A file
    // that cannot be read, or whose size changed, throws, which puts the
    // stream reading from this buffer in the bad state.
    void readFile(std::size_t index, std::uint64_t offset, std::size_t count)
    {
        const auto& path = *segments[index].file;
        if (openIndex != index) {
            file = std::ifstream();
            openIndex = segments.size();
            file.open(path, std::ios::binary);
            if (!file || regularFileSize(path) != segments[index].size) {
                throwUnreadable(path);
            }
            openIndex = index;
            filePosition = 0;
        }
        if (filePosition != offset) {
            file.seekg(static_cast<std::streamoff>(offset));
        }
        file.read(buffer.data(), static_cast<std::streamsize>(count));
        if (static_cast<std::size_t>(file.gcount()) != count) {
            openIndex = segments.size();
            throwUnreadable(path);
        }
        filePosition = offset + count;
    }

    std::vector<Segment> segments;
    std::vector<std::uint64_t> starts;
    std::uint64_t total = 0;
    // The body position just past the buffered bytes.
    std::uint64_t end = 0;
    std::array<char, std::size_t{64} * 1024> buffer{};
    std::ifstream file;
    std::size_t openIndex = std::numeric_limits<std::size_t>::max();
    std::uint64_t filePosition = 0;
};

// An input stream that owns its buffer.
class SegmentStream : public std::istream {
public:
    explicit SegmentStream(std::vector<Segment> segments) : std::istream(nullptr), buffer(std::move(segments))
    {
        rdbuf(&buffer);
    }

private:
    SegmentBuffer buffer;
};

// The length of a body stream, which is left at its start.
std::uint64_t lengthOf(std::istream& body)
{
    const auto length = static_cast<std::uint64_t>(body.seekg(0, std::ios::end).tellg());
    body.seekg(0);
    return length;
}

} // namespace

MultipartFormData::MultipartFormData() : boundary(randomBoundary())
{
}

void MultipartFormData::addField(const std::string& name, std::string value)
{
    parts.push_back({dispositionLine(name, std::nullopt) + std::string(crlf), std::move(value), std::nullopt});
}

void MultipartFormData::addFile(const std::string& name, std::filesystem::path path, const std::string& type,
                                std::optional<std::string> fileName)
{
    if (type.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
        throwInvalidType(type);
    }
    const auto shownName = fileName ? std::move(*fileName) : path.filename().string();
    std::string head = dispositionLine(name, shownName);
    head += "Content-Type: " + type + std::string(crlf) + std::string(crlf);
    parts.push_back({std::move(head), {}, std::move(path)});
}

void MultipartFormData::setBoundary(std::string text)
{
    if (text.empty() || text.size() > 70 || !std::all_of(text.begin(), text.end(), isBoundaryCharacter)) {
        throwInvalidBoundary(text);
    }
    boundary = std::move(text);
}

ContentType MultipartFormData::contentType() const
{
    return ContentType("multipart/form-data", {{"boundary", boundary}});
}

std::uint64_t MultipartFormData::contentLength() const
{
    return lengthOf(*stream());
}

std::unique_ptr<std::istream> MultipartFormData::stream() const
{
    std::vector<Segment> segments;
    std::string text;
    for (const auto& part : parts) {
        text += "--" + boundary + std::string(crlf) + part.head;
        if (part.file) {
            const auto size = text.size();
            segments.push_back({std::exchange(text, {}), std::nullopt, size});
            segments.push_back({{}, part.file, regularFileSize(*part.file)});
        } else {
            text += part.text;
        }
        text += crlf;
    }
    text += "--" + boundary + "--" + std::string(crlf);
    const auto size = text.size();
    segments.push_back({std::move(text), std::nullopt, size});
    return std::make_unique<SegmentStream>(std::move(segments));
}

void MultipartFormData::attachTo(HttpRequest& request) const
{
    auto body = stream();
    const auto length = lengthOf(*body);
    request.setHeaderValue(HttpHeaders::CONTENT_TYPE, contentType().toString());
    request.setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(length));
    request.setRequestBody(std::move(body));
}

} // namespace foundation::httpclient_core
