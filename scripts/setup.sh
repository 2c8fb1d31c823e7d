#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, plus
# any package named on the command line (scripts/setup.sh clang).
# Idempotent: packages already present are not touched, apt runs only when
# something is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config dpkg-dev
  libgtest-dev libgmock-dev
  libcurl4-openssl-dev libcpp-httplib-dev openssl
  nginx squid apache2-utils python3-httpbin python3-websockets
  clang-format clang-tidy
  "$@"
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  sudo=""
  if [[ $(id -u) -ne 0 ]]; then sudo="sudo"; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
