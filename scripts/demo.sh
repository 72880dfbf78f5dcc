#!/usr/bin/env bash
# Installs what is needed, builds the release build and renders the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release
# Only what the demo runs: the command, the bundle and the vImage library.
cmake --build --preset release --target tessivo_cli tessivo_accelerate
build/release/bin/tessivo demo "$@"
