// Linalize's strokes on small canvases of any format, padding, line length
// and width (huge ones included): every byte must be the direct per-pixel
// definition, padding and bytes past the canvas untouched, the stroke count
// a fitting truncation of speed x 3000.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "linalize/linalize_kernel.h"
#include "tessivo/frame/random.h"

namespace {

using tessivo::fuzz::FuzzInput;

[[noreturn]] void Fail(const char *what, long long a, long long b) {
  std::fprintf(stderr, "Linalize: %s (%lld, %lld)\n", what, a, b);
  std::abort();
}

uint32_t Line(FuzzInput &in) {
  switch (in.byte() % 3) {
    case 0: return in.byte() % 24;
    case 1: return in.word();
    default: return 0xFFFFFFFFu - in.byte() % 3;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const float speed = in.real();
  const uint32_t count = tessivo::StrokeCount(speed);
  const float product = speed * 3000.0f;
  if (product >= 0.0f && product < 4294967296.0f) {
    if (count != static_cast<uint32_t>(std::trunc(static_cast<double>(product)))) Fail("count", count, 0);
  } else if (count != 0) {
    Fail("count of a product that does not fit", count, 0);
  }

  const uint32_t width = in.byte() % 33, height = in.byte() % 33, format = in.pixelFormat();
  const uint32_t length = Line(in), thickness = Line(in), pairs = in.byte() % 48;
  const uint32_t pixelBytes = format == 0 ? 1 : 4;
  const uint32_t rowBytes = width * pixelBytes + in.byte() % 9;
  std::vector<uint8_t> canvas(size_t{rowBytes} * height + 16), source(canvas.size());
  for (size_t i = 0; i < canvas.size(); ++i) canvas[i] = static_cast<uint8_t>(i * 31 + 7), source[i] = in.byte();

  ImageDescriptor target{};
  target.baseAddress = canvas.data(), target.rowBytes = rowBytes, target.width = width, target.height = height;
  target.pixelFormat = format;
  ImageDescriptor input = target;
  input.baseAddress = source.data();

  // The definition: rows step by row bytes (ARGB: whole pixels), each stroke
  // covering the pixels within its half sizes of a centre (a mod W, b mod H).
  std::vector<uint8_t> expected = canvas;
  const uint32_t before = tessivo::CurrentRandomSeed();
  uint32_t seed = before;
  const bool draws = (format == 0 || format == 2) && width > 0 && height > 0;
  const size_t step = format == 2 ? size_t{rowBytes / 4} * 4 : rowBytes;
  for (uint32_t i = 0; draws && i < 2 * pairs; ++i) {
    seed = tessivo::AdvanceSeed(seed);
    const int64_t x = seed % width;
    seed = tessivo::AdvanceSeed(seed);
    const int64_t y = seed % height;
    const int64_t halfX = (i % 2 == 0 ? length : thickness) / 2, halfY = (i % 2 == 0 ? thickness : length) / 2;
    const uint8_t *colour = &source[size_t(y) * step + size_t(x) * pixelBytes];
    for (int64_t py = 0; py < height; ++py)
      for (int64_t px = 0; px < width; ++px)
        if (std::llabs(px - x) <= halfX && std::llabs(py - y) <= halfY)
          std::memcpy(&expected[size_t(py) * step + size_t(px) * pixelBytes], colour, pixelBytes);
  }
  tessivo::PaintStrokes(target, input, pairs, length, thickness);
  if (tessivo::CurrentRandomSeed() != seed) Fail("draws", pairs, draws);
  for (size_t i = 0; i < canvas.size(); ++i)
    if (canvas[i] != expected[i]) Fail("byte differs from the definition", static_cast<long long>(i), format);
  return 0;
}
