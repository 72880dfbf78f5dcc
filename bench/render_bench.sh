#!/bin/sh
# Frames per second of decode -> chain -> encode through `tessivo render` at
# 1920x1080, beside the ffmpeg program decoding and encoding the same clip with
# no filter, in the same run: the cost the graph and its conversions add.
# Both decode and encode on one thread (tessivo's reader and writer use one).
#   TESSIVO=build/release/bin/tessivo CHAIN=fadr+embs CODEC=mpeg4 FRAMES=120 bench/render_bench.sh
set -eu
TESSIVO=${TESSIVO:-build/release/bin/tessivo}
CHAIN=${CHAIN:-fadr+embs}
CODEC=${CODEC:-mpeg4}
FRAMES=${FRAMES:-120}
command -v ffmpeg >/dev/null || { echo "render_bench: ffmpeg is not installed" >&2; exit 1; }
[ -x "$TESSIVO" ] || { echo "render_bench: no $TESSIVO (cmake --build --preset release)" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

ffmpeg -loglevel error -f lavfi -i "testsrc2=size=1920x1080:rate=25" -frames:v "$FRAMES" -c:v ffv1 "$work/clip.mkv"

now() { date +%s.%N; }
start=$(now)
ffmpeg -loglevel error -threads 1 -i "$work/clip.mkv" -threads 1 -c:v "$CODEC" "$work/ffmpeg.mkv"
middle=$(now)
"$TESSIVO" render "$CHAIN" -i "$work/clip.mkv" -o "$work/tessivo.mkv" --codec "$CODEC" \
  --ctrl 'Fade=0.5+0.5*sin(2*pi*t/4)' 2>/dev/null
end=$(now)

awk -v f="$FRAMES" -v a="$start" -v b="$middle" -v c="$end" -v chain="$CHAIN" -v codec="$CODEC" 'BEGIN {
  ff = f / (b - a); ts = f / (c - b);
  printf "1920x1080, %d frames, encoder %s\n", f, codec;
  printf "ffmpeg, no filter:        %7.1f fps\n", ff;
  printf "tessivo render %-10s %7.1f fps\n", chain ":", ts;
  printf "ratio tessivo/ffmpeg:     %7.2f (time per frame %.1f ms against %.1f ms)\n", ts / ff, 1000 / ts, 1000 / ff;
}'
