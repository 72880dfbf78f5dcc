#include "kagami_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>

namespace tessivo {
namespace {

// Where a pixel lies about the centre: its radius and its folded angle.
struct Polar {
  float radius;
  float angle;
};

// Tables beyond this many pixels are not kept; such frames compute every
// pixel's polar coordinates afresh.
constexpr size_t kMaxTablePixels = size_t{1} << 25;

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

// trunc(q) as an index below limit; false for anything outside, NaN included.
bool IndexBelow(double q, uint32_t limit, uint32_t &index) {
  if (!(q > -1.0 && q < static_cast<double>(limit))) {
    return false;
  }
  index = static_cast<uint32_t>(q);
  return index < limit;  // a limit of 0 takes nothing, not even trunc(-0.5)
}

// The position along one axis: trunc(((float)(r * trig) + 0.5) * size).
double AxisPosition(float radius, double trig, uint32_t size) {
  const auto offset = static_cast<float>(static_cast<double>(radius) * trig);
  return (static_cast<double>(offset) + 0.5) * static_cast<double>(size);
}

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
  std::unique_ptr<Polar[]> polar;  // row-major, width x height

  // The table for a size, rebuilt when the size changed; null when too large.
  const Polar *forSize(uint32_t w, uint32_t h, float sx, float sy) {
    if (polar != nullptr && w == width && h == height) {
      return polar.get();
    }
    polar.reset();
    const size_t count = size_t{w} * h;
    if (count == 0 || count > kMaxTablePixels) {
      return nullptr;
    }
    polar.reset(new (std::nothrow) Polar[count]);
    if (polar == nullptr) {
      return nullptr;
    }
    width = w;
    height = h;
    Polar *entry = polar.get();
    for (uint32_t y = 0; y < h; ++y) {
      const float v = CentreOffset(sy, y);
      for (uint32_t x = 0; x < w; ++x) {
        *entry++ = FoldedPolar(CentreOffset(sx, x), v);
      }
    }
    return polar.get();
  }
};

float MirrorTurn(float strength) {
  return static_cast<float>((static_cast<double>(strength) - 2.0) * static_cast<double>(kTwoPi));
}

namespace {

template <typename Pixel>
void MirrorPixels(const MirrorImage &image, float turn, const Polar *table) {
  const uint32_t w = image.width;
  const uint32_t h = image.height;
  const float sx = 1.0f / static_cast<float>(w);
  const float sy = 1.0f / static_cast<float>(h);
  const Rows<const Pixel> source(const_cast<void *>(image.source), image.sourceRowBytes, w,
                                 std::min(h, image.sourceRows));
  const Rows<Pixel> destination(image.destination, image.destinationRowBytes, w, std::min(h, image.destinationRows));
  for (uint32_t y = 0; y < destination.height; ++y) {
    Pixel *out = destination.row(y);
    const Polar *polarRow = table != nullptr ? table + size_t{w} * y : nullptr;
    const float v = CentreOffset(sy, y);
    for (uint32_t x = 0; x < destination.width; ++x) {
      const Polar polar = polarRow != nullptr ? polarRow[x] : FoldedPolar(CentreOffset(sx, x), v);
      const double theta = static_cast<double>(polar.angle + turn);
      uint32_t column = 0;
      uint32_t row = 0;
      const bool inside = IndexBelow(AxisPosition(polar.radius, std::cos(theta), w), source.width, column) &&
                          IndexBelow(AxisPosition(polar.radius, std::sin(theta), h), source.height, row);
      out[x] = inside ? source.row(row)[column] : Pixel{0};
    }
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
  const float sx = 1.0f / static_cast<float>(image.width);
  const float sy = 1.0f / static_cast<float>(image.height);
  const Polar *table = tables_ != nullptr ? tables_->forSize(image.width, image.height, sx, sy) : nullptr;
  if (image.pixelFormat == 0) {
    MirrorPixels<uint8_t>(image, turn, table);
  } else {
    MirrorPixels<uint32_t>(image, turn, table);
  }
}

}  // namespace tessivo
