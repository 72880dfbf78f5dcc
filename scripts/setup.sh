#!/usr/bin/env bash
# Installs every Debian package the project builds, tests and runs with.
# Idempotent; run as root (or with sudo available) on a fresh machine.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libpng-dev libopenimageio-dev nlohmann-json3-dev libcli11-dev libfmt-dev
  libopencv-core-dev libopencv-imgproc-dev
  frei0r-plugins-dev ffmpeg melt gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  gstreamer1.0-plugins-bad
  libavformat-dev libavfilter-dev libavcodec-dev libswscale-dev libavutil-dev libmuparser-dev
  clang libclang-rt-14-dev
  libedit-dev
  libcpp-httplib-dev chromium
)
# The studio's page is built with npm; Node and npm come from Debian when absent.
command -v npm >/dev/null 2>&1 || packages+=(nodejs npm)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
