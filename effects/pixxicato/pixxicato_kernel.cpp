#include "pixxicato_kernel.h"

#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>

namespace tessivo {
namespace {

// A non-negative double truncated toward zero into 32 bits, saturating.
uint32_t SaturatingUnsigned(double value) {
  if (!(value > 0.0)) return 0;  // negative, zero or NaN
  if (value >= 4294967296.0) return UINT32_MAX;
  return static_cast<uint32_t>(value);
}

// ---------------------------------------------------------------------------
// Pixelation. Pixel is uint8_t (one byte a pixel) or uint32_t (ARGB words).

template <class Pixel>
const Pixel *SourceRow(const PixxicatoImage &image, uint32_t y) {
  const size_t stride = sizeof(Pixel) == 1 ? image.sourceRowBytes : image.sourceRowBytes >> 2;
  return static_cast<const Pixel *>(image.source) + stride * y;
}

template <class Pixel>
Pixel *DestinationRow(const PixxicatoImage &image, uint32_t y) {
  const size_t stride = sizeof(Pixel) == 1 ? image.destinationRowBytes : image.destinationRowBytes >> 2;
  return static_cast<Pixel *>(image.destination) + stride * y;
}

// One row painted block by block from its sample row: full blocks take the
// column at offset (0, or bw / 2 in Center mode) within the block, the partial
// block at the right the column at that offset from its start, or the last
// column where that falls outside the row.
template <class Pixel>
void PaintRow(const Pixel *sample, Pixel *out, uint32_t width, uint32_t blockWidth, bool center) {
  if (blockWidth == 1) {
    std::memcpy(out, sample, size_t{width} * sizeof(Pixel));
    return;
  }
  const uint32_t fullBlocks = width / blockWidth;
  const uint32_t offset = center ? blockWidth / 2 : 0;
  for (uint32_t b = 0; b < fullBlocks; ++b) {
    const size_t start = size_t{b} * blockWidth;
    std::fill_n(out + start, blockWidth, sample[start + offset]);
  }
  const uint64_t start = uint64_t{fullBlocks} * blockWidth;
  if (start < width) {
    const uint64_t column = std::min<uint64_t>(start + offset, width - 1);
    std::fill(out + start, out + width, sample[column]);
  }
}

// The source row that output row y of a pixelation copies: the top row of its
// block row; rows below the last full block row take the row after it, kept
// inside the image.
uint32_t SampleRow(uint32_t y, uint32_t blockHeight, uint32_t height) {
  const uint32_t full = height / blockHeight * blockHeight;
  return y < full ? y / blockHeight * blockHeight : std::min(full, height - 1);
}

template <class Pixel>
void Pixelate(const PixxicatoImage &image, bool center, float factorX, float factorY) {
  const uint32_t width = image.width, height = image.height;
  if (factorX == 0.0f) {
    // Whole rows in 8-byte chunks; the bytes past the last whole chunk stay as they were.
    const uint32_t blockHeight = BlockSize(height, factorY);
    const size_t chunkBytes = sizeof(Pixel) == 1 ? size_t{width / 8} * 8 : size_t{width / 2} * 8;
    for (uint32_t y = 0; y < height; ++y) {
      std::memcpy(DestinationRow<Pixel>(image, y), SourceRow<Pixel>(image, SampleRow(y, blockHeight, height)),
                  chunkBytes);
    }
  } else if (factorY == 0.0f) {
    const uint32_t blockWidth = BlockSize(width, factorX);
    for (uint32_t y = 0; y < height; ++y) {
      PaintRow(SourceRow<Pixel>(image, y), DestinationRow<Pixel>(image, y), width, blockWidth, center);
    }
  } else {
    const uint32_t blockWidth = BlockSize(width, factorX);
    const uint32_t blockHeight = BlockSize(height, factorY);
    for (uint32_t y = 0; y < height; ++y) {
      const uint32_t sample = SampleRow(y, blockHeight, height);
      Pixel *out = DestinationRow<Pixel>(image, y);
      if (y > 0 && SampleRow(y - 1, blockHeight, height) == sample) {
        std::memcpy(out, DestinationRow<Pixel>(image, y - 1), size_t{width} * sizeof(Pixel));
      } else {
        PaintRow(SourceRow<Pixel>(image, sample), out, width, blockWidth, center);
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Window filters. Rows are handled as bytes: each pixel is E bytes (1, or 4
// for ARGB), and every byte is a channel filtered by itself.

// A window along an axis cut to the extent: the same pixels are covered, so
// lo < extent and hi <= extent whatever the factor.
struct Span {
  uint32_t lo;
  uint32_t hi;
  uint32_t size() const { return lo + hi; }
};

Span Effective(WindowSpan window, uint32_t extent) {
  return {std::min(window.before, extent - 1), std::min(window.from, extent)};
}

// Mean along one line (of bytes, or of column sums): prefix sums, so that
// each window's sum is one difference. Sums wrap modulo 2^32, which leaves
// every difference exact whenever the reciprocal is nonzero (the window then
// holds at most 2^24 pixels).
template <uint32_t E, class T>
void MeanLine(const T *in, uint8_t *out, uint32_t n, Span span, uint32_t reciprocal, uint32_t *prefix) {
  // The running totals stay in registers: the byte input may alias anything.
  uint32_t total[E] = {};
  for (uint32_t c = 0; c < E; ++c) prefix[c] = 0;
  for (size_t x = 0; x < n; ++x) {
    for (uint32_t c = 0; c < E; ++c) {
      total[c] += in[x * E + c];
      prefix[(x + 1) * E + c] = total[c];
    }
  }
  const auto scaled = [reciprocal](uint32_t sum) { return static_cast<uint8_t>((sum * reciprocal) >> 24); };
  // Windows cut by the left edge, then whole windows, then those cut by the right edge.
  const size_t lo = span.lo, hi = span.hi;
  const size_t wholeFrom = std::min<size_t>(lo, n);
  const size_t wholeTo = n >= hi ? std::max<size_t>(wholeFrom, n - hi + 1) : wholeFrom;
  for (size_t x = 0; x < wholeFrom; ++x) {
    const size_t end = std::min<size_t>(n, x + hi);
    for (uint32_t c = 0; c < E; ++c) out[x * E + c] = scaled(prefix[end * E + c] - prefix[c]);
  }
  for (size_t i = wholeFrom * E; i < wholeTo * E; ++i) out[i] = scaled(prefix[i + hi * E] - prefix[i - lo * E]);
  for (size_t x = wholeTo; x < n; ++x) {
    const size_t begin = x >= lo ? x - lo : 0;
    for (uint32_t c = 0; c < E; ++c) out[x * E + c] = scaled(prefix[size_t{n} * E + c] - prefix[begin * E + c]);
  }
}

// sums += entering - leaving, either row possibly absent.
void UpdateSums(uint32_t *__restrict sums, const uint8_t *__restrict entering, const uint8_t *__restrict leaving,
                size_t length) {
  if (entering != nullptr && leaving != nullptr) {
    // The difference is taken in 16 bits, half the widening of two bytes to words.
    for (size_t i = 0; i < length; ++i)
      sums[i] += static_cast<uint32_t>(static_cast<int16_t>(static_cast<int16_t>(entering[i]) - leaving[i]));
  } else if (entering != nullptr) {
    for (size_t i = 0; i < length; ++i) sums[i] += entering[i];
  } else if (leaving != nullptr) {
    for (size_t i = 0; i < length; ++i) sums[i] -= leaving[i];
  }
}

// Mean along one line on the vector paths (N lanes): the running sums are
// laid out over the line extended by lo pixels of zero sums ahead and hi - 1
// copies of the line's total behind, so that every window, cut by an edge or
// not, is the difference of two sums (lo + hi) pixels apart. `extended` holds
// (lo + n + hi) * E words, the first (lo + 1) * E of them zero.
template <int N, uint32_t E, class T>
TESSIVO_INLINE void MeanRow(const T *in, uint8_t *out, uint32_t n, Span span, uint32_t reciprocal,
                            uint32_t *extended) {
  uint32_t *sums = extended + (size_t{span.lo} + 1) * E;
  if constexpr (sizeof(T) == 1) {
    for (size_t i = 0; i < size_t{n} * E; ++i) sums[i] = in[i];
    simd::ScanInPlace<N, E>(sums, size_t{n} * E);
  } else {
    simd::ScanFrom<N, E>(in, size_t{n} * E, sums);
  }
  uint32_t total[E];
  std::memcpy(total, sums + (size_t{n} - 1) * E, sizeof total);
  uint32_t *past = sums + size_t{n} * E;
  for (size_t t = 0; t + 1 < span.hi; ++t)
    for (uint32_t c = 0; c < E; ++c) past[t * E + c] = total[c];
  simd::WindowBytes<24>(extended, size_t{span.size()} * E, size_t{n} * E, reciprocal, out);
}

template <int N, uint32_t E>
void MeanFilter(const PixxicatoImage &image, WindowSpan windowX, WindowSpan windowY, bool alongX, bool alongY,
                PixxicatoScratch &scratch) {
  const uint32_t width = image.width, height = image.height;
  const size_t rowLength = size_t{width} * E;
  const auto *source = static_cast<const uint8_t *>(image.source);
  auto *destination = static_cast<uint8_t *>(image.destination);
  const size_t sourceStride = E == 1 ? image.sourceRowBytes : size_t{image.sourceRowBytes >> 2} * 4;
  const size_t destinationStride = E == 1 ? image.destinationRowBytes : size_t{image.destinationRowBytes >> 2} * 4;
  const Span spanX = Effective(windowX, width), spanY = Effective(windowY, height);
  const uint64_t area = (alongX ? uint64_t{windowX.before} + windowX.from : 1) *
                        (alongY ? uint64_t{windowY.before} + windowY.from : 1);
  const uint32_t reciprocal = MeanReciprocal(area);

  // Rows of the scratch: the column sums, then the running sums of a line
  // (on the scalar path from its start, on the vector paths extended).
  uint32_t *sums = scratch.sums.data();
  uint32_t *prefix = sums + rowLength;
  if constexpr (N > 0) std::fill_n(prefix, (size_t{spanX.lo} + 1) * E, 0u);
  const auto line = [&](const auto *in, uint8_t *out) {
    if constexpr (N > 0) {
      MeanRow<N, E>(in, out, width, spanX, reciprocal, prefix);
    } else {
      MeanLine<E>(in, out, width, spanX, reciprocal, prefix);
    }
  };
  if (!alongY) {
    for (uint32_t y = 0; y < height; ++y) line(source + sourceStride * y, destination + destinationStride * y);
    return;
  }
  std::fill_n(sums, rowLength, 0u);
  for (uint32_t r = 0; r < spanY.hi; ++r) UpdateSums(sums, source + sourceStride * r, nullptr, rowLength);
  for (uint32_t y = 0; y < height; ++y) {
    uint8_t *out = destination + destinationStride * y;
    if (alongX) {
      line(static_cast<const uint32_t *>(sums), out);
    } else {
      for (size_t i = 0; i < rowLength; ++i) out[i] = static_cast<uint8_t>((sums[i] * reciprocal) >> 24);
    }
    UpdateSums(sums, y + spanY.hi < height ? source + sourceStride * (size_t{y} + spanY.hi) : nullptr,
               y >= spanY.lo ? source + sourceStride * (size_t{y} - spanY.lo) : nullptr, rowLength);
  }
}

// Maximum and minimum: each starts from the value that never wins.
struct Largest {
  static constexpr uint8_t kStart = 0;
  static uint8_t apply(uint8_t a, uint8_t b) { return a > b ? a : b; }
};
struct Smallest {
  static constexpr uint8_t kStart = 255;
  static uint8_t apply(uint8_t a, uint8_t b) { return a < b ? a : b; }
};

// out[i] = op(a[i], b[i]); out is never a or b, so the loop vectorises.
template <class Op>
void CombineRows(const uint8_t *__restrict a, const uint8_t *__restrict b, uint8_t *__restrict out, size_t length) {
  for (size_t i = 0; i < length; ++i) out[i] = Op::apply(a[i], b[i]);
}
// out[i] = op of a[i], b[i], c[i] and d[i].
template <class Op>
void CombineFour(const uint8_t *__restrict a, const uint8_t *__restrict b, const uint8_t *__restrict c,
                 const uint8_t *__restrict d, uint8_t *__restrict out, size_t length) {
  for (size_t i = 0; i < length; ++i) out[i] = Op::apply(Op::apply(a[i], b[i]), Op::apply(c[i], d[i]));
}
// into[i] = op(into[i], row[i]).
template <class Op>
void CombineInto(uint8_t *__restrict into, const uint8_t *__restrict row, size_t length) {
  for (size_t i = 0; i < length; ++i) into[i] = Op::apply(into[i], row[i]);
}

// Up to this many pixels a window along a row is combined directly; wider
// ones by widening (windows of 4, 16, 64, ... pixels, each from four of the
// previous, then one doubling where needed and two overlapping windows for
// the rest): whole-row vector steps, about log4 of the window's width of them.
constexpr uint32_t kDirectWindow = 4;

// The line padded with lo neutral pixels ahead and hi - 1 behind, so that the
// window of x is padded pixels x to x + k - 1 whatever the edges.
template <uint32_t E, class Op>
size_t PadLine(const uint8_t *in, uint32_t n, Span span, uint8_t *line) {
  const size_t padded = size_t{n} + span.size() - 1;
  std::fill_n(line, size_t{span.lo} * E, Op::kStart);
  std::memcpy(line + size_t{span.lo} * E, in, size_t{n} * E);
  std::fill(line + (size_t{span.lo} + n) * E, line + padded * E, Op::kStart);
  return padded;
}

// One line of n pixels into out (not in place).
template <uint32_t E, class Op>
void ExtremeLine(const uint8_t *__restrict in, uint8_t *__restrict out, uint32_t n, Span span, uint8_t *work) {
  const size_t length = size_t{n} * E;
  const uint32_t k = span.size();
  if (k <= kDirectWindow) {
    // The copy takes in the first pixel ahead where there is one.
    size_t d = 1;
    if (span.hi >= 2) {
      CombineRows<Op>(in, in + E, out, length - E);
      std::memcpy(out + length - E, in + length - E, E);
      d = 2;
    } else {
      std::memcpy(out, in, length);
    }
    for (; d < span.hi; ++d)
      for (size_t i = 0; i + d * E < length; ++i) out[i] = Op::apply(out[i], in[i + d * E]);
    for (size_t b = 1; b <= span.lo; ++b)
      for (size_t i = b * E; i < length; ++i) out[i] = Op::apply(out[i], in[i - b * E]);
    return;
  }
  uint8_t *line = work;
  const size_t padded = PadLine<E, Op>(in, n, span, line);
  // level[j] covers padded pixels j to j + width - 1; four of a width make
  // the next, then two where four would pass k.
  uint8_t *level = line, *next = work + padded * E;
  size_t width = 1;
  for (; width * 4 <= k; width *= 4) {
    const size_t step = width * E;
    CombineFour<Op>(level, level + step, level + 2 * step, level + 3 * step, next, (padded - 4 * width + 1) * E);
    std::swap(level, next);
  }
  if (width * 2 <= k) {
    CombineRows<Op>(level, level + width * E, next, (padded - 2 * width + 1) * E);
    std::swap(level, next);
    width *= 2;
  }
  // Two windows of that width overlapping to cover k pixels.
  CombineRows<Op>(level, level + (k - width) * E, out, length);
}

// The frame, column windows first (whole rows at a time), then, when X is
// nonzero, row windows on each result row.
template <uint32_t E, class Op>
void ExtremeFilter(const PixxicatoImage &image, WindowSpan windowX, WindowSpan windowY, bool alongX, bool alongY,
                   PixxicatoScratch &scratch) {
  const uint32_t width = image.width, height = image.height;
  const size_t rowLength = size_t{width} * E;
  const auto *source = static_cast<const uint8_t *>(image.source);
  auto *destination = static_cast<uint8_t *>(image.destination);
  const size_t sourceStride = E == 1 ? image.sourceRowBytes : size_t{image.sourceRowBytes >> 2} * 4;
  const size_t destinationStride = E == 1 ? image.destinationRowBytes : size_t{image.destinationRowBytes >> 2} * 4;
  const Span spanX = Effective(windowX, width), spanY = Effective(windowY, height);
  const auto sourceRow = [&](size_t r) { return source + sourceStride * r; };
  uint8_t *lineWork = scratch.line.data();

  if (!alongY) {
    for (uint32_t y = 0; y < height; ++y)
      ExtremeLine<E, Op>(sourceRow(y), destination + destinationStride * y, width, spanX, lineWork);
    return;
  }
  // Rows of the scratch: [0] neutral, [1] the running prefix, [2] the column
  // result when a row pass follows, [3] the suffix of rows past the image,
  // then one suffix row per output row of a block.
  uint8_t *neutral = scratch.rows.data();
  uint8_t *prefix = neutral + rowLength;
  uint8_t *columnResult = prefix + rowLength;
  uint8_t *pastImage = columnResult + rowLength;
  uint8_t *suffixes = pastImage + rowLength;
  std::fill_n(neutral, rowLength, Op::kStart);
  const auto target = [&](uint32_t y) { return alongX ? columnResult : destination + destinationStride * y; };
  const auto finish = [&](uint32_t y) {
    if (alongX) ExtremeLine<E, Op>(columnResult, destination + destinationStride * y, width, spanX, lineWork);
  };

  const uint32_t k = spanY.size();
  if (k <= kDirectWindow) {
    for (uint32_t y = 0; y < height; ++y) {
      // Rows first to end - 1, the first two joined in one step.
      uint8_t *out = target(y);
      const uint32_t first = y > spanY.lo ? y - spanY.lo : 0;
      const auto end = static_cast<uint32_t>(std::min<uint64_t>(height, uint64_t{y} + spanY.hi));
      if (end - first == 1) {
        std::memcpy(out, sourceRow(first), rowLength);
      } else {
        CombineRows<Op>(sourceRow(first), sourceRow(first + 1), out, rowLength);
        for (uint32_t r = first + 2; r < end; ++r) CombineInto<Op>(out, sourceRow(r), rowLength);
      }
      finish(y);
    }
    return;
  }
  // The block method along columns, on padded row indices j (source row
  // j - lo; rows outside the image are neutral): output row x covers j from x
  // to x + k - 1, the suffix of x's block joined with a prefix of the next.
  std::vector<const uint8_t *> &suffix = scratch.suffixRows;
  const auto padRow = [&](uint64_t j) -> const uint8_t * {
    return j >= spanY.lo && j - spanY.lo < height ? sourceRow(j - spanY.lo) : nullptr;
  };
  for (uint64_t base = 0; base < height; base += k) {
    const uint32_t outputs = static_cast<uint32_t>(std::min<uint64_t>(k, height - base));
    const uint8_t *running = neutral;
    for (uint32_t t = k; t-- > 0;) {
      const uint8_t *row = padRow(base + t);
      if (row != nullptr) {
        uint8_t *into = t < outputs ? suffixes + size_t{t} * rowLength : pastImage;
        if (running == into) {
          CombineInto<Op>(into, row, rowLength);
        } else {
          CombineRows<Op>(running, row, into, rowLength);
        }
        running = into;
      }
      if (t < outputs) suffix[t] = running;
    }
    std::memcpy(target(static_cast<uint32_t>(base)), suffix[0], rowLength);
    finish(static_cast<uint32_t>(base));
    running = neutral;
    for (uint32_t t = 1; t < outputs; ++t) {
      const uint8_t *row = padRow(base + k + t - 1);
      if (row != nullptr) {
        if (running == prefix) {
          CombineInto<Op>(prefix, row, rowLength);
        } else {
          CombineRows<Op>(running, row, prefix, rowLength);
        }
        running = prefix;
      }
      const uint32_t y = static_cast<uint32_t>(base + t);
      CombineRows<Op>(suffix[t], running, target(y), rowLength);
      finish(y);
    }
  }
}

// Makes room in the scratch for a window pass; false when memory runs out.
bool Prepare(PixxicatoScratch &scratch, uint32_t mode, size_t rowLength, uint32_t height, uint32_t pixelBytes,
             uint32_t width, Span spanX, Span spanY, bool alongX, bool alongY) {
  try {
    if (mode == kPixxicatoMean) {
      // The column sums, then the running sums of a line extended by the window.
      const size_t sums = rowLength + (size_t{width} + spanX.size()) * pixelBytes;
      if (scratch.sums.size() < sums) scratch.sums.resize(sums);
      return true;
    }
    if (alongX) {
      const size_t lineLength = 2 * (size_t{width} + spanX.size()) * pixelBytes;  // padded line and one more
      if (scratch.line.size() < lineLength) scratch.line.resize(lineLength);
    }
    if (alongY) {
      const size_t blockRows = std::min(spanY.size(), height);
      const size_t rows = (4 + blockRows) * rowLength;
      if (scratch.rows.size() < rows) scratch.rows.resize(rows);
      if (scratch.suffixRows.size() < blockRows) scratch.suffixRows.resize(blockRows);
    }
    return true;
  } catch (const std::bad_alloc &) {
    return false;
  }
}

template <int N, uint32_t E>
TESSIVO_INLINE bool Filter(const PixxicatoImage &image, uint32_t mode, float factorX, float factorY,
                           PixxicatoScratch &scratch) {
  const bool alongX = factorX != 0.0f;
  const bool alongY = !alongX || factorY != 0.0f;
  const WindowSpan windowX = WindowSize(factorX), windowY = WindowSize(factorY);
  if (!Prepare(scratch, mode, size_t{image.width} * E, image.height, E, image.width, Effective(windowX, image.width),
               Effective(windowY, image.height), alongX, alongY)) {
    return false;
  }
  if (mode == kPixxicatoMean) {
    MeanFilter<N, E>(image, windowX, windowY, alongX, alongY, scratch);
  } else if (mode == kPixxicatoMaximum) {
    ExtremeFilter<E, Largest>(image, windowX, windowY, alongX, alongY, scratch);
  } else {
    ExtremeFilter<E, Smallest>(image, windowX, windowY, alongX, alongY, scratch);
  }
  return true;
}

// The window modes' entry points, one per instruction set, each with all it
// calls inlined; N is the lanes of 32 bits along a line (0: the scalar loops).
#define TESSIVO_PIXXICATO_PATH(suffix, attributes, lanes)                                                       \
  attributes bool FilterPlanar8##suffix(const PixxicatoImage &image, uint32_t mode, float x, float y,           \
                                        PixxicatoScratch &scratch) {                                            \
    return Filter<lanes, 1>(image, mode, x, y, scratch);                                                        \
  }                                                                                                             \
  attributes bool FilterArgb##suffix(const PixxicatoImage &image, uint32_t mode, float x, float y,              \
                                     PixxicatoScratch &scratch) {                                               \
    return Filter<lanes, 4>(image, mode, x, y, scratch);                                                        \
  }
TESSIVO_EACH_SIMD_PATH(TESSIVO_PIXXICATO_PATH, 0, 4, 8, 16)

}  // namespace

uint32_t BlockSize(uint32_t extent, float factor) {
  // One rounding: the product and the sum fused.
  const float size = std::fma(static_cast<float>(extent / 2), factor, 1.0f);
  if (!(size >= 1.0f)) return 1;
  return SaturatingUnsigned(static_cast<double>(size));
}

WindowSpan WindowSize(float factor) {
  const double scaled = static_cast<double>(factor) * 16.0;
  const uint32_t lo = SaturatingUnsigned(scaled) / 2;
  const uint32_t hi = SaturatingUnsigned(scaled + 1.0 - lo);
  return {lo, std::max(hi, 1u)};
}

uint32_t MeanReciprocal(uint64_t area) {
  constexpr uint64_t kOne = 0x1000000;
  return area == 0 || area > kOne ? 0 : static_cast<uint32_t>(kOne / area);
}

bool Pixxicate(const PixxicatoImage &image, uint32_t mode, float x, float y, PixxicatoScratch &scratch) {
  if (image.source == nullptr || image.destination == nullptr || image.width == 0 || image.height == 0 ||
      mode > kPixxicatoMinimum || (image.pixelFormat != 0 && image.pixelFormat != 2)) {
    return true;
  }
  const bool argb = image.pixelFormat == 2;
  if (mode == kPixxicatoUpperLeft || mode == kPixxicatoCenter) {
    const bool center = mode == kPixxicatoCenter;
    argb ? Pixelate<uint32_t>(image, center, x, y) : Pixelate<uint8_t>(image, center, x, y);
    return true;
  }
  return argb ? ChooseSimdPath(TESSIVO_SIMD_PATHS(FilterArgb))(image, mode, x, y, scratch)
              : ChooseSimdPath(TESSIVO_SIMD_PATHS(FilterPlanar8))(image, mode, x, y, scratch);
}

}  // namespace tessivo
