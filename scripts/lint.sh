#!/usr/bin/env bash
# Checks the formatting of every C++ file and runs clang-tidy over the
# library, transport and tool sources, using the compile commands of the
# given build directory (default build/release).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/release}
mapfile -t files < <(git ls-files '*.cpp' '*.hpp')
clang-format --dry-run --Werror "${files[@]}"
clang-tidy -p "$build" --quiet src/*.cpp src/httpclient_*/*.cpp tools/httpfetch/*.cpp
