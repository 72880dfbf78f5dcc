// The rising mean on small images of words or bytes with any padding: every
// destination byte must be the definition in the written area and untouched
// elsewhere (the last two rows, the first and last columns, the padding).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "diffusion/diffusion_kernel.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

[[noreturn]] void Fail(uint32_t pixelBytes, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Diffuse: byte differs from the definition (%u-byte pixels, %ux%u, byte %zu)\n", pixelBytes,
               width, height, at);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 50, height = in.byte() % 10, pixelBytes = in.byte() & 1 ? 4 : 1;
  const uint32_t sourceRowBytes = width * pixelBytes + in.byte() % 8;
  const uint32_t destinationRowBytes = width * pixelBytes + in.byte() % 8;
  const uint32_t sourceStride = sourceRowBytes / pixelBytes * pixelBytes;
  const uint32_t destinationStride = destinationRowBytes / pixelBytes * pixelBytes;

  // Exactly the rows the image covers, so any stray access leaves the buffer.
  std::vector<uint8_t> source(size_t{sourceRowBytes} * height);
  const uint8_t seed = in.byte();
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint8_t>(i * 167 + seed) : in.byte();
  std::vector<uint8_t> destination(size_t{destinationRowBytes} * height);
  for (size_t i = 0; i < destination.size(); ++i) destination[i] = static_cast<uint8_t>(i * 89 + 0x5A);
  std::vector<uint8_t> expected = destination;

  tessivo::Diffuse(
      {source.data(), sourceRowBytes, destination.data(), destinationRowBytes, width, height, pixelBytes});

  const auto s = [&](uint32_t x, uint32_t y, uint32_t channel) -> uint32_t {
    return source[size_t{y} * sourceStride + size_t{x} * pixelBytes + channel];
  };
  for (uint32_t y = 0; y + 2 < height; ++y)
    for (uint32_t x = 1; x + 1 < width; ++x)
      for (uint32_t c = 0; c < pixelBytes; ++c)
        expected[size_t{y} * destinationStride + size_t{x} * pixelBytes + c] =
            static_cast<uint8_t>((s(x, y + 1, c) + s(x - 1, y + 2, c) + s(x, y + 2, c) + s(x + 1, y + 2, c)) >> 2);
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail(pixelBytes, width, height, i);
  return 0;
}
