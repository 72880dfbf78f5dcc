// Tent convolution on running sums. A tent of radius r is a box of r + 1
// samples run twice, so moving the window one step changes the tent sum by
// (sum of the r + 1 samples ahead) - (sum of the r + 1 samples behind). The
// vertical tent is kept per source column in 64-bit sums updated once per
// row; the horizontal tent runs along each row of those sums. Every output
// channel is the exact weighted sum divided by the weight total, rounded half
// up; the cost per pixel does not depend on the kernel size.
#include "accelerate_internal.h"

#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tessivo::accelerate {
namespace {

constexpr vImage_Flags kEdgeModes = kvImageCopyInPlace | kvImageBackgroundColorFill | kvImageEdgeExtend |
                                    kvImageTruncateKernel;

// Sum of the weights 1 + 2 + ... + m of the kernel taps that fall m deep past an edge.
uint64_t Triangle(int64_t m) { return m > 0 ? uint64_t(m) * uint64_t(m + 1) / 2 : 0; }

// Weight total of a one-dimensional tent of radius r centred at i on [0, n),
// with the taps outside dropped.
uint64_t InsideWeight(int64_t i, int64_t r, int64_t n) {
  return uint64_t(r + 1) * uint64_t(r + 1) - Triangle(r - i) - Triangle(r - (n - 1 - i));
}

// n / d rounded half up, for n <= 255.5 d and d <= 2^56.
inline uint8_t RoundedQuotient(uint64_t n, uint64_t d, double inverse) {
  n += d / 2;
  auto q = uint64_t(double(n) * inverse);
  if (q > 256) q = 256;
  while (q * d > n) --q;
  uint64_t rest = n - q * d;
  while (rest >= d) {
    ++q;
    rest -= d;
  }
  return uint8_t(q);
}

template <int C>
struct Tent {
  const vImage_Buffer &src;
  const vImage_Buffer &dest;
  int64_t width, height;  // source
  int64_t offsetX, offsetY;
  int64_t rx, ry;
  vImage_Flags mode;
  uint8_t background[C];

  // Scratch: per source column and channel the vertical tent sum and the two
  // box sums below and above, then one row of the outside colour.
  uint64_t *vsum = nullptr;
  uint64_t *lower = nullptr;
  uint64_t *upper = nullptr;
  uint8_t *outsideRow = nullptr;

  static size_t ScratchSize(vImagePixelCount srcWidth) {
    return srcWidth * C * 3 * sizeof(uint64_t) + srcWidth * C + alignof(uint64_t);
  }

  void place(void *scratch) {
    auto address = reinterpret_cast<uintptr_t>(scratch);
    address = (address + alignof(uint64_t) - 1) & ~uintptr_t(alignof(uint64_t) - 1);
    const size_t count = size_t(width) * C;
    vsum = reinterpret_cast<uint64_t *>(address);
    lower = vsum + count;
    upper = lower + count;
    outsideRow = reinterpret_cast<uint8_t *>(upper + count);
    const bool zeroOutside = mode == kvImageTruncateKernel;
    for (size_t i = 0; i < count; ++i) outsideRow[i] = zeroOutside ? 0 : background[i % C];
  }

  bool extends() const { return mode == kvImageEdgeExtend || mode == kvImageCopyInPlace; }

  const uint8_t *row(int64_t j) const {
    if (j < 0 || j >= height) {
      if (!extends()) return outsideRow;
      j = j < 0 ? 0 : height - 1;
    }
    return static_cast<const uint8_t *>(src.data) + size_t(j) * src.rowBytes;
  }

  // Adds weight × row j to the column sums.
  static void addRow(uint64_t *sums, const uint8_t *pixels, uint64_t weight, size_t count) {
    for (size_t i = 0; i < count; ++i) sums[i] += weight * pixels[i];
  }

  void startColumns(int64_t y) {
    const size_t count = size_t(width) * C;
    std::fill(vsum, vsum + 3 * count, uint64_t{0});
    // Taps past the top and bottom edges, gathered into one weight each.
    addRow(vsum, row(-1), Triangle(ry - y), count);
    addRow(vsum, row(height), Triangle(ry - (height - 1 - y)), count);
    addRow(lower, row(-1), uint64_t(std::max<int64_t>(0, ry - y)), count);
    addRow(upper, row(height), uint64_t(std::max<int64_t>(0, y + ry + 1 - (height - 1))), count);
    for (int64_t j = std::max<int64_t>(0, y - ry); j <= std::min(height - 1, y + ry + 1); ++j) {
      const uint8_t *pixels = row(j);
      const int64_t k = j - y;
      if (k <= ry) addRow(vsum, pixels, uint64_t(ry + 1 - (k < 0 ? -k : k)), count);
      if (k <= 0) addRow(lower, pixels, 1, count);
      if (k >= 1) addRow(upper, pixels, 1, count);
    }
  }

  // Moves the column sums from row y to row y + 1.
  void advanceColumns(int64_t y) {
    const size_t count = size_t(width) * C;
    const uint8_t *entering = row(y + ry + 2);
    const uint8_t *middle = row(y + 1);
    const uint8_t *leaving = row(y - ry);
    for (size_t i = 0; i < count; ++i) {
      vsum[i] += upper[i] - lower[i];
      upper[i] += uint64_t(entering[i]) - middle[i];
      lower[i] += uint64_t(middle[i]) - leaving[i];
    }
  }

  // The vertical sums of the columns left and right of the source.
  void outsideColumns(uint64_t (&left)[C], uint64_t (&right)[C]) const {
    for (int c = 0; c < C; ++c) {
      if (extends()) {
        left[c] = vsum[c];
        right[c] = vsum[size_t(width - 1) * C + c];
      } else {
        const uint64_t total = mode == kvImageTruncateKernel ? 0 : uint64_t(ry + 1) * uint64_t(ry + 1);
        left[c] = right[c] = total * background[c];
      }
    }
  }

  void convolveRow(int64_t y, uint8_t *out) const {
    uint64_t left[C], right[C];
    outsideColumns(left, right);
    auto column = [&](int64_t i, int c) -> uint64_t {
      if (i < 0) return left[c];
      if (i >= width) return right[c];
      return vsum[size_t(i) * C + c];
    };
    const int64_t x0 = offsetX;
    uint64_t sum[C], ahead[C], behind[C];
    for (int c = 0; c < C; ++c) {
      sum[c] = left[c] * Triangle(rx - x0) + right[c] * Triangle(rx - (width - 1 - x0));
      ahead[c] = right[c] * uint64_t(std::max<int64_t>(0, x0 + rx + 1 - (width - 1)));
      behind[c] = left[c] * uint64_t(std::max<int64_t>(0, rx - x0));
    }
    for (int64_t i = std::max<int64_t>(0, x0 - rx); i <= std::min(width - 1, x0 + rx + 1); ++i) {
      const int64_t k = i - x0;
      for (int c = 0; c < C; ++c) {
        const uint64_t v = column(i, c);
        if (k <= rx) sum[c] += v * uint64_t(rx + 1 - (k < 0 ? -k : k));
        if (k <= 0) behind[c] += v;
        if (k >= 1) ahead[c] += v;
      }
    }

    const uint64_t columnWeight = uint64_t(rx + 1) * uint64_t(rx + 1);
    const uint64_t rowWeight = mode == kvImageTruncateKernel ? InsideWeight(y, ry, height)
                                                              : uint64_t(ry + 1) * uint64_t(ry + 1);
    uint64_t divisor = columnWeight * rowWeight;
    double inverse = 1.0 / double(divisor);
    const bool rowInside = y >= ry && y + ry <= height - 1;
    const uint8_t *sourceRow = row(y);
    const auto destWidth = int64_t(dest.width);
    for (int64_t x = 0; x < destWidth; ++x) {
      const int64_t sx = x0 + x;
      uint8_t *pixel = out + size_t(x) * C;
      if (mode == kvImageCopyInPlace && !(rowInside && sx >= rx && sx + rx <= width - 1)) {
        std::memcpy(pixel, sourceRow + size_t(sx) * C, C);
      } else {
        if (mode == kvImageTruncateKernel) {
          divisor = InsideWeight(sx, rx, width) * rowWeight;
          inverse = 1.0 / double(divisor);
        }
        for (int c = 0; c < C; ++c) pixel[c] = RoundedQuotient(sum[c], divisor, inverse);
      }
      for (int c = 0; c < C; ++c) {
        sum[c] += ahead[c] - behind[c];
        const uint64_t middle = column(sx + 1, c);
        ahead[c] += column(sx + rx + 2, c) - middle;
        behind[c] += middle - column(sx - rx, c);
      }
    }
  }

  void run() {
    const auto destHeight = int64_t(dest.height);
    startColumns(offsetY);
    for (int64_t y = 0; y < destHeight; ++y) {
      convolveRow(offsetY + y, static_cast<uint8_t *>(dest.data) + size_t(y) * dest.rowBytes);
      if (y + 1 < destHeight) advanceColumns(offsetY + y);
    }
  }
};

// The vector paths, for edge extension (the mode every caller in the bundle
// uses) when every weighted sum fits 32 bits: 255.5 (rx + 1)^2 (ry + 1)^2
// < 2^32, that is (rx + 1)(ry + 1) <= 4096. A tent of radius r is a box of
// r + 1 run twice over the row extended by r replicated samples at each end,
// so along a row each pass is a difference of running sums; down the
// columns the sums move as in the scalar path. The quotient rounded half up
// is floor((sum + d / 2) / d), d <= 2^24, taken in double exactly.
namespace vector {

constexpr uint64_t kMaxWeightRoot = 4096;

// Words of scratch: three column sums per byte of a row, the running sums
// of the row extended by rx at each end, and those of the first box.
size_t ScratchWords(size_t width, size_t rx, int channels) {
  return (5 * width + 3 * rx + 2) * size_t(channels);
}

// Moves the column sums one row down. The sums and the rows never overlap.
TESSIVO_INLINE void Advance(uint32_t *__restrict vsum, uint32_t *__restrict upper, uint32_t *__restrict lower,
                            const uint8_t *__restrict entering, const uint8_t *__restrict middle,
                            const uint8_t *__restrict leaving, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    vsum[i] += upper[i] - lower[i];
    upper[i] += entering[i] - uint32_t{middle[i]};
    lower[i] += middle[i] - uint32_t{leaving[i]};
  }
}

template <int N, int C>
TESSIVO_INLINE void Run(const vImage_Buffer &src, const vImage_Buffer &dest, size_t offsetX, size_t offsetY,
                        uint32_t rx, uint32_t ry, uint32_t *scratch) {
  const size_t width = src.width, height = src.height;
  const size_t bytes = width * C;
  uint32_t *vsum = scratch, *lower = vsum + bytes, *upper = lower + bytes;
  uint32_t *first = upper + bytes;                          // (width + 2rx + 1) C
  uint32_t *second = first + (width + 2 * size_t{rx} + 1) * C;  // (width + rx + 1) C
  const auto row = [&](int64_t j) {
    j = j < 0 ? 0 : (j >= int64_t(height) ? int64_t(height) - 1 : j);
    return static_cast<const uint8_t *>(src.data) + size_t(j) * src.rowBytes;
  };
  const auto y0 = int64_t(offsetY);
  for (size_t i = 0; i < 3 * bytes; ++i) vsum[i] = 0;
  for (int64_t k = -int64_t{ry}; k <= int64_t{ry} + 1; ++k) {
    const uint8_t *pixels = row(y0 + k);
    const uint32_t weight = k <= int64_t{ry} ? uint32_t(int64_t{ry} + 1 - (k < 0 ? -k : k)) : 0;
    uint32_t *box = k <= 0 ? lower : upper;
    for (size_t i = 0; i < bytes; ++i) {
      vsum[i] += weight * pixels[i];
      box[i] += pixels[i];
    }
  }
  const uint32_t divisor = (rx + 1) * (rx + 1) * (ry + 1) * (ry + 1);
  const uint32_t half = divisor / 2;
  const double inverse = 1.0 / double(divisor);
  const size_t boxes = (width + rx) * C;
  for (size_t y = 0; y < dest.height; ++y) {
    simd::ExtendedRunningSums<N, C>(vsum, uint32_t(width), rx, first);
    const size_t span = (size_t{rx} + 1) * C;
    for (int c = 0; c < C; ++c) second[c] = 0;
    for (size_t i = 0; i < boxes; ++i) second[C + i] = first[i + span] - first[i];
    simd::ScanInPlace<N, C>(second, boxes + C);
    const uint32_t *from = second + offsetX * C;
    uint8_t *out = static_cast<uint8_t *>(dest.data) + y * dest.rowBytes;
    simd::QuotientBytes<N / 2>(from, span, dest.width * C, half, inverse, out);  // doubles in one register
    if (y + 1 < dest.height) {
      const int64_t at = y0 + int64_t(y);
      const uint8_t *entering = row(at + ry + 2), *middle = row(at + 1), *leaving = row(at - ry);
      Advance(vsum, upper, lower, entering, middle, leaving, bytes);
    }
  }
}

#define TESSIVO_TENT_PATH(suffix, attributes, lanes)                                                          \
  attributes void Run##suffix(const vImage_Buffer &src, const vImage_Buffer &dest, size_t offsetX,             \
                              size_t offsetY, uint32_t rx, uint32_t ry, uint32_t *scratch, int channels) {     \
    channels == 4 ? Run<lanes, 4>(src, dest, offsetX, offsetY, rx, ry, scratch)                                \
                  : Run<lanes, 1>(src, dest, offsetX, offsetY, rx, ry, scratch);                               \
  }

TESSIVO_TENT_PATH(Sse2, TESSIVO_TARGET_SSE2, 4)
#if defined(__x86_64__)
TESSIVO_TENT_PATH(Avx2, TESSIVO_TARGET_AVX2, 8)
TESSIVO_TENT_PATH(Avx512, TESSIVO_TARGET_AVX512, 16)
#endif

// Runs the vector path when it applies; false leaves the work to the scalar
// path. scratch is the caller's (of scratchSize bytes) or null.
bool Convolve(const vImage_Buffer &src, const vImage_Buffer &dest, void *scratch, size_t scratchSize,
              size_t offsetX, size_t offsetY, uint32_t rx, uint32_t ry, vImage_Flags mode, int channels) {
  const SimdLevel level = ActiveSimdLevel();
  if (level == SimdLevel::kScalar || mode != kvImageEdgeExtend ||
      (uint64_t{rx} + 1) * (uint64_t{ry} + 1) > kMaxWeightRoot)
    return false;
  const size_t words = ScratchWords(src.width, rx, channels);
  void *owned = nullptr;
  auto address = reinterpret_cast<uintptr_t>(scratch);
  address = (address + alignof(uint32_t) - 1) & ~uintptr_t(alignof(uint32_t) - 1);
  if (scratch == nullptr || words * sizeof(uint32_t) + alignof(uint32_t) > scratchSize) {
    if (scratch != nullptr) return false;  // a caller's scratch too small for this path
    owned = std::malloc(words * sizeof(uint32_t));
    if (owned == nullptr) return false;
    address = reinterpret_cast<uintptr_t>(owned);
  }
  auto *words32 = reinterpret_cast<uint32_t *>(address);
#if defined(__x86_64__)
  if (level == SimdLevel::kAvx512) {
    RunAvx512(src, dest, offsetX, offsetY, rx, ry, words32, channels);
  } else if (level == SimdLevel::kAvx2) {
    RunAvx2(src, dest, offsetX, offsetY, rx, ry, words32, channels);
  } else
#endif
  {
    RunSse2(src, dest, offsetX, offsetY, rx, ry, words32, channels);
  }
  std::free(owned);
  return true;
}

}  // namespace vector

template <int C>
vImage_Error TentConvolve(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                          vImagePixelCount offsetX, vImagePixelCount offsetY, uint32_t kernelHeight,
                          uint32_t kernelWidth, const uint8_t *background, vImage_Flags flags) {
  if (src == nullptr || dest == nullptr) return kvImageNullPointerArgument;
  if ((flags & ~kKnownFlags) != 0) return kvImageUnknownFlagsBit;
  const vImage_Flags mode = flags & kEdgeModes;
  if (mode == 0 || (mode & (mode - 1)) != 0) return kvImageInvalidEdgeStyle;
  if (kernelWidth % 2 == 0 || kernelHeight % 2 == 0 || kernelWidth > kTentKernelMaxSize ||
      kernelHeight > kTentKernelMaxSize)
    return kvImageInvalidKernelSize;
  if (mode == kvImageBackgroundColorFill && background == nullptr) return kvImageNullPointerArgument;
  if (src->width > kMaxDimension || src->height > kMaxDimension || dest->width > kMaxDimension ||
      dest->height > kMaxDimension)
    return kvImageInvalidParameter;
  const size_t scratchSize = Tent<C>::ScratchSize(src->width);
  if ((flags & kvImageGetTempBufferSize) != 0) return vImage_Error(scratchSize);
  if (dest->width == 0 || dest->height == 0) return kvImageNoError;

  if (const vImage_Error error = CheckBuffer(*src, C); error != kvImageNoError) return error;
  if (const vImage_Error error = CheckBuffer(*dest, C); error != kvImageNoError) return error;
  if (offsetX >= src->width) return kvImageInvalidOffset_X;
  if (offsetY >= src->height) return kvImageInvalidOffset_Y;
  if (dest->width > src->width - offsetX || dest->height > src->height - offsetY)
    return kvImageRoiLargerThanInputBuffer;
  if (Overlap(*src, *dest, C)) return kvImageOutOfPlaceOperationRequired;

  if (vector::Convolve(*src, *dest, tempBuffer, scratchSize, offsetX, offsetY, kernelWidth / 2, kernelHeight / 2, mode,
                       C))
    return kvImageNoError;
  Tent<C> tent{*src, *dest, int64_t(src->width), int64_t(src->height), int64_t(offsetX), int64_t(offsetY),
               int64_t(kernelWidth / 2), int64_t(kernelHeight / 2), mode, {}};
  if (background != nullptr) std::memcpy(tent.background, background, C);
  void *scratch = tempBuffer;
  if (scratch == nullptr && (scratch = std::malloc(scratchSize)) == nullptr) return kvImageMemoryAllocationError;
  tent.place(scratch);
  tent.run();
  if (tempBuffer == nullptr) std::free(scratch);
  return kvImageNoError;
}

}  // namespace
}  // namespace tessivo::accelerate

extern "C" {

__attribute__((visibility("default"))) vImage_Error vImageTentConvolve_ARGB8888(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                         vImagePixelCount srcOffsetToROI_X, vImagePixelCount srcOffsetToROI_Y,
                                         uint32_t kernel_height, uint32_t kernel_width,
                                         const Pixel_8888 backgroundColor, vImage_Flags flags) {
  return tessivo::accelerate::TentConvolve<4>(src, dest, tempBuffer, srcOffsetToROI_X, srcOffsetToROI_Y,
                                              kernel_height, kernel_width, backgroundColor, flags);
}

__attribute__((visibility("default"))) vImage_Error vImageTentConvolve_Planar8(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                        vImagePixelCount srcOffsetToROI_X, vImagePixelCount srcOffsetToROI_Y,
                                        uint32_t kernel_height, uint32_t kernel_width, Pixel_8 backgroundColor,
                                        vImage_Flags flags) {
  return tessivo::accelerate::TentConvolve<1>(src, dest, tempBuffer, srcOffsetToROI_X, srcOffsetToROI_Y,
                                              kernel_height, kernel_width, &backgroundColor, flags);
}
}
