#!/usr/bin/env bash
# Installs what is needed, builds the sanitizer test build from scratch and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
rm -rf build/test
cmake --preset test
cmake --build --preset test
ctest --preset test -j2
