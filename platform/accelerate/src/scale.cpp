// Separable Lanczos resampling of ARGB8888 images in fixed point: a table of
// 14-bit taps per destination column and per destination row, a horizontal
// pass into a scratch image with 7 fractional bits, then a vertical pass that
// rounds and clamps to bytes.
#include "accelerate_internal.h"

#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

namespace tessivo::accelerate {
namespace {

constexpr int kChannels = 4;
constexpr int kWeightBits = 14;
constexpr int kMiddleBits = 7;  // fractional bits kept between the passes

double Lanczos(double t, double lobes) {
  if (t == 0.0) return 1.0;
  if (std::fabs(t) >= lobes) return 0.0;
  const double x = std::numbers::pi * t;
  return lobes * std::sin(x) * std::sin(x / lobes) / (x * x);
}

// The taps of one axis: for each destination position, `count` source
// indices (clamped to the source, which extends its edges) and weights that
// sum to 1 << kWeightBits.
struct Axis {
  size_t source = 0;
  size_t destination = 0;
  double ratio = 1.0;
  double stretch = 1.0;  // the filter widens by the reduction ratio when shrinking
  double lobes = 3.0;
  size_t count = 0;
  int32_t *index = nullptr;
  int32_t *weight = nullptr;

  Axis(size_t from, size_t to, double filterLobes) : source(from), destination(to), lobes(filterLobes) {
    ratio = to != 0 ? double(from) / double(to) : 1.0;
    stretch = std::max(1.0, ratio);
    count = size_t(std::ceil(2.0 * lobes * stretch)) + 1;
  }

  size_t tableEntries() const { return destination * count; }

  // values: room for `count` doubles.
  void fill(double *values) {
    for (size_t i = 0; i < destination; ++i) {
      const double centre = (double(i) + 0.5) * ratio - 0.5;
      const auto first = int64_t(std::floor(centre - lobes * stretch)) + 1;
      double total = 0.0;
      for (size_t k = 0; k < count; ++k) {
        values[k] = Lanczos((double(first + int64_t(k)) - centre) / stretch, lobes);
        total += values[k];
      }
      int32_t *taps = weight + i * count;
      int32_t *at = index + i * count;
      int64_t sum = 0;
      size_t largest = 0;
      for (size_t k = 0; k < count; ++k) {
        taps[k] = int32_t(std::lround(values[k] / total * double(1 << kWeightBits)));
        sum += taps[k];
        if (taps[k] > taps[largest]) largest = k;
        at[k] = int32_t(std::clamp<int64_t>(first + int64_t(k), 0, int64_t(source) - 1));
      }
      taps[largest] += int32_t((int64_t{1} << kWeightBits) - sum);
    }
  }
};

// Bytes for the tap values of one position, the two tables and the middle
// image, or 0 when they cannot be addressed.
size_t ScratchSize(const Axis &x, const Axis &y, size_t sourceHeight) {
  size_t middle = 0, tables = 0, total = 0;
  const size_t values = std::max(x.count, y.count) * sizeof(double) + alignof(double);
  if (__builtin_mul_overflow(sourceHeight, x.destination * kChannels * sizeof(int32_t), &middle) ||
      __builtin_add_overflow(x.tableEntries(), y.tableEntries(), &tables) ||
      __builtin_mul_overflow(tables, 2 * sizeof(int32_t), &tables) ||
      __builtin_add_overflow(middle, tables + values, &total) || total > (size_t{1} << 48))
    return 0;
  return total;
}

// The two passes, one tap at a time: the portable path.
void Resample(const vImage_Buffer &source, const vImage_Buffer &target, const Axis &x, const Axis &y,
              int32_t *middle) {
  const vImage_Buffer *src = &source, *dest = &target;
  const size_t middleRow = dest->width * kChannels;
  for (size_t row = 0; row < src->height; ++row) {
    const auto *in = static_cast<const uint8_t *>(src->data) + row * src->rowBytes;
    int32_t *out = middle + row * middleRow;
    for (size_t i = 0; i < dest->width; ++i) {
      const int32_t *at = x.index + i * x.count;
      const int32_t *taps = x.weight + i * x.count;
      int32_t sum[kChannels] = {};
      for (size_t k = 0; k < x.count; ++k)
        for (int c = 0; c < kChannels; ++c) sum[c] += taps[k] * in[size_t(at[k]) * kChannels + c];
      for (int c = 0; c < kChannels; ++c)
        out[i * kChannels + c] = (sum[c] + (1 << (kWeightBits - kMiddleBits - 1))) >> (kWeightBits - kMiddleBits);
    }
  }
  constexpr int kFinalShift = kWeightBits + kMiddleBits;
  for (size_t row = 0; row < dest->height; ++row) {
    const int32_t *at = y.index + row * y.count;
    const int32_t *taps = y.weight + row * y.count;
    auto *out = static_cast<uint8_t *>(dest->data) + row * dest->rowBytes;
    for (size_t i = 0; i < middleRow; ++i) {
      int32_t sum = 0;
      for (size_t k = 0; k < y.count; ++k) sum += taps[k] * middle[size_t(at[k]) * middleRow + i];
      out[i] = uint8_t(std::clamp((sum + (1 << (kFinalShift - 1))) >> kFinalShift, 0, 255));
    }
  }
}

// The vector paths compute the same integer sums in another order (no
// partial sum comes near 2^31: the taps' magnitudes sum to under 2^15 and
// the middle values stay under 2^16): four channels of a pixel at once
// across the row, then each destination row as whole rows of the middle
// image multiplied by one tap at a time.
typedef int32_t Channels __attribute__((vector_size(16)));
typedef uint8_t PixelBytes __attribute__((vector_size(4)));

TESSIVO_INLINE void HorizontalRow(const uint8_t *in, const Axis &x, size_t width, int32_t *out) {
  constexpr int kShift = kWeightBits - kMiddleBits;
  for (size_t i = 0; i < width; ++i) {
    const int32_t *at = x.index + i * x.count;
    const int32_t *taps = x.weight + i * x.count;
    Channels sum{};
    for (size_t k = 0; k < x.count; ++k) {
      PixelBytes pixel;
      std::memcpy(&pixel, in + size_t(at[k]) * kChannels, sizeof pixel);
      sum += taps[k] * __builtin_convertvector(pixel, Channels);
    }
    sum = (sum + (1 << (kShift - 1))) >> kShift;
    std::memcpy(out + i * kChannels, &sum, sizeof sum);
  }
}

// Sixteen sums at a time.
typedef int32_t Sums __attribute__((vector_size(64)));
typedef uint8_t SumBytes __attribute__((vector_size(16)));
constexpr size_t kLanes = 16;

TESSIVO_INLINE void AddTap(int32_t *sum, const int32_t *row, int32_t tap, size_t count) {
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    Sums a, b;
    std::memcpy(&a, sum + i, sizeof a);
    std::memcpy(&b, row + i, sizeof b);
    a += tap * b;
    std::memcpy(sum + i, &a, sizeof a);
  }
  for (; i < count; ++i) sum[i] += tap * row[i];
}

TESSIVO_INLINE void StoreBytes(const int32_t *sum, uint8_t *out, size_t count) {
  constexpr int kFinalShift = kWeightBits + kMiddleBits;
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    Sums a;
    std::memcpy(&a, sum + i, sizeof a);
    a = (a + (1 << (kFinalShift - 1))) >> kFinalShift;
    a = a < 0 ? 0 : a;
    a = a > 255 ? 255 : a;
    const SumBytes bytes = __builtin_convertvector(a, SumBytes);
    std::memcpy(out + i, &bytes, sizeof bytes);
  }
  for (; i < count; ++i) out[i] = uint8_t(std::clamp((sum[i] + (1 << (kFinalShift - 1))) >> kFinalShift, 0, 255));
}

TESSIVO_INLINE void VectorResample(const vImage_Buffer &src, const vImage_Buffer &dest, const Axis &x,
                                   const Axis &y, int32_t *middle) {
  const size_t middleRow = dest.width * kChannels;
  for (size_t row = 0; row < src.height; ++row)
    HorizontalRow(static_cast<const uint8_t *>(src.data) + row * src.rowBytes, x, dest.width,
                  middle + row * middleRow);
  // A block of each destination row at a time, its sums on the stack.
  constexpr size_t kBlock = 1024;
  int32_t sum[kBlock];
  for (size_t row = 0; row < dest.height; ++row) {
    const int32_t *at = y.index + row * y.count;
    const int32_t *taps = y.weight + row * y.count;
    auto *out = static_cast<uint8_t *>(dest.data) + row * dest.rowBytes;
    for (size_t left = 0; left < middleRow; left += kBlock) {
      const size_t count = std::min(kBlock, middleRow - left);
      std::fill_n(sum, count, 0);
      for (size_t k = 0; k < y.count; ++k) AddTap(sum, middle + size_t(at[k]) * middleRow + left, taps[k], count);
      StoreBytes(sum, out + left, count);
    }
  }
}

TESSIVO_TARGET_SSE2 void ResampleSse2(const vImage_Buffer &src, const vImage_Buffer &dest, const Axis &x,
                                      const Axis &y, int32_t *middle) {
  VectorResample(src, dest, x, y, middle);
}
#if defined(__x86_64__)
TESSIVO_TARGET_AVX2 void ResampleAvx2(const vImage_Buffer &src, const vImage_Buffer &dest, const Axis &x,
                                      const Axis &y, int32_t *middle) {
  VectorResample(src, dest, x, y, middle);
}
TESSIVO_TARGET_AVX512 void ResampleAvx512(const vImage_Buffer &src, const vImage_Buffer &dest, const Axis &x,
                                          const Axis &y, int32_t *middle) {
  VectorResample(src, dest, x, y, middle);
}
#endif

}  // namespace
}  // namespace tessivo::accelerate

extern "C" __attribute__((visibility("default"))) vImage_Error vImageScale_ARGB8888(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                             vImage_Flags flags) {
  using namespace tessivo::accelerate;
  if (src == nullptr || dest == nullptr) return kvImageNullPointerArgument;
  if ((flags & ~kKnownFlags) != 0) return kvImageUnknownFlagsBit;
  if (src->width > kMaxDimension || src->height > kMaxDimension || dest->width > kMaxDimension ||
      dest->height > kMaxDimension)
    return kvImageInvalidParameter;
  const double lobes = (flags & kvImageHighQualityResampling) != 0 ? 5.0 : 3.0;
  Axis x(src->width, dest->width, lobes);
  Axis y(src->height, dest->height, lobes);
  const size_t scratchSize = ScratchSize(x, y, src->height);
  if (scratchSize == 0) return kvImageMemoryAllocationError;
  if ((flags & kvImageGetTempBufferSize) != 0) return vImage_Error(scratchSize);
  if (dest->width == 0 || dest->height == 0) return kvImageNoError;
  if (src->width == 0 || src->height == 0) return kvImageInvalidParameter;
  if (const vImage_Error error = CheckBuffer(*src, kChannels); error != kvImageNoError) return error;
  if (const vImage_Error error = CheckBuffer(*dest, kChannels); error != kvImageNoError) return error;
  if (Overlap(*src, *dest, kChannels)) return kvImageOutOfPlaceOperationRequired;

  void *scratch = tempBuffer;
  if (scratch == nullptr && (scratch = std::malloc(scratchSize)) == nullptr) return kvImageMemoryAllocationError;
  auto address = reinterpret_cast<uintptr_t>(scratch);
  address = (address + alignof(double) - 1) & ~uintptr_t(alignof(double) - 1);
  auto *values = reinterpret_cast<double *>(address);
  auto *cursor = reinterpret_cast<int32_t *>(values + std::max(x.count, y.count));
  x.index = cursor;
  x.weight = (cursor += x.tableEntries());
  y.index = (cursor += x.tableEntries());
  y.weight = (cursor += y.tableEntries());
  int32_t *middle = cursor + y.tableEntries();
  x.fill(values);
  y.fill(values);

  const tessivo::SimdLevel level = tessivo::ActiveSimdLevel();
  using tessivo::SimdLevel;
#if defined(__x86_64__)
  if (level == SimdLevel::kAvx512) {
    ResampleAvx512(*src, *dest, x, y, middle);
  } else if (level == SimdLevel::kAvx2) {
    ResampleAvx2(*src, *dest, x, y, middle);
  } else
#endif
  if (level == SimdLevel::kSse2) {
    ResampleSse2(*src, *dest, x, y, middle);
  } else {
    Resample(*src, *dest, x, y, middle);
  }
  if (tempBuffer == nullptr) std::free(scratch);
  return kvImageNoError;
}
