#include "diffusion_kernel.h"

#include <cstddef>
#include <cstring>

#include "tessivo/simd.h"

// The vector helpers below are local to this file and always inlined: how a
// 32-byte vector would cross a call boundary without AVX does not matter here.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tessivo {
namespace {

// K bytes a step in K 16-bit lanes: 16 on SSE2 and AVX2, 32 on AVX-512
// (one register each), none on the scalar path.
template <size_t K>
struct Vectors {
  typedef uint8_t Bytes __attribute__((vector_size(K)));
  typedef uint16_t Lanes __attribute__((vector_size(2 * K)));
};

template <size_t K>
[[gnu::always_inline]] inline typename Vectors<K>::Lanes Load(const uint8_t *from) {
  typename Vectors<K>::Bytes in;
  std::memcpy(&in, from, K);
  return __builtin_convertvector(in, typename Vectors<K>::Lanes);
}

// Channel bytes are independent, so a word row is a byte row whose
// neighbours lie `step` bytes away (4 for words, 1 for bytes): for every byte
// i in [step, end), out[i] = (below[i] + under[i - step] + under[i] + under[i + step]) >> 2,
// with under[i + step] still inside the row. The sum of four bytes fits 16 bits.
template <size_t K>
[[gnu::always_inline]] inline void MeanRow(const uint8_t *below, const uint8_t *under, uint8_t *out, size_t step,
                                           size_t end) {
  size_t i = step;
  if constexpr (K > 0) {
    using Lanes = typename Vectors<K>::Lanes;
    using Bytes = typename Vectors<K>::Bytes;
    for (; i + K <= end; i += K) {
      const Lanes sum = Load<K>(below + i) + Load<K>(under + i - step) + Load<K>(under + i) + Load<K>(under + i + step);
      const Bytes mean = __builtin_convertvector(sum >> 2, Bytes);
      std::memcpy(out + i, &mean, K);
    }
  }
  for (; i < end; ++i) {
    out[i] = static_cast<uint8_t>((below[i] + under[i - step] + under[i] + under[i + step]) >> 2);
  }
}

template <size_t K>
[[gnu::always_inline]] inline void MeanRows(const DiffusionImage &image) {
  const size_t step = image.pixelBytes == 1 ? 1 : 4;
  // Rows step by whole pixels: row bytes rounded down to the pixel size.
  const size_t sourceStride = image.sourceRowBytes / step * step;
  const size_t destinationStride = image.destinationRowBytes / step * step;
  const size_t end = (size_t{image.width} - 1) * step;  // first byte of column W - 1
  const auto *source = static_cast<const uint8_t *>(image.source);
  auto *destination = static_cast<uint8_t *>(image.destination);
  for (size_t y = 0; y + 2 < image.height; ++y) {
    MeanRow<K>(source + (y + 1) * sourceStride, source + (y + 2) * sourceStride, destination + y * destinationStride,
               step, end);
  }
}

void MeanRowsScalar(const DiffusionImage &image) { MeanRows<0>(image); }
TESSIVO_TARGET_SSE2 void MeanRowsSse2(const DiffusionImage &image) { MeanRows<16>(image); }
#if defined(__x86_64__)
TESSIVO_TARGET_AVX2 void MeanRowsAvx2(const DiffusionImage &image) { MeanRows<16>(image); }
TESSIVO_TARGET_AVX512 void MeanRowsAvx512(const DiffusionImage &image) { MeanRows<32>(image); }
#endif

}  // namespace

void Diffuse(const DiffusionImage &image) {
  if (image.source == nullptr || image.destination == nullptr || image.width <= 2 || image.height <= 2) {
    return;
  }
  ChooseSimdPath(TESSIVO_SIMD_PATHS(MeanRows))(image);
}

}  // namespace tessivo
