#!/usr/bin/env bash
# Installs everything the build and the tests need on a fresh Debian 12 machine (Debian packages
# only; the page tests' npm packages are installed by tests/page/run.sh from the lock file).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config python3 git
  googletest libgtest-dev libgmock-dev
  libcurl4-openssl-dev libssl-dev zlib1g-dev libwim-dev
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix libz-mingw-w64-dev
  wine wine64 xvfb
  nginx-light zsync openssl curl
  clang libclang-rt-14-dev clang-format clang-tidy
  chromium
  libgtk-3-dev libwebkit2gtk-4.1-dev gstreamer1.0-plugins-good gstreamer1.0-libav
  xauth xdotool x11-utils imagemagick
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
  missing+=(nodejs npm)
fi

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
echo "dependencies ready"
