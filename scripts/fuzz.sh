#!/usr/bin/env bash
# Builds the libFuzzer targets with Clang (preset "fuzz") and runs each for a
# while, starting from its seeds in tests/fuzz/corpus/<target>/ and the
# corpus earlier runs grew in build/fuzz/corpus/<target>/. An input that
# crashes a target is copied to tests/fuzz/corpus/<target>/crash-<sha1>, where
# the suite's replay of that target (<target>_smoke) runs it from then on:
# fix the fault, then commit the input with the fix.
#   scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]     (default: 60, all)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  # The list the build knows (tests/fuzz/CMakeLists.txt).
  mapfile -t targets < <(sed -n '/^set(fuzz_targets/,/)/p' tests/fuzz/CMakeLists.txt |
                         tr ' ()' '\n\n\n' | grep '_fuzz$')
fi

# Leaks are reported with full stacks (slower), so that the suppressions in
# tests/lsan.supp recognise those inside the image library.
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"

found=0
printf '%-26s %8s %12s %8s %s\n' target seconds runs corpus result
for target in "${targets[@]}"; do
  seeds=tests/fuzz/corpus/$target work=build/fuzz/corpus/$target crashes=build/fuzz/crashes/$target
  mkdir -p "$work" "$crashes"
  log=build/fuzz/$target.log
  status=0
  LSAN_OPTIONS=suppressions=tests/lsan.supp:print_suppressions=0 ASAN_OPTIONS=detect_leaks=1:fast_unwind_on_malloc=0:verify_asan_link_order=0 build/fuzz/bin/$target -max_total_time="$seconds" -timeout=30 -rss_limit_mb=3072 \
    -print_final_stats=1 -artifact_prefix="$crashes/" "$work" "$seeds" >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  result=ok
  if [ $status -ne 0 ]; then
    found=$((found + 1))
    result="CRASH (see $log)"
    for crash in "$crashes"/*; do
      [ -f "$crash" ] || continue
      kept=$seeds/crash-$(sha1sum "$crash" | cut -c1-16)
      cp "$crash" "$kept" && rm "$crash"
      result="$result -> $kept"
    done
  fi
  printf '%-26s %8s %12s %8s %s\n' "$target" "$seconds" "${runs:-?}" "$(ls "$work" | wc -l)" "$result"
done
exit $((found > 0))
