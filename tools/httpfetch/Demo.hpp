// The built-in demo: httpfetch downloads a generated file from a
// misbehaving loopback server (see DemoServer) through its normal code path,
// with 3 retries, a backoff of 200 ms and resume, then checks the bytes
// against the server's checksum and prints one summary line:
//
//   demo: 3 attempts, resumed at 13421772 bytes, 33554432 bytes in 0.62 s (51.6 MiB/s), checksum OK
//
// No network and no outside server are needed.
#pragma once

#include <ostream>

namespace httpfetch {

// Runs the demo, progress and retry lines on standard error (none when
// silent), the summary on out. Returns 0 when the body arrived whole and its
// checksum matches, 1 otherwise. A failed transfer throws as fetch does.
int runDemo(bool silent, std::ostream& out);

} // namespace httpfetch
