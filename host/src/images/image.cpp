#include "tessivo/host/image.h"

#include "images/image_registry.h"
#include "tessivo/host/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace tessivo::host {

namespace {

std::atomic<uint32_t> stampCounter{0};

uint32_t freshStamp() {
  uint32_t stamp = stampCounter.fetch_add(1, std::memory_order_relaxed) + 1;
  if (stamp == 0) stamp = stampCounter.fetch_add(1, std::memory_order_relaxed) + 1;  // 0 means "no image"
  return stamp;
}

const void* pixelsOf(const std::vector<uint8_t>& pixels) { return pixels.empty() ? nullptr : pixels.data(); }

}  // namespace

bool isSupportedFormat(uint32_t pixelFormat) { return pixelFormat == kGrey8 || pixelFormat == kARGB32; }

uint32_t bytesPerPixel(uint32_t pixelFormat) {
  if (pixelFormat == kGrey8) return 1;
  if (pixelFormat == kARGB32) return 4;
  throw HostError(fmt::format("unsupported pixel format {}", pixelFormat));
}

uint32_t paddedRowBytes(uint32_t width, uint32_t pixelFormat) {
  const uint64_t packed = uint64_t(width) * bytesPerPixel(pixelFormat);
  return static_cast<uint32_t>((packed + 63) / 64 * 64 + 16);
}

Image::Image() {
  syncDescriptor();
  ImageRegistry::instance().add(this, pixelsOf(pixels_));
}

Image::Image(uint32_t width, uint32_t height, uint32_t pixelFormat) {
  allocate(width, height, pixelFormat);
  ImageRegistry::instance().add(this, pixelsOf(pixels_));
}

Image::Image(const Image& other)
    : width_(other.width_), height_(other.height_), format_(other.format_), rowBytes_(other.rowBytes_),
      stamp_(other.stamp_), pixels_(other.pixels_) {
  syncDescriptor();
  ImageRegistry::instance().add(this, pixelsOf(pixels_));
}

Image::Image(Image&& other) noexcept
    : width_(other.width_), height_(other.height_), format_(other.format_), rowBytes_(other.rowBytes_),
      stamp_(other.stamp_) {
  // The registry lock orders the hand-over of the buffer against lookups by address.
  ImageRegistry::instance().transfer(&other, other.pixels_, this, pixels_);
  other.width_ = other.height_ = other.rowBytes_ = 0;
  other.syncDescriptor();
  syncDescriptor();
  ImageRegistry::instance().add(this, pixelsOf(pixels_));
}

Image& Image::operator=(const Image& other) {
  if (this == &other) return *this;
  Image copy(other);
  *this = std::move(copy);
  return *this;
}

Image& Image::operator=(Image&& other) noexcept {
  if (this == &other) return *this;
  ImageRegistry::instance().transfer(&other, other.pixels_, this, pixels_);
  width_ = other.width_;
  height_ = other.height_;
  format_ = other.format_;
  rowBytes_ = other.rowBytes_;
  stamp_ = freshStamp();
  other.width_ = other.height_ = other.rowBytes_ = 0;
  other.bumpStamp();
  other.syncDescriptor();
  syncDescriptor();
  return *this;
}

Image::~Image() { ImageRegistry::instance().remove(this); }

void Image::allocate(uint32_t width, uint32_t height, uint32_t pixelFormat) {
  if (!isSupportedFormat(pixelFormat)) throw HostError(fmt::format("unsupported pixel format {}", pixelFormat));
  if (width > kMaxImageSide || height > kMaxImageSide)
    throw HostError(fmt::format("image size {}x{} exceeds the limit of {} per side", width, height, kMaxImageSide));
  const uint32_t rowBytes = (width == 0 || height == 0) ? 0 : paddedRowBytes(width, pixelFormat);
  if (uint64_t(rowBytes) * height > kMaxImageBytes)
    throw HostError(fmt::format("image size {}x{} needs more than {} bytes", width, height, kMaxImageBytes));
  std::vector<uint8_t> pixels(size_t(rowBytes) * (rowBytes == 0 ? 0 : height), 0);
  ImageRegistry::instance().transfer(nullptr, pixels, this, pixels_);
  width_ = rowBytes == 0 ? 0 : width;
  height_ = rowBytes == 0 ? 0 : height;
  format_ = pixelFormat;
  rowBytes_ = rowBytes;
  bumpStamp();
  syncDescriptor();
}

void Image::reset(uint32_t width, uint32_t height, uint32_t pixelFormat) {
  if (width == width_ && height == height_ && pixelFormat == format_ && !empty()) {
    clear();
    return;
  }
  allocate(width, height, pixelFormat);
}

void Image::clear() {
  std::fill(pixels_.begin(), pixels_.end(), uint8_t{0});
  bumpStamp();
}

uint8_t* Image::mutableRow(uint32_t y) {
  bumpStamp();
  return pixels_.data() + size_t(y) * rowBytes_;
}

uint8_t* Image::mutableData() {
  bumpStamp();
  return pixels_.data();
}

void Image::touch() { bumpStamp(); }

uint32_t Image::pixel(uint32_t x, uint32_t y) const {
  if (x >= width_ || y >= height_) throw HostError(fmt::format("pixel ({}, {}) outside {}x{}", x, y, width_, height_));
  const uint8_t* p = row(y);
  if (format_ == kGrey8) return p[x];
  uint32_t value;
  std::memcpy(&value, p + size_t(x) * 4, 4);
  return value;
}

void Image::setPixel(uint32_t x, uint32_t y, uint32_t value) {
  if (x >= width_ || y >= height_) throw HostError(fmt::format("pixel ({}, {}) outside {}x{}", x, y, width_, height_));
  uint8_t* p = mutableRow(y);
  if (format_ == kGrey8)
    p[x] = static_cast<uint8_t>(value);
  else
    std::memcpy(p + size_t(x) * 4, &value, 4);
}

Image* Image::fromHandle(HostImage* handle) {
  return ImageRegistry::instance().find(reinterpret_cast<const Image*>(handle));
}

Image* Image::fromPixels(const void* pixels) { return ImageRegistry::instance().findByPixels(pixels); }

ImageDescriptor* Image::exposedDescriptor() {
  syncDescriptor();
  return &descriptor_;
}

void Image::syncDescriptor() {
  const double time = descriptor_.time;
  descriptor_ = ImageDescriptor{};
  descriptor_.time = time;
  descriptor_.rowBytes = rowBytes_;
  descriptor_.baseAddress = pixels_.empty() ? nullptr : pixels_.data();
  descriptor_.width = width_;
  descriptor_.height = height_;
  descriptor_.pixelFormat = format_;
}

void Image::bumpStamp() { stamp_ = freshStamp(); }

}  // namespace tessivo::host
