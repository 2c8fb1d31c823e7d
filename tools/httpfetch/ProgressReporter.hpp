// ProgressReporter: what httpfetch tells on standard error while it works.
//
//   ProgressReporter reporter(ProgressReporter::styleFor(false, STDERR_FILENO), std::cerr);
//   request.setProgressCallback([&](const Progress& p) { return reporter.update(p); });
//   reporter.retrying({1, 4, "503 Service Unavailable", std::nullopt, 0ms});
//   reporter.finish();
//
// On a terminal a bar redrawn in place (bytes, rate, and the percentage when
// the size is known), at most ten times a second; elsewhere one plain line at
// most once a second. Retry lines are printed in both styles; nothing at all
// when silent. The rate counts the bytes of the current attempt only.
#pragma once

#include <httpclient_core/HttpRequest.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace httpfetch {

// The figures of one progress report.
struct ProgressFigures {
    std::int64_t received;
    std::optional<std::int64_t> total;
    double bytesPerSecond;
};

// Why an attempt failed and how the next one starts.
struct RetryNotice {
    int attempt;
    int maxAttempts;
    std::string reason;
    std::optional<std::int64_t> resumeAt;
    std::chrono::milliseconds pause;
    // What is left of the wait the server asked for with Retry-After, if it did.
    std::optional<std::chrono::milliseconds> serverWait;
};

class ProgressReporter {
public:
    enum class Style { Bar, Lines, Silent };

    // Bar when descriptor is a terminal, Lines otherwise, Silent when silent.
    static Style styleFor(bool silent, int descriptor);

    ProgressReporter(Style style, std::ostream& out);

    // For the request's progress callback; always lets the transfer go on.
    foundation::httpclient_core::ProgressResult update(const foundation::httpclient_core::Progress& progress);
    // Prints the retry line (ending the bar's line first).
    void retrying(const RetryNotice& notice);
    // Shows the last figures, unless they are on show already, and ends the bar's line.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void show(const ProgressFigures& figures);

    const Style style;
    std::ostream& out;
    const Clock::duration interval;
    std::optional<Clock::time_point> attemptStart;
    std::int64_t attemptStartBytes = 0;
    std::optional<Clock::time_point> lastShown;
    std::optional<ProgressFigures> latest;
    bool latestShown = false;
    bool barOpen = false;
};

} // namespace httpfetch
