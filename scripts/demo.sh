#!/usr/bin/env bash
# Sets up, builds and runs the example: a request URL built with query
# parameters, and header fields parsed from raw lines.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target query_and_headers
build/release/examples/query_and_headers
