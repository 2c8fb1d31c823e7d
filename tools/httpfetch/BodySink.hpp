// BodySink: where a response body goes, for the whole run across attempts.
//
//   FileSink sink("out.bin");                  // created or emptied now, kept open
//   request.setResponseStreamFactory(sink.factory());
//   client.makeRequest(std::move(request));
//   sink.finish(std::cout);                    // closed and cut to sink.size()
//
// A response makes its body stream once and keeps it across attempts; a retry
// that does not resume seeks it back without truncating. So a sink keeps one
// buffer for the whole run, and its final write position, size(), is where
// the body ends: bytes beyond it are stale bytes of an earlier attempt.
#pragma once

#include <httpclient_core/HttpRequest.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>

namespace httpfetch {

class BodySink {
public:
    BodySink() = default;
    BodySink(const BodySink&) = delete;
    BodySink& operator=(const BodySink&) = delete;
    virtual ~BodySink();

    // Makes streams over this sink's buffer, one per response; the sink must outlive them.
    foundation::httpclient_core::ResponseStreamFactory factory();
    // The buffer's write position: the length of the body received.
    std::int64_t size();
    // Delivers the first size() bytes: a file is closed and cut to them,
    // memory writes them to standardOutput.
    virtual void finish(std::ostream& standardOutput) = 0;

private:
    virtual std::streambuf& buffer() = 0;
};

class FileSink final : public BodySink {
public:
    // Creates or empties the file now. Throws std::runtime_error "cannot open
    // <path> for writing: <reason>" when that fails.
    explicit FileSink(std::filesystem::path path);

    // Ignores standardOutput: the body is in the file.
    void finish(std::ostream& standardOutput) override;

private:
    std::streambuf& buffer() override;

    const std::filesystem::path path;
    std::filebuf file;
};

class MemorySink final : public BodySink {
public:
    void finish(std::ostream& standardOutput) override;
    // A copy of the first size() bytes.
    std::string bytes();

private:
    std::streambuf& buffer() override;

    std::stringbuf memory{std::ios::in | std::ios::out | std::ios::binary};
};

} // namespace httpfetch
