// Host-owned images: the pixels the bundle reads and writes through the
// bitmap service, in one of the two pixel formats the modules know.
#pragma once

#include <marlix/ports.h>

#include <cstdint>
#include <vector>

namespace tessivo::host {

// Pixel formats (ImageDescriptor.pixelFormat).
inline constexpr uint32_t kGrey8 = kPixelFormatPlanar8;     // one byte per pixel
inline constexpr uint32_t kARGB32 = kPixelFormatARGB8888;   // native uint32 0xAARRGGBB

// Largest accepted side and total buffer, so a corrupt size is an error, not an allocation storm.
inline constexpr uint32_t kMaxImageSide = 1u << 15;
inline constexpr uint64_t kMaxImageBytes = 1ull << 30;

// True for the formats the host can hold (0 and 2).
bool isSupportedFormat(uint32_t pixelFormat);
// 1 or 4; throws HostError for an unsupported format.
uint32_t bytesPerPixel(uint32_t pixelFormat);

// An image whose rows are padded beyond width x bytes per pixel (rounded up to
// 64 bytes, plus 16), as a real host's are, so stride mistakes show. Each image
// registers itself while alive, so a HostImage handle or a pixel address handed
// back by the bundle can be checked before it is used. Every write access
// gives it a new stamp from a process-wide counter.
class Image {
 public:
  Image();  // empty: no pixels, size 0 x 0, format 2
  // Cleared to zero (transparent black). Throws HostError on a bad size or format.
  Image(uint32_t width, uint32_t height, uint32_t pixelFormat);
  Image(const Image& other);
  Image(Image&& other) noexcept;
  Image& operator=(const Image& other);
  Image& operator=(Image&& other) noexcept;
  ~Image();

  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  uint32_t pixelFormat() const { return format_; }
  uint32_t rowBytes() const { return rowBytes_; }
  bool empty() const { return width_ == 0 || height_ == 0; }
  uint32_t stamp() const { return stamp_; }

  // Reallocates (cleared) at a new size and format; keeps the buffer when both are unchanged.
  void reset(uint32_t width, uint32_t height, uint32_t pixelFormat);
  // Clears every byte of every row (padding included) to zero.
  void clear();

  const uint8_t* row(uint32_t y) const { return pixels_.data() + size_t(y) * rowBytes_; }
  // Write access; gives the image a new stamp.
  uint8_t* mutableRow(uint32_t y);
  const uint8_t* data() const { return pixels_.data(); }
  uint8_t* mutableData();
  // Marks the contents as changed (after writing through a pointer obtained earlier).
  void touch();

  // The pixel at (x, y): the byte for format 0, the 0xAARRGGBB word for format 2.
  uint32_t pixel(uint32_t x, uint32_t y) const;
  void setPixel(uint32_t x, uint32_t y, uint32_t value);

  // Where the pixels are and how they are laid out, as the bundle sees them.
  const ImageDescriptor& descriptor() const { return descriptor_; }

  // The handle the bundle receives for this image, and the way back (null for
  // anything that is not a live image).
  HostImage* handle() { return reinterpret_cast<HostImage*>(this); }
  static Image* fromHandle(HostImage* handle);
  // The live image whose first pixel row starts at pixels, or null.
  static Image* fromPixels(const void* pixels);

  // The descriptor handed out by LockImage/CreateImage (refreshed first).
  ImageDescriptor* exposedDescriptor();

 private:
  void allocate(uint32_t width, uint32_t height, uint32_t pixelFormat);
  void syncDescriptor();
  void bumpStamp();

  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t format_ = kARGB32;
  uint32_t rowBytes_ = 0;
  uint32_t stamp_ = 0;
  std::vector<uint8_t> pixels_;
  ImageDescriptor descriptor_{};
};

// The row bytes the host gives an image of this width and format.
uint32_t paddedRowBytes(uint32_t width, uint32_t pixelFormat);

}  // namespace tessivo::host
