#!/usr/bin/env bash
# Sets up, builds and runs every test: the release build, then the
# AddressSanitizer + UndefinedBehaviorSanitizer build, then the concurrency
# tests under ThreadSanitizer, then a short run of every fuzz target, then
# the format and clang-tidy checks.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

jobs=$(nproc)
for preset in release asan tsan; do
  echo "=== $preset ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done

echo "=== fuzz ==="
scripts/fuzz.sh 10

echo "=== lint ==="
scripts/lint.sh build/release
