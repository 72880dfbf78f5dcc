// Fade on small images of any format, padding, colour and amount: every
// destination byte must be the per-pixel definition, padding untouched, and
// an unknown format must write nothing.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <vector>

#include "fader/fader_kernel.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

// The weight written out: trunc(amount * 65536) modulo 2^32, 0 when not finite.
// A float of 2^63 or more is a multiple of 2^32.
uint32_t DirectWeight(float amount) {
  const float scaled = amount * 65536.0f;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 9223372036854775808.0f) return 0;
  return static_cast<uint32_t>(static_cast<int64_t>(scaled));
}

uint32_t FadeChannel(uint32_t s, uint32_t c, uint32_t w) { return ((s * (65536u - w) + w * c) >> 16) & 0xFFu; }

float Amount(FuzzInput &in) {
  static constexpr float kEdges[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(), 0.0f, -0.0f, 1.0f, 2.0f, -1.0f, 1e30f,
                                     std::numeric_limits<float>::denorm_min(), 65536.0f, 0.5f};
  switch (in.byte() % 4) {
    case 0: return in.real();
    case 1: return static_cast<float>(in.word()) / 4294967296.0f;
    case 2: return kEdges[in.byte() % std::size(kEdges)];
    default: return static_cast<float>(static_cast<int8_t>(in.byte())) / 16.0f;
  }
}

void Fail(const char *what, uint32_t format, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Fade: %s (format %u, %ux%u, byte %zu)\n", what, format, width, height, at);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 65, height = in.byte() % 65, format = in.pixelFormat(), colour = in.word();
  const float amount = Amount(in);
  const uint32_t pixelBytes = format == 0 ? 1 : 4;  // room for four bytes whatever the format
  const uint32_t sourceRowBytes = width * pixelBytes + in.byte() % 16;
  const uint32_t destinationRowBytes = width * pixelBytes + in.byte() % 16;

  // The source from the rest of the input (repeated), the destination a pattern.
  std::vector<uint8_t> source(size_t{sourceRowBytes} * height);
  const uint8_t seed = in.byte();
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint8_t>(i * 167 + seed) : in.byte();
  std::vector<uint8_t> destination(size_t{destinationRowBytes} * height);
  for (size_t i = 0; i < destination.size(); ++i) destination[i] = static_cast<uint8_t>(i * 89 + 0x5A);
  std::vector<uint8_t> expected = destination;

  tessivo::Fade({source.data(), sourceRowBytes, destination.data(), destinationRowBytes, width, height, format}, colour,
                amount);

  const uint32_t w = DirectWeight(amount);
  if (w != tessivo::FadeWeight(amount)) Fail("FadeWeight differs from trunc(amount * 65536)", format, width, height, 0);
  if (format == 0) {
    const uint32_t grey = (((colour >> 16) & 255) + ((colour >> 7) & 255) + (colour & 255)) >> 2;
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x)
        expected[size_t{y} * destinationRowBytes + x] =
            static_cast<uint8_t>(FadeChannel(source[size_t{y} * sourceRowBytes + x], grey, w));
  } else if (format == 2) {
    // Rows step by whole pixels; each pixel is a native 32-bit word.
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        uint32_t s = 0;
        std::memcpy(&s, &source[size_t{y} * (sourceRowBytes & ~3u) + 4 * x], 4);
        uint32_t result = 0;
        for (uint32_t shift = 0; shift < 32; shift += 8)
          result |= FadeChannel((s >> shift) & 255, (colour >> shift) & 255, w) << shift;
        std::memcpy(&expected[size_t{y} * (destinationRowBytes & ~3u) + 4 * x], &result, 4);
      }
    }
  }
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail("byte differs from the definition", format, width, height, i);
  return 0;
}
