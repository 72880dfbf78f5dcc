#!/usr/bin/env bash
# Builds the host tests with ThreadSanitizer (preset "tsan") and runs the
# ones that deliver inputs on threads of their own.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset tsan >/dev/null
cmake --build --preset tsan
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
  build/tsan/bin/host_tests --gtest_filter='*Threaded*:*threaded*'
