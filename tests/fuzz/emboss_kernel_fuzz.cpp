// Emboss on small images of any format, padding, effect, strength and
// direction: every destination byte must be the per-pixel definition,
// padding untouched, and unknown choices must write nothing.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "emboss/emboss_kernel.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

uint32_t Strongness(FuzzInput &in) {
  const uint8_t choice = in.byte();
  return choice < 192 ? choice % 5 : choice < 224 ? choice % 40 : in.word();
}

// floor(D * 2^k / 2^shift) with D * 2^k reduced modulo 2^32 to a signed word.
int32_t Scale(int32_t d, uint32_t k, uint32_t shift) {
  const uint64_t product = k < 32 ? static_cast<uint64_t>(int64_t{d} * (int64_t{1} << k)) : 0;
  const auto wrapped = static_cast<int64_t>(static_cast<int32_t>(static_cast<uint32_t>(product)));
  const int64_t divisor = int64_t{1} << shift;
  return static_cast<int32_t>(wrapped >= 0 ? wrapped / divisor : -((-wrapped + divisor - 1) / divisor));
}

uint8_t Clamp(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

void Fail(const char *what, uint32_t format, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Emboss: %s (format %u, %ux%u, byte %zu)\n", what, format, width, height, at);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 41, height = in.byte() % 41, format = in.pixelFormat();
  const uint32_t effect = in.byte() % 5, direction = in.byte() % 6, k = Strongness(in);
  const uint32_t pixelBytes = format == 0 ? 1 : 4;  // room for four bytes whatever the format
  const uint32_t sourceRowBytes = width * pixelBytes + in.byte() % 16;
  const uint32_t destinationRowBytes = width * pixelBytes + in.byte() % 16;

  std::vector<uint8_t> source(size_t{sourceRowBytes} * height);
  const uint8_t seed = in.byte();
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint8_t>(i * 167 + seed) : in.byte();
  std::vector<uint8_t> destination(size_t{destinationRowBytes} * height);
  for (size_t i = 0; i < destination.size(); ++i) destination[i] = static_cast<uint8_t>(i * 89 + 0x5A);
  std::vector<uint8_t> expected = destination;

  tessivo::Emboss({source.data(), sourceRowBytes, destination.data(), destinationRowBytes, width, height, format},
                  effect, k, direction);

  if ((format == 0 || format == 2) && effect < 3 && direction < 4) {
    const int litX = direction % 2 == 0 ? -1 : 1, litY = direction < 2 ? -1 : 1;
    // Rows step by whole pixels in ARGB; a pixel is a native word, its channels by shift.
    const size_t sourceStride = format == 2 ? sourceRowBytes & ~3u : sourceRowBytes;
    const size_t destinationStride = format == 2 ? destinationRowBytes & ~3u : destinationRowBytes;
    const auto pixel = [&](int64_t x, int64_t y) {
      uint32_t value = 0;
      std::memcpy(&value, &source[static_cast<size_t>(y) * sourceStride + static_cast<size_t>(x) * pixelBytes],
                  pixelBytes);
      return value;
    };
    const auto inside = [&](int64_t x, int64_t y) { return x >= 0 && y >= 0 && x < width && y < height; };
    for (int64_t y = 0; y < height; ++y) {
      for (int64_t x = 0; x < width; ++x) {
        const uint32_t s = pixel(x, y);
        const bool litIn = inside(x + litX, y + litY), oppositeIn = inside(x - litX, y - litY);
        const uint32_t l = litIn ? pixel(x + litX, y + litY) : s, o = oppositeIn ? pixel(x - litX, y - litY) : s;
        uint32_t result = s;
        if (litIn || oppositeIn) {
          result = 0;
          const int top = format == 0 ? 0 : 24;
          const int32_t alphaE = Scale(static_cast<int32_t>(o >> top & 255) - static_cast<int32_t>(l >> top & 255), k,
                                       format == 2 && effect == 1 ? 4 : 3);
          for (int shift = 0; shift <= top; shift += 8) {
            const int32_t d = static_cast<int32_t>(o >> shift & 255) - static_cast<int32_t>(l >> shift & 255);
            const int32_t e = format == 2 && effect == 1 ? alphaE : Scale(d, k, 3);
            result |= uint32_t{Clamp((effect == 2 ? 128 : static_cast<int32_t>(s >> shift & 255)) + e)} << shift;
          }
        }
        std::memcpy(&expected[static_cast<size_t>(y) * destinationStride + static_cast<size_t>(x) * pixelBytes],
                    &result, pixelBytes);
      }
    }
  }
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail("byte differs from the definition", format, width, height, i);
  return 0;
}
