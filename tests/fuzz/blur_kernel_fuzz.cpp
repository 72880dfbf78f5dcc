// The software box blurs and the vImage tent filter on small images of any
// format, padding, amount and argument: every output byte must be its direct
// window sum, nothing written outside the pixels, bad arguments refused.
#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <vector>

#include "blur/box_blur.h"
#include "fuzz_input.h"

namespace {

using tessivo::fuzz::FuzzInput;

float Amount(FuzzInput &in) {
  static constexpr float kEdges[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(), 0.0f, -0.0f, 1.0f, 0.25f, -1.0f,
                                     1e30f, 4294967296.0f, 0.5f, 3.0f};
  switch (in.byte() % 4) {
    case 0: return in.real();
    case 1: return static_cast<float>(in.byte()) / 64.0f;
    case 2: return kEdges[in.byte() % std::size(kEdges)];
    default: return static_cast<float>(static_cast<int8_t>(in.byte()));
  }
}

void Fail(const char *what, uint32_t width, uint32_t height, size_t at) {
  std::fprintf(stderr, "Blur: %s (%ux%u, byte %zu)\n", what, width, height, at);
  std::abort();
}

uint32_t Truncate(float v) {
  if (std::isnan(v) || v < 1.0f) return 0;
  return v >= 4294967296.0f ? 0xFFFFFFFFu : uint32_t(v);
}

uint32_t Radius(float amount, uint32_t fractionOf, uint32_t length, bool pixels) {
  const uint32_t r = pixels ? Truncate(amount) : Truncate(float(uint32_t((fractionOf >> 1) - 1u)) * amount);
  return 4.0 * r < length ? r : (length - 1) >> 1;
}

struct Window {
  uint32_t rx, ry, weight;
  int shift;
};

// Which window the software engine runs for these amounts, straight from the rules.
Window Choose(float x, float y, bool pixels, uint32_t w, uint32_t h) {
  const Window horizontal{Radius(x, w, w, pixels), 0, 0, 16};
  const Window vertical{0, Radius(y, h, h, pixels), 0, 16};
  Window chosen{0, 0, 0x10000, 16};
  if (x != 0 && y != 0) {
    const uint32_t rx = Radius(x, h, w, pixels), ry = Radius(y, h, h, pixels);
    if (ry == 0) chosen = horizontal;
    else if (rx == 0) chosen = vertical;
    else {
      const uint64_t area = uint64_t(2 * rx + 1) * (2 * ry + 1);
      return {rx, ry, area > 0x800000 ? 0 : uint32_t(0x800000 / area), 23};
    }
  } else if (x != 0) {
    chosen = horizontal;
  } else if (y != 0) {
    chosen = vertical;
  } else {
    return {0, 0, 0, -1};  // nothing written
  }
  chosen.weight = 0x10000u / (2 * (chosen.rx + chosen.ry) + 1);
  return chosen;
}

void CheckBoxBlur(FuzzInput &in) {
  const uint32_t width = in.byte() % 24, height = in.byte() % 24, format = in.pixelFormat();
  const float x = Amount(in), y = Amount(in);
  const bool pixels = in.byte() % 2 == 1;
  const uint32_t bytes = format == 2 ? 4 : 1;
  const uint32_t sourceRowBytes = width * bytes + in.byte() % 9, destinationRowBytes = width * bytes + in.byte() % 9;
  std::vector<uint8_t> source(size_t{sourceRowBytes} * height), destination(size_t{destinationRowBytes} * height, 0x5A);
  for (auto &b : source) b = in.empty() ? uint8_t(b * 7 + 3) : in.byte();
  std::vector<uint8_t> expected = destination;
  tessivo::SoftwareBoxBlur({source.data(), sourceRowBytes, destination.data(), destinationRowBytes, width, height,
                            format},
                           {x, y, pixels});
  const Window window = Choose(x, y, pixels, width, height);
  if ((format == 0 || format == 2) && width > 0 && height > 0 && window.shift > 0) {
    const uint32_t inStride = sourceRowBytes / bytes * bytes, outStride = destinationRowBytes / bytes * bytes;
    for (uint32_t j = 0; j < height; ++j)
      for (uint32_t i = 0; i < width * bytes; ++i) {
        const uint32_t px = i / bytes, c = i % bytes;
        uint64_t sum = 0;
        for (int64_t dy = -int64_t{window.ry}; dy <= int64_t{window.ry}; ++dy)
          for (int64_t dx = -int64_t{window.rx}; dx <= int64_t{window.rx}; ++dx) {
            const auto sx = uint32_t(std::clamp<int64_t>(px + dx, 0, width - 1));
            const auto sy = uint32_t(std::clamp<int64_t>(j + dy, 0, height - 1));
            sum += source[size_t{sy} * inStride + sx * bytes + c];
          }
        expected[size_t{j} * outStride + i] = uint8_t((window.weight * sum) >> window.shift);
      }
  }
  for (size_t i = 0; i < expected.size(); ++i)
    if (destination[i] != expected[i]) Fail("box blur byte differs from the window sum", width, height, i);
}

void CheckTent(FuzzInput &in) {
  const vImagePixelCount width = in.byte() % 12, height = in.byte() % 12;
  const vImagePixelCount outWidth = in.byte() % 13, outHeight = in.byte() % 13;
  const vImagePixelCount ox = in.byte() % 13, oy = in.byte() % 13;
  const uint32_t kw = in.byte() % 2 == 0 ? in.byte() % 40 : in.word(), kh = in.byte() % 40;
  const vImage_Flags flags = in.byte() % 3 == 0 ? in.word() : vImage_Flags{1u} << (in.byte() % 4 + 1);
  const bool planar = in.byte() % 2 == 1;
  const size_t bytes = planar ? 1 : 4;
  const size_t inRow = width * bytes + in.byte() % 5, outRow = outWidth * bytes + in.byte() % 5;
  std::vector<uint8_t> source(std::max<size_t>(1, inRow * height)), destination(std::max<size_t>(1, outRow * outHeight));
  for (auto &b : source) b = in.byte();
  const uint8_t background[4] = {in.byte(), in.byte(), in.byte(), in.byte()};
  const vImage_Buffer src{source.data(), height, width, inRow}, dest{destination.data(), outHeight, outWidth, outRow};
  const vImage_Error result =
      planar ? vImageTentConvolve_Planar8(&src, &dest, nullptr, ox, oy, kh, kw, background[0], flags)
             : vImageTentConvolve_ARGB8888(&src, &dest, nullptr, ox, oy, kh, kw, background, flags);
  const bool valid = kw % 2 == 1 && kh % 2 == 1 && kw <= kTentKernelMaxSize &&
                     (flags == kvImageEdgeExtend || flags == kvImageBackgroundColorFill ||
                      flags == kvImageTruncateKernel || flags == kvImageCopyInPlace) &&
                     (outWidth == 0 || outHeight == 0 ||
                      (width > 0 && height > 0 && ox + outWidth <= width && oy + outHeight <= height));
  if (valid != (result == kvImageNoError)) Fail("tent accepted or refused the wrong arguments", uint32_t(width), uint32_t(height), 0);
  if (!valid || outWidth == 0 || outHeight == 0 || flags != kvImageEdgeExtend) return;
  const int64_t rx = kw / 2, ry = kh / 2;
  for (vImagePixelCount j = 0; j < outHeight; ++j)
    for (vImagePixelCount i = 0; i < outWidth * bytes; ++i) {
      const auto px = int64_t(i / bytes + ox), py = int64_t(j + oy);
      uint64_t sum = 0;
      for (int64_t dy = -ry; dy <= ry; ++dy)
        for (int64_t dx = -rx; dx <= rx; ++dx) {
          const auto sx = std::clamp<int64_t>(px + dx, 0, int64_t(width) - 1);
          const auto sy = std::clamp<int64_t>(py + dy, 0, int64_t(height) - 1);
          sum += uint64_t(rx + 1 - std::abs(dx)) * uint64_t(ry + 1 - std::abs(dy)) *
                 source[size_t(sy) * inRow + size_t(sx) * bytes + i % bytes];
        }
      const uint64_t total = uint64_t(rx + 1) * uint64_t(rx + 1) * uint64_t(ry + 1) * uint64_t(ry + 1);
      if (destination[j * outRow + i] != uint8_t((sum + total / 2) / total))
        Fail("tent byte differs from the weighted sum", uint32_t(width), uint32_t(height), j * outRow + i);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  if (in.byte() % 2 == 0) {
    CheckBoxBlur(in);
  } else {
    CheckTent(in);
  }
  return 0;
}
