#include "ProgressReporter.hpp"

#include "Messages.hpp"

#include <unistd.h>

namespace httpfetch {

namespace {

using foundation::httpclient_core::Progress;
using foundation::httpclient_core::ProgressResult;

constexpr std::chrono::milliseconds barInterval{100};
constexpr std::chrono::seconds lineInterval{1};

// Back to the start of the line, and the terminal's "erase to the end of the line".
const char* const carriageReturn = "\r";
const char* const eraseToEnd = "\x1b[K";

} // namespace

ProgressReporter::Style ProgressReporter::styleFor(bool silent, int descriptor)
{
    if (silent) {
        return Style::Silent;
    }
    return isatty(descriptor) == 1 ? Style::Bar : Style::Lines;
}

ProgressReporter::ProgressReporter(Style style, std::ostream& out)
    : style(style),
      out(out),
      interval(style == Style::Bar ? Clock::duration(barInterval) : Clock::duration(lineInterval))
{
}

ProgressResult ProgressReporter::update(const Progress& progress)
{
    if (style == Style::Silent) {
        return ProgressResult::Continue;
    }
    const auto now = Clock::now();
    if (!attemptStart) {
        attemptStart = now;
        attemptStartBytes = progress.downloadNow;
    }
    // Nothing is shown before the attempt has received a byte: until then the
    // figures of a resumed attempt are only its offset. Figures whose bytes
    // did not move keep the rate of the moment the last byte came.
    if (progress.downloadNow <= attemptStartBytes || (latest && latest->received == progress.downloadNow)) {
        return ProgressResult::Continue;
    }
    const std::chrono::duration<double> elapsed = now - *attemptStart;
    const auto attemptBytes = static_cast<double>(progress.downloadNow - attemptStartBytes);
    latest = ProgressFigures{progress.downloadNow,
                             progress.downloadTotal > 0 ? std::optional(progress.downloadTotal) : std::nullopt,
                             elapsed.count() > 0 ? attemptBytes / elapsed.count() : 0.0};
    latestShown = false;
    if (!lastShown || now - *lastShown >= interval) {
        show(*latest);
        lastShown = now;
    }
    return ProgressResult::Continue;
}

void ProgressReporter::retrying(const RetryNotice& notice)
{
    if (style == Style::Silent) {
        return;
    }
    if (barOpen) {
        out << carriageReturn << eraseToEnd;
        barOpen = false;
    }
    out << messages::retryLine(notice) << '\n' << std::flush;
    attemptStart.reset();
    lastShown.reset();
    latest.reset();
}

void ProgressReporter::finish()
{
    if (style == Style::Silent || !latest) {
        return;
    }
    if (!latestShown) {
        show(*latest);
    }
    if (barOpen) {
        out << '\n' << std::flush;
        barOpen = false;
    }
}

void ProgressReporter::show(const ProgressFigures& figures)
{
    if (style == Style::Bar) {
        out << carriageReturn << messages::progressBar(figures) << eraseToEnd << std::flush;
        barOpen = true;
    } else {
        out << messages::progressLine(figures) << '\n' << std::flush;
    }
    latestShown = true;
}

} // namespace httpfetch
