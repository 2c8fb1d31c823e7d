#include "BodySink.hpp"

#include "Messages.hpp"

#include <httpclient_core/HttpResponseCode.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace httpfetch {

namespace {

using foundation::httpclient_core::HttpHeaders;
using foundation::httpclient_core::HttpResponseCode;

[[noreturn]] void throwCannotOpen(const std::filesystem::path& path, int error)
{
    throw std::runtime_error(messages::cannotOpenOutput(path, std::strerror(error)));
}

// Writes straight to a descriptor; it can tell its position but never go back.
class DescriptorBuffer final : public std::streambuf {
public:
    explicit DescriptorBuffer(int descriptor) : descriptor(descriptor) {}

    bool tookBack = false;

protected:
    std::streamsize xsputn(const char* data, std::streamsize count) override
    {
        std::streamsize done = 0;
        while (done < count) {
            const auto written = ::write(descriptor, data + done, static_cast<std::size_t>(count - done));
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                break;
            }
            done += written;
        }
        position += done;
        return done;
    }

    int_type overflow(int_type c) override
    {
        if (traits_type::eq_int_type(c, traits_type::eof())) {
            return traits_type::not_eof(c);
        }
        const char byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }

    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode) override
    {
        const off_type target = direction == std::ios_base::cur ? position + offset : offset;
        if (direction == std::ios_base::end || target != position) {
            tookBack = true;
            return {off_type(-1)};
        }
        return target;
    }

    pos_type seekpos(pos_type target, std::ios_base::openmode which) override
    {
        return seekoff(off_type(target), std::ios_base::beg, which);
    }

private:
    const int descriptor;
    off_type position = 0;
};

// Standard output, or a file that is not a regular one (a device, a FIFO):
// written as the bytes arrive, never truncated or replaced.
class DescriptorSink final : public BodySink {
public:
    explicit DescriptorSink(const OutputPlan& plan) : BodySink(plan), output(STDOUT_FILENO) {}

    DescriptorSink(const OutputPlan& plan, const std::filesystem::path& path)
        : BodySink(plan),
          owned(::open(path.c_str(), O_WRONLY | O_CLOEXEC)),
          output(owned)
    {
        if (owned < 0) {
            throwCannotOpen(path, errno);
        }
    }

    ~DescriptorSink() override
    {
        if (owned >= 0) {
            ::close(owned);
        }
    }
    DescriptorSink(const DescriptorSink&) = delete;
    DescriptorSink& operator=(const DescriptorSink&) = delete;

    bool tookBack() const noexcept override { return output.tookBack; }
    void finish(bool) override {}
    void restore() override {}

private:
    std::streambuf& buffer() override { return output; }

    const int owned = -1;
    DescriptorBuffer output;
};

// The permissions target has, or those a newly created file gets: 0666 less the umask.
mode_t modeFor(const std::filesystem::path& target)
{
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0) {
        return static_cast<mode_t>(existing.st_mode & 07777U);
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return static_cast<mode_t>(0666U & ~static_cast<unsigned>(mask));
}

// An empty temporary file beside target, with the permissions that writing
// target in place would leave it: its own, or those of a new file.
std::filesystem::path temporaryBeside(const std::filesystem::path& target)
{
    auto pattern = target.parent_path() / ("." + target.filename().string() + ".httpfetch-XXXXXX");
    std::string name = pattern.string();
    const int descriptor = ::mkstemp(name.data());
    if (descriptor < 0) {
        throwCannotOpen(target, errno);
    }
    ::fchmod(descriptor, modeFor(target));
    ::close(descriptor);
    return name;
}

class FileSink final : public BodySink {
public:
    // A regular file, or one that does not exist yet.
    explicit FileSink(const OutputPlan& plan) : BodySink(plan), target(*plan.file)
    {
        const bool exists = std::filesystem::exists(target);
        std::ios::openmode mode = std::ios::out | std::ios::binary;
        if (plan.resumeFrom) {
            mode |= std::ios::in;
            if (!exists) {
                std::ofstream create(target);
            }
        } else {
            target = exists ? std::filesystem::canonical(target) : target;
            temporary = temporaryBeside(target);
        }
        errno = 0;
        if (file.open(temporary.empty() ? target : temporary, mode) == nullptr) {
            const int reason = errno;
            removeTemporary();
            throwCannotOpen(target, reason);
        }
        if (plan.resumeFrom) {
            file.pubseekoff(0, std::ios::end, std::ios::out);
        }
    }

    ~FileSink() override { removeTemporary(); }
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    void finish(bool succeeded) override
    {
        const auto length = static_cast<std::streamoff>(file.pubseekoff(0, std::ios::cur, std::ios::out));
        file.close();
        if (length >= 0) {
            std::filesystem::resize_file(temporary.empty() ? target : temporary, static_cast<std::uintmax_t>(length));
        }
        if (succeeded && !temporary.empty()) {
            std::filesystem::rename(temporary, target);
            temporary.clear();
        }
    }

    void restore() override
    {
        file.close();
        if (temporary.empty() && plan.resumeFrom) {
            std::filesystem::resize_file(target, static_cast<std::uintmax_t>(*plan.resumeFrom));
        }
        removeTemporary();
    }

private:
    std::streambuf& buffer() override { return file; }

    void removeTemporary() noexcept
    {
        if (!temporary.empty()) {
            std::error_code ignored;
            std::filesystem::remove(temporary, ignored);
        }
    }

    std::filesystem::path target;
    std::filesystem::path temporary;
    std::filebuf file;
};

bool failing(HttpResponseCode code)
{
    return foundation::httpclient_core::isClientError(code) || foundation::httpclient_core::isServerError(code);
}

} // namespace

std::unique_ptr<BodySink> BodySink::open(const OutputPlan& plan)
{
    if (!plan.file) {
        return std::make_unique<DescriptorSink>(plan);
    }
    std::error_code error;
    const auto status = std::filesystem::status(*plan.file, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return std::make_unique<DescriptorSink>(plan, *plan.file);
    }
    return std::make_unique<FileSink>(plan);
}

BodySink::~BodySink() = default;

foundation::httpclient_core::ResponseStreamFactory BodySink::factory()
{
    return [this](HttpResponseCode code, const std::string&, const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        bodyStart = static_cast<std::streamoff>(buffer().pubseekoff(0, std::ios::cur, std::ios::out));
        if (plan.fail && failing(code)) {
            return std::make_unique<std::stringstream>();
        }
        return std::make_unique<std::iostream>(&buffer());
    };
}

void BodySink::writeHeadLine(std::string_view line)
{
    if (plan.include || plan.headersOnly) {
        const auto text = std::string(line) + "\r\n";
        buffer().sputn(text.data(), static_cast<std::streamsize>(text.size()));
    }
}

std::int64_t BodySink::bodySize()
{
    if (!bodyStart) {
        return 0;
    }
    return static_cast<std::streamoff>(buffer().pubseekoff(0, std::ios::cur, std::ios::out)) - *bodyStart;
}

} // namespace httpfetch
