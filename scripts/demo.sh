#!/usr/bin/env bash
# Sets up, builds and runs the demo: httpfetch downloads a generated 32 MiB
# file from a loopback server inside its own process that misbehaves on
# purpose (a 503, then a connection cut part-way), retrying and resuming with
# a Range request, and checks the bytes against the server's checksum.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target httpfetch
build/release/tools/httpfetch/httpfetch --demo
