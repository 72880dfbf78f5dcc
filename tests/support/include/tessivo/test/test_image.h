// A host-owned image in memory: either pixel format, rows padded beyond the
// pixels (padding bytes hold a sentinel so tests can see stray writes).
#pragma once

#include <marlix/ports.h>

#include <cstdint>
#include <vector>

namespace tessivo::test {

class TestImage {
 public:
  static constexpr uint8_t kPaddingSentinel = 0xA5;

  TestImage(uint32_t width, uint32_t height, uint32_t pixelFormat, uint32_t paddingBytes = 12);

  HostImage *handle() { return reinterpret_cast<HostImage *>(this); }
  static TestImage *From(HostImage *image) { return reinterpret_cast<TestImage *>(image); }

  ImageDescriptor &descriptor() { return descriptor_; }
  uint32_t width() const { return descriptor_.width; }
  uint32_t height() const { return descriptor_.height; }
  uint32_t format() const { return descriptor_.pixelFormat; }
  uint32_t bytesPerPixel() const { return format() == kPixelFormatARGB8888 ? 4 : 1; }

  // A pixel as a number: the byte (Planar8) or the ARGB word.
  uint32_t pixel(uint32_t x, uint32_t y) const;
  void setPixel(uint32_t x, uint32_t y, uint32_t value);
  template <typename Fn>
  void fill(Fn valueAt) {
    for (uint32_t y = 0; y < height(); ++y)
      for (uint32_t x = 0; x < width(); ++x) setPixel(x, y, valueAt(x, y));
  }

  // Reallocates at a new size and format, pixels zero; used by CreateImage and CopyImage.
  void reshape(uint32_t width, uint32_t height, uint32_t pixelFormat);
  // Copies the overlapping pixels of source when the formats match.
  void copyPixelsFrom(const TestImage &source);
  bool paddingIntact() const;

  // Identity of the contents: changes whenever the host writes the image.
  uint32_t stamp = 1;

 private:
  uint32_t paddingBytes_;
  std::vector<uint8_t> pixels_;
  ImageDescriptor descriptor_{};
};

}  // namespace tessivo::test
