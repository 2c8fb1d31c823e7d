// The retry strategy of httpfetch: the library's jittered backoff, without
// jitter so that the pauses read the same on every run, under the server's
// Retry-After; it tells, before each pause, which attempt failed, why, where
// the next one starts and, when the server asked for one, its wait.
//
//   AttemptLog log;
//   configuration.setRetryStrategy(makeRetryStrategy({3, 200ms, true}, reporter, log));
//   // after a 503 then a cut at byte 13421772 of a body served with "Accept-Ranges: bytes":
//   //   attempt 1 of 4 failed (503 Service Unavailable); retrying in 200 ms
//   //   attempt 2 of 4 failed (<the transport's text>); resuming at byte 13421772 in 200 ms
//   //   log.attempts == 3, log.resumedAt == 13421772
//
// A GET, HEAD, PUT or DELETE is retried after a time-out, a failed or cut
// connection, or a 408, 429, 500, 502, 503 or 504 reply (a 416 of a GET too);
// with allErrors every failed request is. The pause before retry n is the
// delay times 2^(n-1) of the failures since the last success, at most 60 s,
// or what is left of the server's Retry-After (at most 120 s; a longer wait
// ends the retries). With maxTime, no retry starts once that much time has
// passed since the strategy was made.
#pragma once

#include "ProgressReporter.hpp"

#include <httpclient_core/RetryStrategies.hpp>

#include <chrono>
#include <cstdint>
#include <optional>

namespace httpfetch {

struct RetrySettings {
    int retries;
    std::chrono::milliseconds delay;
    bool resume;
    std::chrono::milliseconds maxTime{0}; // 0: no limit
    bool allErrors = false;
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
