// BodySink: where a response body goes, for the whole run across attempts.
//
//   auto sink = BodySink::open(plan.output);      // a temporary file beside "out.bin"
//   request.setResponseStreamFactory(sink->factory());
//   client.makeRequest(std::move(request));
//   sink->finish(true);                           // the temporary file replaces "out.bin"
//
// A response makes its body stream once and keeps it across attempts; a retry
// that does not resume seeks it back without truncating, so the final write
// position is where the body ends. Standard output, and a file that is not
// a regular one, is written as the bytes arrive and cannot seek back: a retry
// that would take back bytes already written makes tookBack() true and the
// transfer fail.
//
// A file named by -o that is a regular file (or a link to one) or does not
// exist yet receives the body through a temporary file beside it, with the
// file's own permissions or those a new file gets, which replaces it only on
// success. With -C -
// the file is continued in place; anything else (a device, a FIFO) is
// written in place and never replaced.
#pragma once

#include "Plan.hpp"

#include <httpclient_core/HttpRequest.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>

namespace httpfetch {

class BodySink {
public:
    // Throws std::runtime_error "cannot open <path> for writing: <reason>".
    static std::unique_ptr<BodySink> open(const OutputPlan& plan);

    BodySink(const BodySink&) = delete;
    BodySink& operator=(const BodySink&) = delete;
    virtual ~BodySink();

    // Makes the stream of a response; it discards the body of a reply that
    // -f fails, when the status is known by then.
    foundation::httpclient_core::ResponseStreamFactory factory();
    // Writes one line of a response head, and CR LF, when the plan shows
    // heads (-i, -I).
    void writeHeadLine(std::string_view line);
    // Whether a retry tried to take back bytes that went out already.
    virtual bool tookBack() const noexcept { return false; }
    // The body bytes kept: the write position less where the body started.
    std::int64_t bodySize();
    // Ends the output: a successful run keeps the body, a failed one leaves
    // an existing file as it was (a continued file keeps what arrived).
    virtual void finish(bool succeeded) = 0;
    // Ends the output leaving the file as it was before the run: a temporary
    // file is removed, a continued file cut back to its former size.
    virtual void restore() = 0;

protected:
    explicit BodySink(const OutputPlan& plan) : plan(plan) {}
    virtual std::streambuf& buffer() = 0;

    const OutputPlan plan;

private:
    std::optional<std::int64_t> bodyStart;
};

} // namespace httpfetch
