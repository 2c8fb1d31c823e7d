// The retry strategy of httpfetch: a DefaultRetry that also tells, before
// each pause, which attempt failed, why, and where the next one starts.
//
//   AttemptLog log;
//   configuration.setRetryStrategy(makeRetryStrategy({3, 200ms, true}, reporter, log));
//   // after a 503 then a cut at byte 13421772 of a body served with "Accept-Ranges: bytes":
//   //   attempt 1 of 4 failed (503 Service Unavailable); retrying in 0 ms
//   //   attempt 2 of 4 failed (<the transport's text>); resuming at byte 13421772 in 400 ms
//   //   log.attempts == 3, log.resumedAt == 13421772
//
// Only a GET is retried: after a time-out, a failed or cut connection, or a
// 408, 416, 429 or 5xx reply. The pause before retry n is DefaultRetry's
// backoffDuration of the failures since the last success-coded reply, so by
// the library's design the first retry is made at once.
#pragma once

#include "ProgressReporter.hpp"

#include <httpclient_core/DefaultRetry.hpp>

#include <chrono>
#include <cstdint>
#include <optional>

namespace httpfetch {

struct RetrySettings {
    int retries;
    std::chrono::milliseconds backoff;
    bool resume;
};

// What the strategy saw over a run, for a summary.
struct AttemptLog {
    int attempts = 0;
    std::optional<std::int64_t> resumedAt;
};

// The strategy writes to reporter and log, which must outlive it.
foundation::httpclient_core::RetryStrategy makeRetryStrategy(const RetrySettings& settings, ProgressReporter& reporter,
                                                             AttemptLog& log);

} // namespace httpfetch
