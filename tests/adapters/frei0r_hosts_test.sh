#!/usr/bin/env bash
# Runs Tessivo's frei0r filters inside ffmpeg, melt and gst-launch-1.0 over a
# generated clip and checks every frame they produce against `tessivo apply`
# on the same input frame with the same parameters, bit for bit.
#
# The hosts hand frei0r BGRA frames and this test reads their output back as
# RGBA: both conversions only reorder bytes, so no value changes. The clip is
# 96 pixels wide because ffmpeg's frei0r filter ignores row padding, which
# its frames have at other widths.
#
# usage: frei0r_hosts_test.sh TESSIVO FREI0R_DIR WORK_DIR
# TESSIVO_HOST_PRELOAD, when set, is preloaded into the host programs (the
# sanitizer runtimes an instrumented filter needs).
set -uo pipefail

tessivo=$1 filters=$2 work=$3
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
export FREI0R_PATH=$filters GST_REGISTRY=$work/gst-registry.bin ASAN_OPTIONS=detect_leaks=0
frames=3 failures=0 ran=0

run_host() { LD_PRELOAD=${TESSIVO_HOST_PRELOAD:-} "$@"; }
raw() { ffmpeg -loglevel error -y -i "$1" -f rawvideo -pix_fmt rgba "$2"; }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

if ! command -v ffmpeg >/dev/null; then
  echo "SKIP: ffmpeg is not installed (it also makes the test clip)"; exit 77
fi
ffmpeg -loglevel error -f lavfi -i testsrc2=size=96x40:rate=25 -frames:v $frames -pix_fmt rgba in_%d.png || exit 1
ffmpeg -loglevel error -framerate 25 -i in_%d.png -c:v rawvideo -pix_fmt rgba clip.nut || exit 1

# module code | filter | tessivo apply options (;-separated) | ffmpeg filter_params | melt properties | gst properties
cases=(
  "fadr|fader|--ctrl;Fade=0.3|0.3|0=0.3|fade-input=0.3"
  "embs|emboss|--set;Direction=Top Right;--set;Effect=Stonify;--set;Strongness=Strong|y/0.333333/1/0.75|1=0.333333 2=1 3=0.75|direction=0.333333 effect=1 strongness=0.75"
  "pixx|pixxicato|--ctrl;X=0.2;--ctrl;Y=0.1;--set;Mode=Mean|0.2/0.1/y/0.5|0=0.2 1=0.1 3=0.5|x-controller=0.2 y-controller=0.1 mode=0.5"
)

# compare NAME EXPECTED_PREFIX ACTUAL_PREFIX COUNT: frame i of both as raw RGBA.
compare() {
  local name=$1 expected=$2 actual=$3 count=$4 i
  for ((i = 1; i <= count; i++)); do
    if ! cmp -s "$expected$i.raw" "$actual$i.raw"; then fail "$name frame $i differs from tessivo apply"; return; fi
  done
  echo "ok: $name, $count frames equal to tessivo apply"
}

for case in "${cases[@]}"; do
  IFS='|' read -r code filter apply_options ff_params melt_props gst_props <<<"$case"
  if [ ! -f "$filters/tessivo_$filter.so" ]; then fail "tessivo_$filter.so is missing"; continue; fi
  IFS=';' read -r -a options <<<"$apply_options"
  for ((i = 1; i <= frames; i++)); do
    "$tessivo" apply "$code" in_$i.png expected_$i.png "${options[@]}" || { fail "tessivo apply $code"; continue 2; }
    raw expected_$i.png "$filter-expected-$i.raw"
  done

  if run_host ffmpeg -loglevel error -y -i in_%d.png \
      -vf "frei0r=filter_name=tessivo_$filter:filter_params=${ff_params//\//|}" -pix_fmt rgba "ff-$filter-%d.png"; then
    for ((i = 1; i <= frames; i++)); do raw "ff-$filter-$i.png" "$filter-ffmpeg-$i.raw"; done
    compare "ffmpeg $filter" "$filter-expected-" "$filter-ffmpeg-" $frames
  else
    fail "ffmpeg with tessivo_$filter"
  fi
  ran=$((ran + 1))

  if command -v melt >/dev/null; then
    # shellcheck disable=SC2086
    if run_host melt -silent -quiet clip.nut -filter "frei0r.tessivo_$filter" $melt_props \
        -consumer "avformat:melt-$filter.nut" vcodec=rawvideo pix_fmt=rgba >/dev/null 2>&1; then
      ffmpeg -loglevel error -y -i "melt-$filter.nut" -f image2 -c:v rawvideo -pix_fmt rgba "$filter-melt-%d.raw"
      count=$(ls "$filter"-melt-*.raw 2>/dev/null | wc -l)
      if [ "$count" -lt 2 ]; then fail "melt $filter gave $count frames"; else compare "melt $filter" "$filter-expected-" "$filter-melt-" "$count"; fi
    else
      fail "melt with tessivo_$filter"
    fi
  else
    echo "SKIP: melt is not installed"
  fi

  if command -v gst-launch-1.0 >/dev/null; then
    # shellcheck disable=SC2086
    if run_host gst-launch-1.0 -q multifilesrc location=in_%d.png start-index=1 stop-index=$frames \
        caps=image/png,framerate=25/1 ! pngdec ! videoconvert ! video/x-raw,format=BGRA \
        ! "frei0r-filter-tessivo-$filter" $gst_props ! videoconvert ! video/x-raw,format=RGBA \
        ! multifilesink location="$filter-gst-%d.raw" index=1 >/dev/null; then
      compare "gst-launch-1.0 $filter" "$filter-expected-" "$filter-gst-" $frames
    else
      fail "gst-launch-1.0 with tessivo_$filter"
    fi
  else
    echo "SKIP: gst-launch-1.0 is not installed"
  fi
done

[ "$failures" -eq 0 ] || { echo "$failures failures"; exit 1; }
[ "$ran" -gt 0 ] || exit 77
