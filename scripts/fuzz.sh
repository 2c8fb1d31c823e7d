#!/usr/bin/env bash
# Builds the fuzz targets with clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer in build/fuzz, replays each target's corpus, then
# fuzzes each target in turn for the given number of seconds (default 10).
# New inputs stay in build/fuzz/fuzz/corpus/<target>/, crashers go to
# build/fuzz/fuzz/artifacts/; the corpora in fuzz/corpus/ are only read.
#
#   scripts/fuzz.sh        # 10 s per target
#   scripts/fuzz.sh 600    # 10 min per target
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: $0 [seconds per target]" >&2
  exit 2
fi

scripts/setup.sh clang libclang-rt-14-dev

cmake -S . -B build/fuzz -G Ninja \
  -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="-O1 -fno-omit-frame-pointer -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all" \
  -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" \
  -DHTTPCLIENT_CORE_WERROR=ON \
  -DHTTPCLIENT_CORE_BUILD_TESTS=OFF \
  -DHTTPCLIENT_CORE_BUILD_EXAMPLES=OFF \
  -DHTTPCLIENT_CORE_BUILD_CURL=OFF \
  -DHTTPCLIENT_CORE_BUILD_FUZZERS=ON \
  -DHTTPCLIENT_CORE_FUZZ_SECONDS="$seconds" >/dev/null
cmake --build build/fuzz -j "$(nproc)"
ctest --test-dir build/fuzz --output-on-failure
