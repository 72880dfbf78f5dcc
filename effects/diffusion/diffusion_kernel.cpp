#include "diffusion_kernel.h"

#include <cstddef>
#include <cstring>

// The vector helpers below are local to this file and always inlined: how a
// 32-byte vector would cross a call boundary without AVX does not matter here.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tessivo {
namespace {

using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Lanes16 = uint16_t __attribute__((vector_size(32)));
constexpr size_t kBlock = 16;

[[gnu::always_inline]] inline Lanes16 Load(const uint8_t *from) {
  Bytes16 in;
  std::memcpy(&in, from, kBlock);
  return __builtin_convertvector(in, Lanes16);
}

// Channel bytes are independent, so a word row is a byte row whose
// neighbours lie `step` bytes away (4 for words, 1 for bytes): for every byte
// i in [step, end), out[i] = (below[i] + under[i - step] + under[i] + under[i + step]) >> 2,
// with under[i + step] still inside the row. The sum of four bytes fits 16 bits.
__attribute__((target_clones("avx2", "default"))) void MeanRow(const uint8_t *below, const uint8_t *under,
                                                                 uint8_t *out, size_t step, size_t end) {
  size_t i = step;
  for (; i + kBlock <= end; i += kBlock) {
    const Lanes16 sum = Load(below + i) + Load(under + i - step) + Load(under + i) + Load(under + i + step);
    const Bytes16 mean = __builtin_convertvector(sum >> 2, Bytes16);
    std::memcpy(out + i, &mean, kBlock);
  }
  for (; i < end; ++i) {
    out[i] = static_cast<uint8_t>((below[i] + under[i - step] + under[i] + under[i + step]) >> 2);
  }
}

}  // namespace

void Diffuse(const DiffusionImage &image) {
  if (image.source == nullptr || image.destination == nullptr || image.width <= 2 || image.height <= 2) {
    return;
  }
  const size_t step = image.pixelBytes == 1 ? 1 : 4;
  // Rows step by whole pixels: row bytes rounded down to the pixel size.
  const size_t sourceStride = image.sourceRowBytes / step * step;
  const size_t destinationStride = image.destinationRowBytes / step * step;
  const size_t end = (size_t{image.width} - 1) * step;  // first byte of column W - 1
  const auto *source = static_cast<const uint8_t *>(image.source);
  auto *destination = static_cast<uint8_t *>(image.destination);
  for (size_t y = 0; y + 2 < image.height; ++y) {
    MeanRow(source + (y + 1) * sourceStride, source + (y + 2) * sourceStride, destination + y * destinationStride,
            step, end);
  }
}

}  // namespace tessivo
