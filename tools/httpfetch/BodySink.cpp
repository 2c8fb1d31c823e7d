#include "BodySink.hpp"

#include "Messages.hpp"

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace httpfetch {

namespace {

[[noreturn]] void throwCannotOpen(const std::filesystem::path& path, int error)
{
    throw std::runtime_error(messages::cannotOpenOutput(path, std::strerror(error)));
}

} // namespace

BodySink::~BodySink() = default;

foundation::httpclient_core::ResponseStreamFactory BodySink::factory()
{
    return
        [this](foundation::httpclient_core::HttpResponseCode, const std::string&,
               const foundation::httpclient_core::HttpHeaders&) { return std::make_unique<std::iostream>(&buffer()); };
}

std::int64_t BodySink::size()
{
    return static_cast<std::streamoff>(buffer().pubseekoff(0, std::ios::cur, std::ios::out));
}

FileSink::FileSink(std::filesystem::path path) : path(std::move(path))
{
    errno = 0;
    if (file.open(this->path, std::ios::out | std::ios::trunc | std::ios::binary) == nullptr) {
        throwCannotOpen(this->path, errno);
    }
}

void FileSink::finish(std::ostream&)
{
    const auto length = size();
    file.close();
    // Devices and pipes have nothing to cut (and a pipe no position).
    if (length >= 0 && std::filesystem::is_regular_file(path)) {
        std::filesystem::resize_file(path, static_cast<std::uintmax_t>(length));
    }
}

std::streambuf& FileSink::buffer()
{
    return file;
}

void MemorySink::finish(std::ostream& standardOutput)
{
    standardOutput << bytes() << std::flush;
}

std::string MemorySink::bytes()
{
    return memory.str().substr(0, static_cast<std::size_t>(size()));
}

std::streambuf& MemorySink::buffer()
{
    return memory;
}

} // namespace httpfetch
