#include "fader_kernel.h"

#include <cmath>
#include <cstddef>

namespace tessivo {
namespace {

// Each row is one flat loop over 32-bit lanes with loop-invariant weights,
// which the compiler turns into vector multiplies.
void FadePlanar8(const FadeImage &image, uint32_t grey, uint32_t weight) {
  const uint32_t keep = 65536u - weight;
  const uint32_t toward = weight * grey;
  const auto *sourceRow = static_cast<const uint8_t *>(image.source);
  auto *destinationRow = static_cast<uint8_t *>(image.destination);
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      destinationRow[x] = static_cast<uint8_t>((sourceRow[x] * keep + toward) >> 16);
    }
    sourceRow += image.sourceRowBytes;
    destinationRow += image.destinationRowBytes;
  }
}

void FadeArgb(const FadeImage &image, uint32_t color, uint32_t weight) {
  const uint32_t keep = 65536u - weight;
  const uint32_t towardA = weight * (color >> 24);
  const uint32_t towardR = weight * ((color >> 16) & 0xFFu);
  const uint32_t towardG = weight * ((color >> 8) & 0xFFu);
  const uint32_t towardB = weight * (color & 0xFFu);
  const auto *sourceRow = static_cast<const uint32_t *>(image.source);
  auto *destinationRow = static_cast<uint32_t *>(image.destination);
  const size_t sourceStride = image.sourceRowBytes >> 2;
  const size_t destinationStride = image.destinationRowBytes >> 2;
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const uint32_t s = sourceRow[x];
      const uint32_t a = ((towardA + keep * (s >> 24)) >> 16) & 0xFFu;
      const uint32_t r = ((towardR + keep * ((s >> 16) & 0xFFu)) >> 16) & 0xFFu;
      const uint32_t g = ((towardG + keep * ((s >> 8) & 0xFFu)) >> 16) & 0xFFu;
      const uint32_t b = ((towardB + keep * (s & 0xFFu)) >> 16) & 0xFFu;
      destinationRow[x] = a << 24 | r << 16 | g << 8 | b;
    }
    sourceRow += sourceStride;
    destinationRow += destinationStride;
  }
}

}  // namespace

uint32_t FadeWeight(float amount) {
  const float scaled = amount * 65536.0f;
  if (!std::isfinite(scaled)) {
    return 0;
  }
  // Exact in double: a float's integer part, reduced modulo 2^32.
  constexpr double kWrap = 4294967296.0;
  double reduced = std::fmod(std::trunc(static_cast<double>(scaled)), kWrap);
  if (reduced < 0.0) {
    reduced += kWrap;
  }
  return static_cast<uint32_t>(reduced);
}

uint32_t FadeGrey(uint32_t fadeColor) {
  return (((fadeColor >> 16) & 0xFFu) + ((fadeColor >> 7) & 0xFFu) + (fadeColor & 0xFFu)) >> 2;
}

void Fade(const FadeImage &image, uint32_t fadeColor, float amount) {
  if (image.source == nullptr || image.destination == nullptr) {
    return;
  }
  const uint32_t weight = FadeWeight(amount);
  if (image.pixelFormat == 0) {
    FadePlanar8(image, FadeGrey(fadeColor), weight);
  } else if (image.pixelFormat == 2) {
    FadeArgb(image, fadeColor, weight);
  }
}

}  // namespace tessivo
