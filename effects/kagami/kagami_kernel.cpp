#include "kagami_kernel.h"

#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>

namespace tessivo {
namespace {

// Tables beyond this many pixels are not kept; such frames compute every
// pixel's polar coordinates afresh.
constexpr size_t kMaxTablePixels = size_t{1} << 25;

// Where a pixel lies about the centre: its radius and its folded angle.
struct Polar {
  float radius;
  float angle;
};

Polar FoldedPolar(float u, float v) {
  const float uu = u * u;
  const float vv = v * v;
  const float radius = std::sqrt(uu + vv);
  float angle = static_cast<float>(std::atan2(static_cast<double>(v), static_cast<double>(u)) +
                                   static_cast<double>(kTwoPi));
  angle = static_cast<float>(std::fmod(static_cast<double>(angle), static_cast<double>(kWedgePeriod)));
  if (angle > kHalfWedge) {
    angle = kWedgePeriod - angle;
  }
  return {radius, angle};
}

// The vertical (or horizontal) offset of row y (column x) from the centre.
float CentreOffset(float step, uint32_t index) { return std::fma(step, static_cast<float>(index), -0.5f); }

// The offset from the centre along one axis, as the float the mapping rounds
// it to: (float)(r * trig) with the product in double.
float AxisOffset(float radius, double trig) { return static_cast<float>(static_cast<double>(radius) * trig); }

// trunc((offset + 0.5) * size) as an index below limit, or -1 for anything
// outside (a limit of 0 takes nothing, not even trunc(-0.5)).
int32_t AxisIndex(float offset, uint32_t size, uint32_t limit) {
  const double q = (static_cast<double>(offset) + 0.5) * static_cast<double>(size);
  if (!(q > -1.0 && q < static_cast<double>(limit))) {
    return -1;
  }
  const auto index = static_cast<uint32_t>(q);
  return index < limit ? static_cast<int32_t>(index) : -1;
}

// The sizes the mapping scales by, and how far the source reaches.
struct Extent {
  uint32_t width, height;          // the output's, used by the mapping
  uint32_t columns, rows;          // the source's, at most width and height
};

// One pixel's source position straight from the definition, library
// trigonometry and all: column and row, -1 where outside.
void ExactPosition(float radius, float angle, float turn, const Extent &extent, int32_t &column, int32_t &row) {
  const double theta = static_cast<double>(angle + turn);
  column = AxisIndex(AxisOffset(radius, std::cos(theta)), extent.width, extent.columns);
  row = AxisIndex(AxisOffset(radius, std::sin(theta)), extent.height, extent.rows);
}

// The fast path. The source index along an axis is a non-decreasing function
// of the sine (or cosine) it is computed from, since the radius is never
// negative and every rounding step is monotonic. So with a sine known to lie
// within kTrigBound of the library's, the offsets computed from sine - bound
// and sine + bound enclose the exact one; when both round to the same float,
// that float is the exact offset, and the index follows exactly. Otherwise
// (about once in a hundred thousand pixels) the pixel is computed exactly.
//
// The sine and cosine come from a reduction by multiples of pi/2 in two parts
// (the first with 33 significant bits, so k * part is exact for |k| < 2^20)
// and polynomials on [-pi/4, pi/4]; their error is below 1e-15 for the
// angles allowed here, against a bound of 1e-12 (the library's own error is
// under one unit in the last place).
constexpr double kTrigBound = 1e-12;
// Turns beyond this take the exact path for the whole frame.
constexpr float kFastTurnLimit = 131072.0f;

// L lanes of each width the positions pass through.
template <int L>
struct Lanes {
  typedef float Floats __attribute__((vector_size(4 * L)));
  typedef double Doubles __attribute__((vector_size(8 * L)));
  typedef int32_t Words __attribute__((vector_size(4 * L)));
  typedef int64_t Longs __attribute__((vector_size(8 * L)));
};

template <int L>
struct SinCos {
  typename Lanes<L>::Doubles sin, cos;
};

// Vectors pass by reference: a path without wide registers cannot take them by value.
template <int L>
TESSIVO_INLINE void ApproximateSinCos(const typename Lanes<L>::Doubles &theta, SinCos<L> &result) {
  using Doubles = typename Lanes<L>::Doubles;
  using Longs = typename Lanes<L>::Longs;
  constexpr double kTwoOverPi = 6.36619772367581382433e-01;
  constexpr double kPiOver2High = 1.57079632673412561417e+00;  // 33 bits of pi/2
  constexpr double kPiOver2Low = 6.07710050650619224932e-11;   // pi/2 - kPiOver2High
  constexpr double kRoundingShift = 6755399441055744.0;        // 1.5 * 2^52
  const Doubles shifted = theta * kTwoOverPi + kRoundingShift;
  const Doubles k = shifted - kRoundingShift;  // nearest integer to theta / (pi/2)
  Longs quadrant;
  std::memcpy(&quadrant, &shifted, sizeof quadrant);  // k in the low bits
  const Doubles x = (theta - k * kPiOver2High) - k * kPiOver2Low;
  const Doubles z = x * x;
  const Doubles sinX =
      x + x * z *
              (-1.66666666666666324348e-01 +
               z * (8.33333333332248946124e-03 +
                    z * (-1.98412698298579493134e-04 +
                         z * (2.75573137070700676789e-06 +
                              z * (-2.50507602534068634195e-08 + z * 1.58969099521155010221e-10)))));
  const Doubles cosX =
      1.0 - 0.5 * z +
      z * z *
          (4.16666666666666019037e-02 +
           z * (-1.38888888888741095749e-03 +
                z * (2.48015872894767294178e-05 +
                     z * (-2.75573143513906633035e-07 +
                          z * (2.08757232129817482790e-09 + z * -1.13596475577881948265e-11)))));
  // Quadrant n: (sin, cos) = (s, c), (c, -s), (-s, -c), (-c, s).
  const Longs swap = (quadrant & 1) != 0;
  Doubles sinValue = swap ? cosX : sinX;
  Doubles cosValue = swap ? sinX : cosX;
  sinValue = (quadrant & 2) != 0 ? -sinValue : sinValue;
  cosValue = ((quadrant + 1) & 2) != 0 ? -cosValue : cosValue;
  result.sin = sinValue;
  result.cos = cosValue;
}

// trunc((offset + 0.5) * size) where that lies in (-1, limit), else -1;
// 0 < limit <= size. On the fast path sizes stay below 2^25 (the tables'
// limit) and |offset| below 1, so the product converts to 32 bits exactly
// truncated, and q in (-1, limit) is the same as trunc(q) in [0, limit).
template <int L>
TESSIVO_INLINE void VectorIndex(const typename Lanes<L>::Floats &offset, double size, int32_t limit,
                                typename Lanes<L>::Words &result) {
  using Doubles = typename Lanes<L>::Doubles;
  using Words = typename Lanes<L>::Words;
  const Doubles q = (__builtin_convertvector(offset, Doubles) + 0.5) * size;
  const Words index = __builtin_convertvector(q, Words);
  result = (index >= 0) & (index < limit) ? index : Words{} - 1;
}

// Source positions of count pixels (a multiple of L) from their radii and
// angles; unsure[i] is set where the pixel must be computed exactly.
template <int L>
TESSIVO_INLINE void FastPositions(const float *radius, const float *angle, size_t count, float turn,
                                  const Extent &extent, int32_t *column, int32_t *row, int32_t *unsure) {
  using Floats = typename Lanes<L>::Floats;
  using Doubles = typename Lanes<L>::Doubles;
  using Words = typename Lanes<L>::Words;
  const double width = extent.width, height = extent.height;
  const auto columns = int32_t(extent.columns), rows = int32_t(extent.rows);
  for (size_t i = 0; i < count; i += L) {
    Floats r, a;
    std::memcpy(&r, radius + i, sizeof r);
    std::memcpy(&a, angle + i, sizeof a);
    const Doubles theta = __builtin_convertvector(a + turn, Doubles);
    const Doubles wideRadius = __builtin_convertvector(r, Doubles);
    SinCos<L> trig;
    ApproximateSinCos<L>(theta, trig);
    const Floats xLow = __builtin_convertvector(wideRadius * (trig.cos - kTrigBound), Floats);
    const Floats xHigh = __builtin_convertvector(wideRadius * (trig.cos + kTrigBound), Floats);
    const Floats yLow = __builtin_convertvector(wideRadius * (trig.sin - kTrigBound), Floats);
    const Floats yHigh = __builtin_convertvector(wideRadius * (trig.sin + kTrigBound), Floats);
    const Words doubt = (xLow != xHigh) | (yLow != yHigh);
    Words x, y;
    VectorIndex<L>(xLow, width, columns, x);
    VectorIndex<L>(yLow, height, rows, y);
    const Words outside = (x < 0) | (y < 0);
    const Words none = Words{} - 1;
    const Words xOut = outside ? none : x;
    const Words yOut = outside ? none : y;
    std::memcpy(column + i, &xOut, sizeof xOut);
    std::memcpy(row + i, &yOut, sizeof yOut);
    std::memcpy(unsure + i, &doubt, sizeof doubt);
  }
}

// One entry point per instruction set, all of it compiled for that set. The
// count is a multiple of 8.
#define TESSIVO_KAGAMI_PATH(suffix, attributes, lanes)                                                          \
  attributes void FastPositions##suffix(const float *radius, const float *angle, size_t count, float turn,      \
                                        const Extent &extent, int32_t *column, int32_t *row, int32_t *unsure) { \
    FastPositions<lanes>(radius, angle, count, turn, extent, column, row, unsure);                              \
  }
TESSIVO_KAGAMI_PATH(Sse2, TESSIVO_TARGET_SSE2, 4)
#if defined(__x86_64__)
TESSIVO_KAGAMI_PATH(Avx2, TESSIVO_TARGET_AVX2, 4)
TESSIVO_KAGAMI_PATH(Avx512, TESSIVO_TARGET_AVX512, 8)
#endif

using PositionsPath = void (*)(const float *, const float *, size_t, float, const Extent &, int32_t *, int32_t *,
                               int32_t *);

// The scalar level has no fast path: every position comes from the library.
constexpr PositionsPath FastPositionsScalar = nullptr;

// The pixel rows of an image of Pixel-sized pixels, with the extents that
// both its size and its row bytes allow.
template <typename Pixel>
struct Rows {
  Pixel *base;
  size_t stride;
  uint32_t width;
  uint32_t height;

  Rows(void *pixels, uint32_t rowBytes, uint32_t w, uint32_t h)
      : base(static_cast<Pixel *>(pixels)),
        stride(rowBytes / sizeof(Pixel)),
        width(std::min<uint32_t>(w, static_cast<uint32_t>(rowBytes / sizeof(Pixel)))),
        height(h) {}
  Pixel *row(uint32_t y) const { return base + stride * y; }
};

}  // namespace

struct MirrorKernel::Tables {
  uint32_t width = 0;
  uint32_t height = 0;
  std::unique_ptr<float[]> values;  // the radii, then the angles, each row-major width x height

  const float *radius() const { return values.get(); }
  const float *angle() const { return values.get() + size_t{width} * height; }

  // Makes the tables hold a size, rebuilding them when it changed; false
  // when the size is too large to keep.
  bool hold(uint32_t w, uint32_t h) {
    if (values != nullptr && w == width && h == height) {
      return true;
    }
    values.reset();
    offsets.reset();
    mapValid = false;
    const size_t count = size_t{w} * h;
    if (count == 0 || count > kMaxTablePixels) {
      return false;
    }
    values.reset(new (std::nothrow) float[2 * count]);
    if (values == nullptr) {
      return false;
    }
    width = w;
    height = h;
    const float sx = 1.0f / static_cast<float>(w);
    const float sy = 1.0f / static_cast<float>(h);
    float *radii = values.get();
    float *angles = values.get() + count;
    for (uint32_t y = 0; y < h; ++y) {
      const float v = CentreOffset(sy, y);
      for (uint32_t x = 0; x < w; ++x) {
        const Polar polar = FoldedPolar(CentreOffset(sx, x), v);
        *radii++ = polar.radius;
        *angles++ = polar.angle;
      }
    }
    return true;
  }

  // The last frame's source offsets (pixels from the source's first, -1 for
  // outside), valid while the turn, the sizes and the source's stride stay:
  // with a still strength, a frame is then a plain gather.
  struct MapKey {
    uint32_t turnBits = 0, columns = 0, rows = 0, outputWidth = 0, outputRows = 0;
    size_t stride = 0, pixelBytes = 0;
    bool operator==(const MapKey &) const = default;
  };
  std::unique_ptr<int32_t[]> offsets;
  MapKey mapKey;
  bool mapValid = false;

  // The offsets buffer for this size (allocated once per size), or null.
  int32_t *map() {
    if (offsets == nullptr && values != nullptr) offsets.reset(new (std::nothrow) int32_t[size_t{width} * height]);
    return offsets.get();
  }
};

float MirrorTurn(float strength) {
  return static_cast<float>((static_cast<double>(strength) - 2.0) * static_cast<double>(kTwoPi));
}

namespace {

constexpr size_t kChunk = 128;

template <typename Pixel>
void MirrorPixels(const MirrorImage &image, float turn, MirrorKernel::Tables *tables) {
  const float *radii = tables != nullptr ? tables->radius() : nullptr;
  const float *angles = tables != nullptr ? tables->angle() : nullptr;
  const uint32_t w = image.width;
  const uint32_t h = image.height;
  const Rows<const Pixel> source(const_cast<void *>(image.source), image.sourceRowBytes, w,
                                 std::min(h, image.sourceRows));
  const Rows<Pixel> destination(image.destination, image.destinationRowBytes, w, std::min(h, image.destinationRows));
  const Extent extent{w, h, source.width, source.height};
  if (extent.columns == 0 || extent.rows == 0) {  // nothing to sample: all outside
    for (uint32_t y = 0; y < destination.height; ++y) std::fill_n(destination.row(y), destination.width, Pixel{0});
    return;
  }
  // Offsets fit 32 bits when the source's pixels do; beyond that no map is kept.
  int32_t *map = tables != nullptr && source.stride * source.height < (size_t{1} << 31) ? tables->map() : nullptr;
  const MirrorKernel::Tables::MapKey key{std::bit_cast<uint32_t>(turn), extent.columns,    extent.rows,
                                         destination.width,            destination.height, source.stride,
                                         sizeof(Pixel)};
  if (map != nullptr && tables->mapValid && tables->mapKey == key) {
    for (uint32_t y = 0; y < destination.height; ++y) {
      Pixel *out = destination.row(y);
      const int32_t *offsets = map + size_t{w} * y;
      for (uint32_t x = 0; x < destination.width; ++x) out[x] = offsets[x] >= 0 ? source.base[offsets[x]] : Pixel{0};
    }
    return;
  }
  if (map != nullptr) tables->mapValid = false;  // rewritten below
  const PositionsPath positions = ChooseSimdPath<PositionsPath>(TESSIVO_SIMD_PATHS(FastPositions));
  const bool fast = positions != nullptr && radii != nullptr && std::fabs(turn) <= kFastTurnLimit;
  const float sx = 1.0f / static_cast<float>(w);
  const float sy = 1.0f / static_cast<float>(h);
  int32_t column[kChunk], row[kChunk], unsure[kChunk];
  for (uint32_t y = 0; y < destination.height; ++y) {
    Pixel *out = destination.row(y);
    const float v = CentreOffset(sy, y);
    const size_t rowStart = size_t{w} * y;
    for (uint32_t start = 0; start < destination.width; start += kChunk) {
      const uint32_t count = std::min<uint32_t>(kChunk, destination.width - start);
      uint32_t exactFrom = 0;
      if (fast) {
        exactFrom = count & ~7u;
        positions(radii + rowStart + start, angles + rowStart + start, exactFrom, turn, extent, column, row,
                      unsure);
        for (uint32_t i = 0; i < exactFrom; ++i) {
          if (unsure[i] != 0) {
            ExactPosition(radii[rowStart + start + i], angles[rowStart + start + i], turn, extent, column[i], row[i]);
          }
        }
      }
      for (uint32_t i = exactFrom; i < count; ++i) {
        const uint32_t x = start + i;
        const Polar polar =
            radii != nullptr ? Polar{radii[rowStart + x], angles[rowStart + x]} : FoldedPolar(CentreOffset(sx, x), v);
        ExactPosition(polar.radius, polar.angle, turn, extent, column[i], row[i]);
      }
      for (uint32_t i = 0; i < count; ++i) {
        const bool inside = (column[i] | row[i]) >= 0;
        out[start + i] = inside ? source.row(static_cast<uint32_t>(row[i]))[column[i]] : Pixel{0};
        if (map != nullptr)
          map[rowStart + start + i] =
              inside ? static_cast<int32_t>(source.stride * static_cast<uint32_t>(row[i]) + uint32_t(column[i])) : -1;
      }
    }
  }
  if (map != nullptr) {
    tables->mapKey = key;
    tables->mapValid = true;
  }
}

}  // namespace

MirrorKernel::MirrorKernel() : tables_(new(std::nothrow) Tables) {}
MirrorKernel::~MirrorKernel() = default;

void MirrorKernel::run(const MirrorImage &image, float strength) {
  if (image.source == nullptr || image.destination == nullptr || image.width == 0 || image.height == 0) {
    return;
  }
  const float turn = MirrorTurn(strength);
  Tables *tables = tables_ != nullptr && tables_->hold(image.width, image.height) ? tables_.get() : nullptr;
  if (image.pixelFormat == 0) {
    MirrorPixels<uint8_t>(image, turn, tables);
  } else {
    MirrorPixels<uint32_t>(image, turn, tables);
  }
}

}  // namespace tessivo
