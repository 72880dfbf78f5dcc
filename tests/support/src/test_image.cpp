#include "tessivo/test/test_image.h"

#include <algorithm>
#include <cstring>

namespace tessivo::test {

TestImage::TestImage(uint32_t width, uint32_t height, uint32_t pixelFormat, uint32_t paddingBytes)
    : paddingBytes_(paddingBytes) {
  reshape(width, height, pixelFormat);
}

void TestImage::reshape(uint32_t width, uint32_t height, uint32_t pixelFormat) {
  descriptor_.width = width;
  descriptor_.height = height;
  descriptor_.pixelFormat = pixelFormat;
  descriptor_.rowBytes = width * bytesPerPixel() + paddingBytes_;
  pixels_.assign(size_t{descriptor_.rowBytes} * height, kPaddingSentinel);
  // Pixels cleared, padding left as the sentinel (an empty image has no rows to clear).
  for (uint32_t y = 0; y < height && !pixels_.empty(); ++y) {
    std::memset(pixels_.data() + size_t{descriptor_.rowBytes} * y, 0, size_t{width} * bytesPerPixel());
  }
  descriptor_.baseAddress = pixels_.empty() ? nullptr : pixels_.data();
  ++stamp;
}

uint32_t TestImage::pixel(uint32_t x, uint32_t y) const {
  const uint8_t *at = pixels_.data() + size_t{descriptor_.rowBytes} * y + size_t{x} * bytesPerPixel();
  if (bytesPerPixel() == 1) return *at;
  uint32_t value = 0;
  std::memcpy(&value, at, sizeof value);
  return value;
}

void TestImage::setPixel(uint32_t x, uint32_t y, uint32_t value) {
  uint8_t *at = pixels_.data() + size_t{descriptor_.rowBytes} * y + size_t{x} * bytesPerPixel();
  if (bytesPerPixel() == 1) {
    *at = static_cast<uint8_t>(value);
  } else {
    std::memcpy(at, &value, sizeof value);
  }
  ++stamp;
}

void TestImage::copyPixelsFrom(const TestImage &source) {
  if (source.format() != format()) return;
  const uint32_t rows = std::min(height(), source.height());
  const size_t rowLength = size_t{std::min(width(), source.width())} * bytesPerPixel();
  for (uint32_t y = 0; y < rows; ++y) {
    std::memcpy(pixels_.data() + size_t{descriptor_.rowBytes} * y,
                source.pixels_.data() + size_t{source.descriptor_.rowBytes} * y, rowLength);
  }
  ++stamp;
}

bool TestImage::paddingIntact() const {
  const size_t rowLength = size_t{width()} * bytesPerPixel();
  for (uint32_t y = 0; y < height(); ++y) {
    const uint8_t *row = pixels_.data() + size_t{descriptor_.rowBytes} * y;
    for (size_t i = rowLength; i < descriptor_.rowBytes; ++i) {
      if (row[i] != kPaddingSentinel) return false;
    }
  }
  return true;
}

}  // namespace tessivo::test
