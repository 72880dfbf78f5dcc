// Pixxicato on small images of any format, padding, mode and factors (NaN,
// infinities, negative and huge included): every destination byte, padding
// included, must be the pixel-by-pixel definition or left as it was, and
// nothing may be read or written outside the two buffers (which are sized
// exactly, for the sanitizers to see).
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "../effects/pixxicato/pixxicato_direct.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

float Factor(FuzzInput &in) {
  static constexpr float kEdges[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(), 0.0f, -0.0f, 0.1f, 1.0f, -1.0f,
                                     1e30f, -1e-3f, 3.0f, 0.5f};
  switch (in.byte() % 4) {
    case 0: return in.real();
    case 1: return kEdges[in.byte() % std::size(kEdges)];
    default: return static_cast<float>(static_cast<int8_t>(in.byte())) / 32.0f;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace tessivo::direct;
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 19, height = in.byte() % 19, format = in.pixelFormat(), mode = in.byte() % 7;
  const float x = Factor(in), y = Factor(in);
  const uint32_t sourcePadding = in.byte() % 9, destinationPadding = in.byte() % 9;
  const uint32_t layout = format == 2 ? 2 : 0;  // the frame's byte layout; the kernel is told the real format
  Frame source(width, height, layout, sourcePadding, in.byte());
  for (uint8_t &byte : source.bytes)
    if (!in.empty()) byte = in.byte();
  const Frame before(width, height, layout, destinationPadding, in.byte());
  Frame after = before;
  tessivo::PixxicatoScratch scratch;
  if (!tessivo::Pixxicate(Describe(source, after, format), mode, x, y, scratch)) {
    std::fprintf(stderr, "Pixxicate: out of memory on a %ux%u frame\n", width, height);
    std::abort();
  }
  const bool written = width > 0 && height > 0 && (format == 0 || format == 2) && mode <= tessivo::kPixxicatoMinimum;
  const Frame expected = written ? Expected(source, before, mode, x, y) : before;
  for (size_t i = 0; i < expected.bytes.size(); ++i) {
    if (after.bytes[i] != expected.bytes[i]) {
      std::fprintf(stderr, "Pixxicate: byte %zu differs (format %u, mode %u, %ux%u, X %g, Y %g)\n", i, format, mode,
                   width, height, static_cast<double>(x), static_cast<double>(y));
      std::abort();
    }
  }
  return 0;
}
