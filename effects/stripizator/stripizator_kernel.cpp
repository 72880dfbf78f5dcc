#include "stripizator_kernel.h"

#include <cstddef>
#include <cstring>

#include "tessivo/frame/conversions.h"
#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

namespace tessivo {
namespace {

// L pixels a step (4 on SSE2, 8 on AVX2, 16 on AVX-512, chosen when a frame
// is drawn), each lane carrying its own phase. Lanes advance by L mod period
// and wrap with one conditional subtraction. Comparisons are
// sign bits of differences (t >> 31 is all ones where t < 0), which needs
// every phase and difference to stay within 31 bits: periods up to 2^30 take
// the lanes, longer ones (stripes half a billion pixels wide) the pixel loop.
constexpr uint32_t kLanePeriodLimit = 1u << 30;

template <uint32_t L>
struct Vectors {
  typedef uint32_t Lanes __attribute__((vector_size(4 * L)));
  typedef int32_t SignedLanes __attribute__((vector_size(4 * L)));
  typedef uint8_t Bytes __attribute__((vector_size(L)));
};

// What one row needs: the two colours' low 24 bits, the width and the period.
// A period at or below the width (the doubled width wrapped) draws only the
// fore colour, which width 1, period 1 and phase 0 reproduce.
struct RowPattern {
  uint32_t fore;
  uint32_t back;
  uint32_t width;
  uint32_t period;

  explicit RowPattern(const Stripes &stripes)
      : fore(stripes.foreColor & 0x00FFFFFFu),
        back(stripes.backColor & 0x00FFFFFFu),
        width(stripes.width),
        period(stripes.width * 2u) {
    if (period <= width) {
      width = 1;
      period = 1;
    }
  }
  uint32_t color(uint32_t phase) const { return phase < width ? fore : back; }
  uint32_t next(uint32_t phase) const { return phase + 1 == period ? 0 : phase + 1; }
  bool fitsLanes() const { return period <= kLanePeriodLimit; }
};

// Lane i of the first block holds (first + i) mod period for rows drawn to
// the right, (first + L - 1 - i) mod period for rows drawn to the left.
// Vectors stay local to the row functions: passing them between functions
// would change with the instruction set each path is built for.
template <uint32_t kLanes>
TESSIVO_INLINE void FirstPhases(uint32_t (&phases)[kLanes], const RowPattern &pattern, uint32_t first, bool rising) {
  uint32_t phase = first;
  for (uint32_t i = 0; i < kLanes; ++i) {
    phases[rising ? i : kLanes - 1 - i] = phase;
    phase = pattern.next(phase);
  }
}

// kLanes = 0: the pixel loop alone.
template <uint32_t kLanes>
TESSIVO_INLINE void ArgbRow(uint8_t *row, uint32_t count, uint32_t phase, const RowPattern &pattern) {
  using Lanes = typename Vectors<kLanes == 0 ? 1 : kLanes>::Lanes;
  using SignedLanes = typename Vectors<kLanes == 0 ? 1 : kLanes>::SignedLanes;
  uint32_t x = 0;
  if constexpr (kLanes > 0) if (pattern.fitsLanes() && count >= kLanes) {
    uint32_t first[kLanes];
    FirstPhases(first, pattern, phase, true);
    SignedLanes phases;
    std::memcpy(&phases, first, sizeof phases);
    const int32_t step = static_cast<int32_t>(kLanes % pattern.period);
    const auto width = static_cast<int32_t>(pattern.width), period = static_cast<int32_t>(pattern.period);
    const uint32_t foreColor = pattern.fore, backColor = pattern.back;
    for (; x + kLanes <= count; x += kLanes) {
      Lanes blurred;
      std::memcpy(&blurred, row + size_t{x} * 4, sizeof blurred);
      const Lanes fore = reinterpret_cast<Lanes>((phases - width) >> 31);  // all ones where fore is drawn
      const Lanes out = (fore & foreColor) | (~fore & backColor) | ~blurred << 24;
      std::memcpy(row + size_t{x} * 4, &out, sizeof out);
      phases += step - period;
      phases += (phases >> 31) & period;
    }
    phase = static_cast<uint32_t>(phases[0]);
  }
  for (; x < count; ++x) {
    uint32_t blurred;
    std::memcpy(&blurred, row + size_t{x} * 4, 4);
    const uint32_t out = pattern.color(phase) | ~blurred << 24;
    std::memcpy(row + size_t{x} * 4, &out, 4);
    phase = pattern.next(phase);
  }
}

// Right to left, so that a block's sixteen grey bytes are loaded before the
// 64 bytes of its widened pixels are stored: the store starts at four times
// the block's first byte, never below any byte still to be read.
template <uint32_t kLanes>
TESSIVO_INLINE void Planar8Row(uint8_t *row, uint32_t count, uint32_t phase, const RowPattern &pattern) {
  using Lanes = typename Vectors<kLanes == 0 ? 1 : kLanes>::Lanes;
  using SignedLanes = typename Vectors<kLanes == 0 ? 1 : kLanes>::SignedLanes;
  using Bytes = typename Vectors<kLanes == 0 ? 1 : kLanes>::Bytes;
  uint32_t x = count;  // pixels [0, x) are still grey; phase belongs to pixel x - 1
  if constexpr (kLanes > 0) if (pattern.fitsLanes() && count >= kLanes) {
    uint32_t first[kLanes];
    FirstPhases(first, pattern, phase, false);
    SignedLanes phases;
    std::memcpy(&phases, first, sizeof phases);
    const int32_t step = static_cast<int32_t>(kLanes % pattern.period);
    const auto width = static_cast<int32_t>(pattern.width), period = static_cast<int32_t>(pattern.period);
    const uint32_t foreColor = pattern.fore, backColor = pattern.back;
    for (; x >= kLanes; x -= kLanes) {
      Bytes grey;
      std::memcpy(&grey, row + x - kLanes, sizeof grey);
      const Lanes fore = reinterpret_cast<Lanes>((phases - width) >> 31);
      const Lanes out = (fore & foreColor) | (~fore & backColor) | (__builtin_convertvector(grey, Lanes) ^ 0xFFu) << 24;
      std::memcpy(row + size_t{x - kLanes} * 4, &out, sizeof out);
      phases += step - period;
      phases += (phases >> 31) & period;
    }
    phase = static_cast<uint32_t>(phases[kLanes - 1]);
  }
  for (; x > 0; --x) {
    const uint32_t grey = row[x - 1];
    const uint32_t out = pattern.color(phase) | (255u - grey) << 24;
    std::memcpy(row + size_t{x - 1} * 4, &out, 4);
    phase = pattern.next(phase);
  }
}

// Every row of a frame on one path, compiled for its instruction set.
template <uint32_t kLanes>
TESSIVO_INLINE void ArgbRows(const StripeImage &image, const Stripes &stripes, const RowPattern &pattern) {
  const size_t stride = size_t{image.rowBytes >> 2} * 4;
  auto *row = static_cast<uint8_t *>(image.pixels);
  for (uint32_t y = 0; y < image.height; ++y, row += stride) {
    const uint32_t start = (image.frameHeight - y + stripes.counter) % pattern.period;
    ArgbRow<kLanes>(row, image.width, start, pattern);
  }
}

template <uint32_t kLanes>
TESSIVO_INLINE void Planar8Rows(const StripeImage &image, const Stripes &stripes, const RowPattern &pattern) {
  // Grey rows and widened rows share one stride, a whole number of pixels,
  // so each row is widened within its own bytes and the row order is free.
  const size_t stride = size_t{image.rowBytes >> 2} * 4;
  const uint32_t skipped = image.frameWidth > image.width ? image.frameWidth - image.width : 0;
  auto *row = static_cast<uint8_t *>(image.pixels) + stride * image.height;
  for (uint32_t r = image.height; r-- > 0;) {
    row -= stride;
    // The phase of the frame's last column, moved on to the last column held.
    const uint32_t last = (r + 1 + stripes.counter) % pattern.period;
    const uint32_t start = static_cast<uint32_t>((uint64_t{last} + skipped) % pattern.period);
    Planar8Row<kLanes>(row, image.width, start, pattern);
  }
}

#define TESSIVO_STRIPE_PATH(suffix, attributes, lanes)                                                   \
  attributes void ArgbRows##suffix(const StripeImage &image, const Stripes &stripes,                     \
                                   const RowPattern &pattern) {                                          \
    ArgbRows<lanes>(image, stripes, pattern);                                                            \
  }                                                                                                      \
  attributes void Planar8Rows##suffix(const StripeImage &image, const Stripes &stripes,                  \
                                      const RowPattern &pattern) {                                       \
    Planar8Rows<lanes>(image, stripes, pattern);                                                         \
  }
TESSIVO_EACH_SIMD_PATH(TESSIVO_STRIPE_PATH, 0, 4, 8, 16)

// The argb or the planar8 rows on the active level's path.
void DrawRows(bool planar, const StripeImage &image, const Stripes &stripes) {
  const RowPattern pattern(stripes);
  if (planar) {
    ChooseSimdPath(TESSIVO_SIMD_PATHS(Planar8Rows))(image, stripes, pattern);
  } else {
    ChooseSimdPath(TESSIVO_SIMD_PATHS(ArgbRows))(image, stripes, pattern);
  }
}

}  // namespace

uint32_t StripeRadius(float radiusFactor, float maxRadius) { return TruncateToUInt32(radiusFactor * maxRadius); }

uint32_t StripeWidth(float widthFactor, float stripesWidth) {
  const uint32_t width = TruncateToUInt32(widthFactor * stripesWidth);
  return width == 0 ? 1 : width;
}

void DrawStripesArgb(const StripeImage &image, const Stripes &stripes) {
  if (image.pixels == nullptr || stripes.width == 0) return;
  DrawRows(false, image, stripes);
}

void DrawStripesPlanar8InPlace(const StripeImage &image, const Stripes &stripes) {
  if (image.pixels == nullptr || stripes.width == 0) return;
  DrawRows(true, image, stripes);
}

}  // namespace tessivo
