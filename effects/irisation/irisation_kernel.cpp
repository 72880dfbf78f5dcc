#include "irisation_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace tessivo {
namespace {

constexpr uint32_t kKeptMask = 0xFF00FF00u;
constexpr uint32_t kRedMask = 0x00FF0000u;
constexpr uint32_t kBlueMask = 0x000000FFu;

// The span loops: out[x] for x in [from, to), with red read at x - s and blue
// at x + s. The caller has checked that every index lies in its row.
void KeptOnly(uint32_t *__restrict out, const uint32_t *__restrict kept, int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) out[x] = kept[x] & kKeptMask;
}

void WithRed(uint32_t *__restrict out, const uint32_t *__restrict kept, const uint32_t *__restrict red, int64_t s,
             int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) out[x] = (kept[x] & kKeptMask) | (red[x - s] & kRedMask);
}

void WithBlue(uint32_t *__restrict out, const uint32_t *__restrict kept, const uint32_t *__restrict blue, int64_t s,
              int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) out[x] = (kept[x] & kKeptMask) | (blue[x + s] & kBlueMask);
}

void WithBoth(uint32_t *__restrict out, const uint32_t *__restrict kept, const uint32_t *__restrict red,
              const uint32_t *__restrict blue, int64_t s, int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) out[x] = (kept[x] & kKeptMask) | (red[x - s] & kRedMask) | (blue[x + s] & kBlueMask);
}

// One output row from its kept row and its red and blue source rows (null
// when that row lies outside the image), in spans cut where red's and blue's
// sources enter or leave the row.
void FringeRow(uint32_t *out, const uint32_t *kept, const uint32_t *red, const uint32_t *blue, int64_t s,
               int64_t width) {
  // Red's source x - s is inside for x in [s, width + s); blue's x + s for x in [-s, width - s).
  const int64_t redFrom = red ? std::clamp<int64_t>(s, 0, width) : 0;
  const int64_t redTo = red ? std::clamp<int64_t>(width + s, 0, width) : 0;
  const int64_t blueFrom = blue ? std::clamp<int64_t>(-s, 0, width) : 0;
  const int64_t blueTo = blue ? std::clamp<int64_t>(width - s, 0, width) : 0;
  int64_t cuts[] = {0, redFrom, redTo, blueFrom, blueTo, width};
  std::sort(std::begin(cuts), std::end(cuts));
  for (size_t i = 0; i + 1 < std::size(cuts); ++i) {
    const int64_t from = cuts[i], to = cuts[i + 1];
    if (from == to) continue;
    const bool hasRed = redFrom <= from && to <= redTo;
    const bool hasBlue = blueFrom <= from && to <= blueTo;
    if (hasRed && hasBlue) {
      WithBoth(out, kept, red, blue, s, from, to);
    } else if (hasRed) {
      WithRed(out, kept, red, s, from, to);
    } else if (hasBlue) {
      WithBlue(out, kept, blue, s, from, to);
    } else {
      KeptOnly(out, kept, from, to);
    }
  }
}

// The three kernels: a horizontal shift (t = 0) reads every channel from the
// same row, a vertical one (s = 0) fills whole rows, the two-axis one both.
template <bool kHorizontal, bool kVertical>
void Fringe(const IrisImage &image, int64_t s, int64_t t) {
  const auto *source = static_cast<const uint32_t *>(image.source);
  auto *destination = static_cast<uint32_t *>(image.destination);
  const size_t sourceStride = image.sourceRowBytes >> 2;
  const size_t destinationStride = image.destinationRowBytes >> 2;
  const int64_t width = image.width, height = image.height;
  const auto row = [&](int64_t y) { return source + sourceStride * static_cast<size_t>(y); };
  for (int64_t y = 0; y < height; ++y) {
    const uint32_t *kept = row(y);
    const uint32_t *red = kept;
    const uint32_t *blue = kept;
    if constexpr (kVertical) {
      red = y - t >= 0 && y - t < height ? row(y - t) : nullptr;
      blue = y + t >= 0 && y + t < height ? row(y + t) : nullptr;
    }
    uint32_t *out = destination + destinationStride * static_cast<size_t>(y);
    if constexpr (kHorizontal) {
      FringeRow(out, kept, red, blue, s, width);
    } else if (red && blue) {
      WithBoth(out, kept, red, blue, 0, 0, width);
    } else if (red) {
      WithRed(out, kept, red, 0, 0, width);
    } else if (blue) {
      WithBlue(out, kept, blue, 0, 0, width);
    } else {
      KeptOnly(out, kept, 0, width);
    }
  }
}

}  // namespace

int64_t IrisDisplacement(uint32_t half, float factor) {
  const float product = static_cast<float>(half) * factor;
  if (std::isnan(product)) {
    return 0;
  }
  const double bound = 2.0 * half + 1.0;
  return static_cast<int64_t>(std::clamp(static_cast<double>(product), -bound, bound));
}

void Irisate(const IrisImage &image, int64_t s, int64_t t) {
  if (image.source == nullptr || image.destination == nullptr) {
    return;
  }
  // Beyond the image every source is outside: cut there, so no sum overflows.
  const int64_t width = image.width, height = image.height;
  s = std::clamp(s, -width, width);
  t = std::clamp(t, -height, height);
  if (t == 0) {
    Fringe<true, false>(image, s, 0);
  } else if (s == 0) {
    Fringe<false, true>(image, 0, t);
  } else {
    Fringe<true, true>(image, s, t);
  }
}

}  // namespace tessivo
