// Stripe passes on small images of any size, padding, stripe width, counter
// and colours, in both paths: every pixel the buffer holds must be the
// definition over the whole frame, and no byte past the held pixels may change.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "../effects/stripizator/stripes_definition.h"
#include "fuzz_input.h"
#include "stripizator/stripizator_kernel.h"

namespace {

using tessivo::fuzz::FuzzInput;

void Fail(const char *what, bool planar, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Stripes: %s (%s, %ux%u, at %zu)\n", what, planar ? "one byte" : "ARGB", width, height, at);
  std::abort();
}

// A width from the control product (NaN, negative, huge) or any 32-bit word.
uint32_t StripeWidthFrom(FuzzInput &in) {
  if (in.byte() % 2 == 0) return tessivo::StripeWidth(in.real(), in.real());
  const uint32_t width = in.word();
  return width == 0 ? 1 : width;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const bool planar = in.byte() % 2 == 0;
  const uint32_t held = in.byte() % 40, rows = in.byte() % 10;
  const uint32_t frameWidth = held + in.byte() % 3, frameHeight = rows + in.byte() % 3;
  const uint32_t rowBytes = 4 * held + in.byte() % 9;
  const tessivo::Stripes stripes{in.word(), in.word(), StripeWidthFrom(in), in.word()};

  std::vector<uint8_t> bytes(size_t{rowBytes} * rows);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = in.empty() ? static_cast<uint8_t>(i * 167 + 3) : in.byte();
  const std::vector<uint8_t> before = bytes;
  const size_t stride = rowBytes & ~3u;

  // The frame the definition runs over: the held pixels, then a pattern.
  std::vector<uint32_t> argb(size_t{frameWidth} * frameHeight);
  std::vector<uint8_t> grey(argb.size());
  for (uint32_t y = 0; y < frameHeight; ++y) {
    for (uint32_t x = 0; x < frameWidth; ++x) {
      const size_t i = size_t{y} * frameWidth + x;
      argb[i] = static_cast<uint32_t>(i * 2654435761u);
      grey[i] = static_cast<uint8_t>(i);
      if (x < held && y < rows) {
        std::memcpy(&argb[i], &bytes[y * stride + 4 * x], 4);
        grey[i] = bytes[y * stride + x];
      }
    }
  }
  const std::vector<uint32_t> expected =
      planar ? tessivo::stripes_definition::DirectPlanar8(grey, frameWidth, frameHeight, stripes)
             : tessivo::stripes_definition::DirectArgb(argb, frameWidth, frameHeight, stripes);
  const tessivo::StripeImage image{bytes.data(), rowBytes, held, rows, frameWidth, frameHeight};
  planar ? tessivo::DrawStripesPlanar8InPlace(image, stripes) : tessivo::DrawStripesArgb(image, stripes);

  for (uint32_t y = 0; y < rows; ++y) {
    for (uint32_t x = 0; x < held; ++x) {
      uint32_t pixel;
      std::memcpy(&pixel, &bytes[y * stride + 4 * x], 4);
      if (pixel != expected[size_t{y} * frameWidth + x]) Fail("pixel differs from the definition", planar, x, y, 0);
    }
    const size_t rowEnd = y + 1 == rows ? bytes.size() : (y + 1) * stride;
    for (size_t i = y * stride + 4 * held; i < rowEnd; ++i)
      if (bytes[i] != before[i]) Fail("byte past the held pixels changed", planar, held, rows, i);
  }
  return 0;
}
