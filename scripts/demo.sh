#!/usr/bin/env bash
# Installs what is needed, builds the release build and renders the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release
cmake --build --preset release
build/release/bin/tessivo demo "$@"
