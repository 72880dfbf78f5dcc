// The mirror on small images of any format, size, padding and strength, with
// source and destination buffers that may hold fewer rows or shorter rows than
// the output's size: every pixel in the destination must be the definition's
// sample (0 outside the source buffer) and everything else untouched. One kernel serves every input, so its kept tables are reused
// across sizes as they are across a host's frames.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "../effects/kagami/kagami_definition.h"
#include "fuzz_input.h"
#include "kagami/kagami_kernel.h"

namespace {

using tessivo::fuzz::FuzzInput;

void Fail(const char *what, uint32_t format, uint32_t width, uint32_t height, size_t at, float strength) {
  std::fprintf(stderr, "Mirror: %s (format %u, %ux%u, byte %zu, strength %a)\n", what, format, width, height, at,
               static_cast<double>(strength));
  std::abort();
}

float Strength(FuzzInput &in) {
  switch (in.byte() % 3) {
    case 0: return in.real();
    case 1: return static_cast<float>(in.word()) / 1073741824.0f - 2.0f;
    default: return static_cast<float>(static_cast<int8_t>(in.byte())) / 32.0f;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static tessivo::MirrorKernel kernel;
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 48, height = in.byte() % 48, format = in.pixelFormat();
  const float strength = Strength(in);
  const uint32_t pixelBytes = format == 0 ? 1 : 4;
  // Mostly buffers that fit the size; sometimes fewer rows, or rows of any length.
  const auto rows = [&] { return in.byte() % 4 ? height : in.byte() % 48; };
  const auto rowBytes = [&] { return in.byte() % 4 ? width * pixelBytes + in.byte() % 9 : in.byte() % 200u; };
  const uint32_t sourceRows = rows(), sourceRowBytes = rowBytes();
  const uint32_t destinationRows = rows(), destinationRowBytes = rowBytes();
  // Never empty: a source of no rows still has an address (a null one writes nothing).
  std::vector<uint8_t> source(std::max<size_t>(size_t{sourceRowBytes} * sourceRows, 1));
  const uint8_t seed = in.byte();
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint8_t>(i * 167 + seed) : in.byte();
  std::vector<uint8_t> destination(size_t{destinationRowBytes} * destinationRows);
  for (size_t i = 0; i < destination.size(); ++i) destination[i] = static_cast<uint8_t>(i * 89 + 0x5A);
  std::vector<uint8_t> expected = destination;

  kernel.run({source.data(), sourceRowBytes, sourceRows, destination.data(), destinationRowBytes, destinationRows,
              width, height, format},
             strength);

  // Rows step by row bytes (bytes) or whole pixels (words).
  const size_t sourceStride = pixelBytes == 4 ? sourceRowBytes & ~3u : sourceRowBytes;
  const size_t destinationStride = pixelBytes == 4 ? destinationRowBytes & ~3u : destinationRowBytes;
  const tessivo::test::DirectMirror direct{width, height, strength};
  for (uint32_t y = 0; y < std::min(height, destinationRows); ++y) {
    for (uint32_t x = 0; x < std::min<size_t>(width, destinationRowBytes / pixelBytes); ++x) {
      const tessivo::test::DirectSample s = direct.at(x, y);
      uint8_t *to = &expected[y * destinationStride + size_t{x} * pixelBytes];
      if (s.inside && s.column < sourceRowBytes / pixelBytes && s.row < sourceRows)
        std::memcpy(to, &source[s.row * sourceStride + size_t{s.column} * pixelBytes], pixelBytes);
      else
        std::memset(to, 0, pixelBytes);
    }
  }
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail("byte differs from the definition", format, width, height, i, strength);
  return 0;
}
