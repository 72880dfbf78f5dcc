// Flash on small images of any format, padding, table and blend flag: every
// destination byte must be the per-pixel definition, padding untouched, and
// an unknown format must write nothing.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "flash/flash_kernel.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

uint32_t Channel(uint32_t c, uint32_t a, const tessivo::FlashTable &t, bool blend) {
  return blend ? ((256 - a) * c + a * t[c]) >> 8 : t[c];
}

void Fail(uint32_t format, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Flash: byte differs from the definition (format %u, %ux%u, byte %zu)\n", format, width, height,
               at);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 70, height = in.byte() % 9, format = in.pixelFormat();
  const bool blend = (in.byte() & 1) != 0;
  // Mostly the tables the module builds; sometimes any bytes at all.
  tessivo::FlashTable table = tessivo::PhaseFlashTable(in.word());
  if (in.byte() % 4 == 0)
    for (uint8_t &entry : table) entry = in.byte();
  const uint32_t pixelBytes = format == 0 ? 1 : 4;  // room for four bytes whatever the format
  const uint32_t sourceRowBytes = width * pixelBytes + in.byte() % 16;
  const uint32_t destinationRowBytes = width * pixelBytes + in.byte() % 16;

  std::vector<uint8_t> source(size_t{sourceRowBytes} * height);
  const uint8_t seed = in.byte();
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint8_t>(i * 167 + seed) : in.byte();
  std::vector<uint8_t> destination(size_t{destinationRowBytes} * height);
  for (size_t i = 0; i < destination.size(); ++i) destination[i] = static_cast<uint8_t>(i * 89 + 0x5A);
  std::vector<uint8_t> expected = destination;

  tessivo::Flash({source.data(), sourceRowBytes, destination.data(), destinationRowBytes, width, height, format}, table,
                 blend);

  if (format == 0) {
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x) {
        const uint32_t v = source[size_t{y} * sourceRowBytes + x];
        expected[size_t{y} * destinationRowBytes + x] = static_cast<uint8_t>(blend ? (v * (256 - v + table[v])) >> 8 : table[v]);
      }
  } else if (format == 2) {
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x) {
        uint32_t s = 0;
        std::memcpy(&s, &source[size_t{y} * (sourceRowBytes & ~3u) + 4 * x], 4);
        const uint32_t a = s >> 24;
        uint32_t result = s & 0xFF000000u;
        for (uint32_t shift = 0; shift < 24; shift += 8) result |= Channel((s >> shift) & 255, a, table, blend) << shift;
        std::memcpy(&expected[size_t{y} * (destinationRowBytes & ~3u) + 4 * x], &result, 4);
      }
  }
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail(format, width, height, i);
  return 0;
}
