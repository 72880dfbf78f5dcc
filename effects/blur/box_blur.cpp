#include "box_blur.h"

#include "tessivo/frame/conversions.h"
#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <memory>
#include <cstring>

namespace tessivo {
namespace {

// The four channels of an ARGB8888 pixel as 32-bit lanes (blue first).
typedef uint32_t Lanes __attribute__((vector_size(16)));

inline Lanes Unpack(uint32_t pixel) { return Lanes{pixel & 0xFF, (pixel >> 8) & 0xFF, (pixel >> 16) & 0xFF, pixel >> 24}; }
inline uint32_t Pack(Lanes value) { return value[0] | value[1] << 8 | value[2] << 16 | value[3] << 24; }

// Sample access for one format: a sample is a byte or the four lanes of a pixel.
struct Planar8 {
  using Sample = uint32_t;
  using Pixel = uint8_t;
  static constexpr uint32_t kBytes = 1;
  static Sample Load(Pixel pixel) { return pixel; }
  static Pixel Store(Sample value) { return Pixel(value); }
  static Sample Zero() { return 0; }
};

struct Argb8888 {
  using Sample = Lanes;
  using Pixel = uint32_t;
  static constexpr uint32_t kBytes = 4;
  static Sample Load(Pixel pixel) { return Unpack(pixel); }
  static Pixel Store(Sample value) { return Pack(value); }
  static Sample Zero() { return Lanes{0, 0, 0, 0}; }
};

template <class Format>
struct Rows {
  const BlurImage &image;
  size_t sourceStride() const { return image.sourceRowBytes / Format::kBytes; }
  size_t destinationStride() const { return image.destinationRowBytes / Format::kBytes; }
  const typename Format::Pixel *source(uint32_t y) const {
    return static_cast<const typename Format::Pixel *>(image.source) + sourceStride() * y;
  }
  typename Format::Pixel *destination(uint32_t y) const {
    return static_cast<typename Format::Pixel *>(image.destination) + destinationStride() * y;
  }
};

uint32_t ClampRadius(uint32_t r, uint32_t length) {
  return uint64_t{4} * r < length ? r : (length - 1) >> 1;
}

// One row of the one-dimensional pass: in[i * step] for i < length.
template <class Format>
void BlurLine(const typename Format::Pixel *in, size_t inStep, typename Format::Pixel *out, size_t outStep,
              uint32_t length, uint32_t r, uint32_t weight) {
  using Sample = typename Format::Sample;
  const uint32_t last = length - 1;
  Sample sum = Format::Load(in[0]) * (r + 1);
  for (uint32_t i = 1; i <= r; ++i) sum += Format::Load(in[i * inStep]);
  for (uint32_t x = 0; x < length; ++x) {
    out[x * outStep] = Format::Store((sum * weight) >> 16);
    const uint32_t entering = std::min(x + r + 1, last);
    const uint32_t leaving = x >= r ? x - r : 0;
    sum += Format::Load(in[entering * inStep]) - Format::Load(in[leaving * inStep]);
  }
}

template <class Format>
void Horizontal(const BlurImage &image, uint32_t r) {
  const Rows<Format> rows{image};
  const uint32_t weight = 0x10000u / (2 * r + 1);
  for (uint32_t y = 0; y < image.height; ++y)
    BlurLine<Format>(rows.source(y), 1, rows.destination(y), 1, image.width, r, weight);
}

// Columns are blurred a strip at a time, row by row, so that memory is read
// in order; each strip keeps its running sums on the stack.
template <class Format>
void Vertical(const BlurImage &image, uint32_t r) {
  using Sample = typename Format::Sample;
  constexpr uint32_t kStrip = 256;
  const Rows<Format> rows{image};
  const uint32_t weight = 0x10000u / (2 * r + 1);
  const uint32_t last = image.height - 1;
  Sample sums[kStrip];
  for (uint32_t left = 0; left < image.width; left += kStrip) {
    const uint32_t count = std::min(kStrip, image.width - left);
    const auto *top = rows.source(0) + left;
    for (uint32_t x = 0; x < count; ++x) sums[x] = Format::Load(top[x]) * (r + 1);
    for (uint32_t i = 1; i <= r; ++i) {
      const auto *row = rows.source(i) + left;
      for (uint32_t x = 0; x < count; ++x) sums[x] += Format::Load(row[x]);
    }
    for (uint32_t y = 0; y < image.height; ++y) {
      auto *out = rows.destination(y) + left;
      const auto *entering = rows.source(std::min(y + r + 1, last)) + left;
      const auto *leaving = rows.source(y >= r ? y - r : 0) + left;
      for (uint32_t x = 0; x < count; ++x) {
        out[x] = Format::Store((sums[x] * weight) >> 16);
        sums[x] += Format::Load(entering[x]) - Format::Load(leaving[x]);
      }
    }
  }
}

template <class Format>
void TwoDimensional(const BlurImage &image, uint32_t rx, uint32_t ry) {
  using Sample = typename Format::Sample;
  const Rows<Format> rows{image};
  const uint64_t area = (2 * uint64_t{rx} + 1) * (2 * uint64_t{ry} + 1);
  const uint32_t weight = area > 0x800000u ? 0 : uint32_t(0x800000u / area);
  const uint32_t width = image.width;
  const uint32_t lastRow = image.height - 1;
  const uint32_t lastColumn = width - 1;
  auto *columns = static_cast<Sample *>(std::malloc(sizeof(Sample) * width));
  if (columns == nullptr) return;

  const auto *top = rows.source(0);
  for (uint32_t x = 0; x < width; ++x) columns[x] = Format::Load(top[x]) * (ry + 2);
  for (uint32_t i = 1; i < ry; ++i) {
    const auto *row = rows.source(i);
    for (uint32_t x = 0; x < width; ++x) columns[x] += Format::Load(row[x]);
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    const auto *entering = rows.source(std::min(y + ry, lastRow));
    const auto *leaving = rows.source(y > ry ? y - ry - 1 : 0);
    for (uint32_t x = 0; x < width; ++x) columns[x] += Format::Load(entering[x]) - Format::Load(leaving[x]);

    auto *out = rows.destination(y);
    Sample sum = columns[0] * (rx + 1);
    for (uint32_t i = 1; i <= rx; ++i) sum += columns[i];
    for (uint32_t x = 0; x < width; ++x) {
      out[x] = Format::Store((sum * weight) >> 23);
      sum += columns[std::min(x + rx + 1, lastColumn)] - columns[x >= rx ? x - rx : 0];
    }
  }
  std::free(columns);
}

// The vector paths. A row of C-channel pixels is C interleaved byte streams
// that blur alike, so every pass works on bytes (C = 1 or 4), N lanes at a
// time. Along a row the window sums are differences of running sums over the
// row extended by r replicated pixels at each end; down the columns they are
// the running sums of the scalar path, one per byte. Both give the scalar
// path's integers exactly.
namespace vector {

// A byte row as the pass sees it: stride in whole pixels.
struct ByteRows {
  const uint8_t *source;
  size_t sourceStride;
  uint8_t *destination;
  size_t destinationStride;
  const uint8_t *in(uint32_t y) const { return source + sourceStride * y; }
  uint8_t *out(uint32_t y) const { return destination + destinationStride * y; }
};

template <int C>
ByteRows BytesOf(const BlurImage &image) {
  return {static_cast<const uint8_t *>(image.source), image.sourceRowBytes / C * size_t{C},
          static_cast<uint8_t *>(image.destination), image.destinationRowBytes / C * size_t{C}};
}

// A window of at most this many bytes sums to at most 255 * 257 = 65535:
// 16-bit sums hold it, and (sum * weight) >> 16 is the high half of a 16-bit
// product.
constexpr uint32_t kNarrowWindow = 257;

bool Narrow(uint32_t r) { return r > 0 && 2 * r + 1 <= kNarrowWindow; }

// Rows with narrow windows run on 16-bit running sums (wrapping, their
// differences exact), twice the lanes a step.
template <int N, int C>
TESSIVO_INLINE void Horizontal(const BlurImage &image, uint32_t r, uint32_t *p) {
  const ByteRows rows = BytesOf<C>(image);
  const uint32_t weight = 0x10000u / (2 * r + 1);
  if (Narrow(r)) {
    auto *narrow = reinterpret_cast<uint16_t *>(p);
    for (uint32_t y = 0; y < image.height; ++y) {
      simd::ExtendedRunningSums<2 * N, C>(rows.in(y), image.width, r, narrow);
      simd::WindowBytesHigh(narrow, (2 * size_t{r} + 1) * C, size_t{image.width} * C, static_cast<uint16_t>(weight),
                            rows.out(y));
    }
    return;
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    simd::ExtendedRunningSums<N, C>(rows.in(y), image.width, r, p);
    simd::WindowBytes<16>(p, (2 * size_t{r} + 1) * C, size_t{image.width} * C, weight, rows.out(y));
  }
}

// Columns a strip of bytes at a time, so the sums stay in the first cache.
constexpr size_t kStrip = 2048;

// sums[j] += entering[j] - leaving[j], the difference taken in 16 bits (half
// the widening of two bytes to words); sums of either width.
template <class Sum>
TESSIVO_INLINE void MoveSums(Sum *__restrict sums, const uint8_t *__restrict entering,
                             const uint8_t *__restrict leaving, size_t count) {
  for (size_t j = 0; j < count; ++j)
    sums[j] = static_cast<Sum>(sums[j] + static_cast<Sum>(static_cast<int16_t>(entering[j] - leaving[j])));
}

// out[j] = (sums[j] * weight) >> 16; with 16-bit sums and weight the high
// half of a 16-bit product.
template <class Sum>
TESSIVO_INLINE void ScaleSums(const Sum *__restrict sums, Sum weight, uint8_t *__restrict out, size_t count) {
  // The empty statement hides where the weight came from: GCC otherwise sees
  // a 32-bit value masked and multiplies in 32-bit lanes, two vectors a step.
  if constexpr (sizeof(Sum) == 2) asm("" : "+r"(weight));
  for (size_t j = 0; j < count; ++j) out[j] = static_cast<uint8_t>((uint32_t{sums[j]} * uint32_t{weight}) >> 16);
}

// The vertical pass with one sum per byte of the strip, 16-bit for narrow
// windows.
template <class Sum>
TESSIVO_INLINE void VerticalStrips(const ByteRows &rows, size_t bytes, uint32_t height, uint32_t r, Sum weight) {
  const uint32_t last = height - 1;
  Sum sums[kStrip];
  for (size_t left = 0; left < bytes; left += kStrip) {
    const size_t count = std::min(kStrip, bytes - left);
    const uint8_t *top = rows.in(0) + left;
    for (size_t j = 0; j < count; ++j) sums[j] = static_cast<Sum>(top[j] * (r + 1));
    for (uint32_t i = 1; i <= r; ++i) {
      const uint8_t *row = rows.in(i) + left;
      for (size_t j = 0; j < count; ++j) sums[j] = static_cast<Sum>(sums[j] + row[j]);
    }
    for (uint32_t y = 0; y < height; ++y) {
      ScaleSums(sums, weight, rows.out(y) + left, count);
      MoveSums(sums, rows.in(std::min(y + r + 1, last)) + left, rows.in(y >= r ? y - r : 0) + left, count);
    }
  }
}

template <int C>
TESSIVO_INLINE void Vertical(const BlurImage &image, uint32_t r) {
  const ByteRows rows = BytesOf<C>(image);
  const uint32_t weight = 0x10000u / (2 * r + 1);
  const size_t bytes = size_t{image.width} * C;
  if (Narrow(r)) {
    VerticalStrips<uint16_t>(rows, bytes, image.height, r, static_cast<uint16_t>(weight));
  } else {
    VerticalStrips<uint32_t>(rows, bytes, image.height, r, weight);
  }
}

// scratch: width * C column sums, then the extended running sums.
template <int N, int C>
TESSIVO_INLINE void TwoDimensional(const BlurImage &image, uint32_t rx, uint32_t ry, uint32_t *scratch) {
  const ByteRows rows = BytesOf<C>(image);
  const uint64_t area = (2 * uint64_t{rx} + 1) * (2 * uint64_t{ry} + 1);
  const uint32_t weight = area > 0x800000u ? 0 : uint32_t(0x800000u / area);
  const uint32_t lastRow = image.height - 1;
  const size_t bytes = size_t{image.width} * C;
  uint32_t *columns = scratch;
  uint32_t *p = scratch + bytes;
  const uint8_t *top = rows.in(0);
  for (size_t j = 0; j < bytes; ++j) columns[j] = top[j] * (ry + 2);
  for (uint32_t i = 1; i < ry; ++i) {
    const uint8_t *row = rows.in(i);
    for (size_t j = 0; j < bytes; ++j) columns[j] += row[j];
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    const uint8_t *entering = rows.in(std::min(y + ry, lastRow));
    const uint8_t *leaving = rows.in(y > ry ? y - ry - 1 : 0);
    // The column sums move a chunk at a time, just before the scan reads them.
    simd::ExtendedRunningSums<N, C>(columns, image.width, rx, p, [&](size_t from, size_t count) {
      MoveSums(columns + from, entering + from, leaving + from, count);
    });
    simd::WindowBytes<23>(p, (2 * size_t{rx} + 1) * C, bytes, weight, rows.out(y));
  }
}

// One entry point per pass and instruction set; the scratch is allocated
// by the caller.
template <int N>
struct Paths {
  static TESSIVO_INLINE void horizontal(const BlurImage &image, uint32_t r, uint32_t *p) {
    image.pixelFormat == 2 ? Horizontal<N, 4>(image, r, p) : Horizontal<N, 1>(image, r, p);
  }
  static TESSIVO_INLINE void vertical(const BlurImage &image, uint32_t r) {
    image.pixelFormat == 2 ? Vertical<4>(image, r) : Vertical<1>(image, r);
  }
  static TESSIVO_INLINE void twoDimensional(const BlurImage &image, uint32_t rx, uint32_t ry, uint32_t *scratch) {
    image.pixelFormat == 2 ? TwoDimensional<N, 4>(image, rx, ry, scratch)
                           : TwoDimensional<N, 1>(image, rx, ry, scratch);
  }
};

#define TESSIVO_BLUR_PATHS(suffix, attributes, lanes)                                                      \
  attributes void Horizontal##suffix(const BlurImage &image, uint32_t r, uint32_t *p) {                    \
    Paths<lanes>::horizontal(image, r, p);                                                                 \
  }                                                                                                        \
  attributes void Vertical##suffix(const BlurImage &image, uint32_t r) { Paths<lanes>::vertical(image, r); } \
  attributes void TwoDimensional##suffix(const BlurImage &image, uint32_t rx, uint32_t ry, uint32_t *s) {  \
    Paths<lanes>::twoDimensional(image, rx, ry, s);                                                        \
  }

TESSIVO_BLUR_PATHS(Sse2, TESSIVO_TARGET_SSE2, 4)
#if defined(__x86_64__)
TESSIVO_BLUR_PATHS(Avx2, TESSIVO_TARGET_AVX2, 8)
TESSIVO_BLUR_PATHS(Avx512, TESSIVO_TARGET_AVX512, 16)
#endif

// `count` words: the caller's kept scratch, grown when needed, else memory of
// this call's own (held by `own`). Null when the memory cannot be had.
uint32_t *ScratchWords(BoxBlurScratch *kept, size_t count, std::unique_ptr<uint32_t[]> &own) {
  if (kept == nullptr) {
    own.reset(new (std::nothrow) uint32_t[count]);
    return own.get();
  }
  if (kept->words.size() < count) {
    try {
      kept->words.resize(count);
    } catch (const std::bad_alloc &) {
      return nullptr;
    }
  }
  return kept->words.data();
}

size_t Channels(const BlurImage &image) { return image.pixelFormat == 2 ? 4 : 1; }

// Each returns false when it did not run (scalar level or no memory), and
// the scalar path runs instead.
bool RunHorizontal(const BlurImage &image, uint32_t r, BoxBlurScratch *kept) {
  const SimdLevel level = ActiveSimdLevel();
  if (level == SimdLevel::kScalar) return false;
  std::unique_ptr<uint32_t[]> own;
  uint32_t *words = ScratchWords(kept, (size_t{image.width} + 2 * size_t{r} + 1) * Channels(image), own);
  if (words == nullptr) return false;
#if defined(__x86_64__)
  if (level == SimdLevel::kAvx512) return HorizontalAvx512(image, r, words), true;
  if (level == SimdLevel::kAvx2) return HorizontalAvx2(image, r, words), true;
#endif
  return HorizontalSse2(image, r, words), true;
}

bool RunVertical(const BlurImage &image, uint32_t r) {
  const SimdLevel level = ActiveSimdLevel();
  if (level == SimdLevel::kScalar) return false;
#if defined(__x86_64__)
  if (level == SimdLevel::kAvx512) return VerticalAvx512(image, r), true;
  if (level == SimdLevel::kAvx2) return VerticalAvx2(image, r), true;
#endif
  return VerticalSse2(image, r), true;
}

// The column sums live in one allocation for the pass; without it nothing
// is written (true: no other path runs).
bool RunTwoDimensional(const BlurImage &image, uint32_t rx, uint32_t ry, BoxBlurScratch *kept) {
  const SimdLevel level = ActiveSimdLevel();
  if (level == SimdLevel::kScalar) return false;
  std::unique_ptr<uint32_t[]> own;
  uint32_t *words = ScratchWords(kept, (2 * size_t{image.width} + 2 * size_t{rx} + 1) * Channels(image), own);
  if (words == nullptr) return true;
#if defined(__x86_64__)
  if (level == SimdLevel::kAvx512) return TwoDimensionalAvx512(image, rx, ry, words), true;
  if (level == SimdLevel::kAvx2) return TwoDimensionalAvx2(image, rx, ry, words), true;
#endif
  return TwoDimensionalSse2(image, rx, ry, words), true;
}

}  // namespace vector

bool Usable(const BlurImage &image) {
  if (image.width == 0 || image.height == 0 || image.source == nullptr || image.destination == nullptr) return false;
  const uint32_t bytes = image.pixelFormat == 2 ? 4 : 1;
  return (image.pixelFormat == 0 || image.pixelFormat == 2) && image.sourceRowBytes / bytes >= image.width &&
         image.destinationRowBytes / bytes >= image.width;
}

template <template <class> class Pass, class... Radii>
void ForFormat(const BlurImage &image, Radii... radii) {
  if (image.pixelFormat == 2) {
    Pass<Argb8888>::Run(image, radii...);
  } else {
    Pass<Planar8>::Run(image, radii...);
  }
}

template <class Format>
struct HorizontalPass {
  static void Run(const BlurImage &image, uint32_t r, BoxBlurScratch *scratch) {
    if (!vector::RunHorizontal(image, r, scratch)) Horizontal<Format>(image, r);
  }
};
template <class Format>
struct VerticalPass {
  static void Run(const BlurImage &image, uint32_t r) {
    if (!vector::RunVertical(image, r)) Vertical<Format>(image, r);
  }
};
template <class Format>
struct TwoDimensionalPass {
  static void Run(const BlurImage &image, uint32_t rx, uint32_t ry, BoxBlurScratch *scratch) {
    if (!vector::RunTwoDimensional(image, rx, ry, scratch)) TwoDimensional<Format>(image, rx, ry);
  }
};

uint32_t FractionRadius(float amount, uint32_t length) {
  return TruncateToUInt32(static_cast<float>((length >> 1) - 1u) * amount);
}

}  // namespace

uint32_t BoxRadius(float amount, uint32_t length, bool isNumberOfPixels) {
  const uint32_t r = isNumberOfPixels ? TruncateToUInt32(amount) : FractionRadius(amount, length);
  return ClampRadius(r, length);
}

void HorizontalBoxBlur(const BlurImage &image, float amount, bool isNumberOfPixels, BoxBlurScratch *scratch) {
  if (!Usable(image)) return;
  ForFormat<HorizontalPass>(image, BoxRadius(amount, image.width, isNumberOfPixels), scratch);
}

void VerticalBoxBlur(const BlurImage &image, float amount, bool isNumberOfPixels) {
  if (!Usable(image)) return;
  ForFormat<VerticalPass>(image, BoxRadius(amount, image.height, isNumberOfPixels));
}

void TwoDimensionalBoxBlur(const BlurImage &image, const BlurAmounts &amounts, BoxBlurScratch *scratch) {
  if (!Usable(image)) return;
  uint32_t rx = TruncateToUInt32(amounts.x);
  uint32_t ry = TruncateToUInt32(amounts.y);
  if (!amounts.isNumberOfPixels) {
    rx = FractionRadius(amounts.x, image.height);
    ry = FractionRadius(amounts.y, image.height);
  }
  rx = uint64_t{4} * rx < image.width ? rx : (image.width - 1) >> 1;
  ry = ClampRadius(ry, image.height);
  if (ry == 0) {
    HorizontalBoxBlur(image, amounts.x, amounts.isNumberOfPixels, scratch);
  } else if (rx == 0) {
    VerticalBoxBlur(image, amounts.y, amounts.isNumberOfPixels);
  } else {
    ForFormat<TwoDimensionalPass>(image, rx, ry, scratch);
  }
}

void SoftwareBoxBlur(const BlurImage &image, const BlurAmounts &amounts, BoxBlurScratch *scratch) {
  const bool x = amounts.x != 0.0f;
  const bool y = amounts.y != 0.0f;
  if (x && y) {
    TwoDimensionalBoxBlur(image, amounts, scratch);
  } else if (x) {
    HorizontalBoxBlur(image, amounts.x, amounts.isNumberOfPixels, scratch);
  } else if (y) {
    VerticalBoxBlur(image, amounts.y, amounts.isNumberOfPixels);
  }
}

}  // namespace tessivo
