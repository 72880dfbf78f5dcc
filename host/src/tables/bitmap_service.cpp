// The BitmapService: every access the bundle has to host-owned pixels. Each
// function checks its handles against the live images and every size and
// rectangle against the real image bounds.
#include "tables/host_log.h"
#include "loader/instance_core.h"
#include "tessivo/host/image_ops.h"

#include <fmt/format.h>

#include <cmath>

namespace tessivo::host {

namespace {

std::string argDescriptor(const ImageDescriptor* desc) {
  if (desc == nullptr) return "null";
  return fmt::format("{}x{}/{}", desc->width, desc->height, desc->pixelFormat);
}

std::string argRect(const HostRect* rect) {
  if (rect == nullptr) return "null";
  return fmt::format("({},{},{},{})", rect->top, rect->left, rect->bottom, rect->right);
}

// True when the descriptor names a size and format the host can allocate.
bool allocatable(const ImageDescriptor* desc) {
  return desc != nullptr && isSupportedFormat(desc->pixelFormat) && desc->width > 0 && desc->height > 0 &&
         desc->width <= kMaxImageSide && desc->height <= kMaxImageSide;
}

// Reallocates dst at desc's size and format and copies what src has of it.
bool copyInto(Image* src, Image* dst, const ImageDescriptor* desc) {
  if (src == nullptr || dst == nullptr || !allocatable(desc)) return false;
  const Image source = (src == dst) ? *src : Image();
  const Image& from = (src == dst) ? source : *src;
  dst->reset(desc->width, desc->height, desc->pixelFormat);
  blit(from, *dst, 0, 0);
  return true;
}

// A rectangle edge in pixels; false for NaN.
bool edge(double value, int64_t& out) {
  if (std::isnan(value)) return false;
  constexpr double limit = 1e12;
  out = static_cast<int64_t>(std::floor(std::fmax(-limit, std::fmin(limit, value))));
  return true;
}

struct Block {
  int64_t x, y, w, h;
};

bool toBlock(const HostRect* rect, Block& block) {
  int64_t top, left, bottom, right;
  if (rect == nullptr || !edge(rect->top, top) || !edge(rect->left, left) || !edge(rect->bottom, bottom) ||
      !edge(rect->right, right))
    return false;
  block = {left, top, std::max<int64_t>(right - left, 0), std::max<int64_t>(bottom - top, 0)};
  return true;
}

// The live image whose pixels start at `pixels` with these row bytes and format, or null.
Image* ownerOf(const void* pixels, uint32_t rowBytes, uint32_t pixelFormat) {
  Image* image = Image::fromPixels(pixels);
  if (image == nullptr || image->rowBytes() != rowBytes || image->pixelFormat() != pixelFormat) return nullptr;
  return image;
}

uint32_t copyImage(void* cookie, HostImage* src, const ImageDescriptor* srcDesc, HostImage* dst,
                   const ImageDescriptor* dstDesc) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("CopyImage", {argPointer(src), argDescriptor(srcDesc), argPointer(dst), argDescriptor(dstDesc)});
    return copyInto(Image::fromHandle(src), Image::fromHandle(dst), dstDesc) ? 1 : 0;
  });
}

ImageDescriptor* lockImage(void* cookie, HostImage* handle) noexcept {
  return ServeCall<ImageDescriptor*>(cookie, nullptr, [&](InstanceCore& core) -> ImageDescriptor* {
    core.log("LockImage", {argPointer(handle)});
    Image* image = Image::fromHandle(handle);
    if (image == nullptr || image->empty()) return nullptr;
    return image->exposedDescriptor();
  });
}

ImageDescriptor* createImage(void* cookie, HostImage* handle, const ImageDescriptor* desc) noexcept {
  return ServeCall<ImageDescriptor*>(cookie, nullptr, [&](InstanceCore& core) -> ImageDescriptor* {
    core.log("CreateImage", {argPointer(handle), argDescriptor(desc)});
    Image* image = Image::fromHandle(handle);
    if (image == nullptr || !allocatable(desc)) return nullptr;
    image->reset(desc->width, desc->height, desc->pixelFormat);
    return image->exposedDescriptor();
  });
}

uint32_t imageStamp(void* cookie, HostImage* handle) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("ImageStamp", {argPointer(handle)});
    Image* image = Image::fromHandle(handle);
    return image != nullptr ? image->stamp() : 0;
  });
}

uint32_t prepareDestination(void* cookie, ImageDescriptor* locked, const ImageDescriptor* desc, const double rect[4],
                            uintptr_t zero1, uintptr_t zero2, float one) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("PrepareDestination",
              {argPointer(locked), argDescriptor(desc),
               rect != nullptr ? fmt::format("({},{},{},{})", rect[0], rect[1], rect[2], rect[3]) : "null",
               std::to_string(zero1), std::to_string(zero2), fmt::format("{}", one)});
    ++core.prepareDestinationCalls;
    return locked != nullptr && desc != nullptr ? 1 : 0;
  });
}

HostImage* cacheImage(void* cookie, const ValueRecord* request) noexcept {
  return ServeCall<HostImage*>(cookie, nullptr, [&](InstanceCore& core) -> HostImage* {
    core.log("CacheImage", {argPointer(request)});
    if (request == nullptr) return nullptr;
    return core.slot->cacheImage.handle();
  });
}

uint32_t copyCacheToOutput(void* cookie, HostImage* cache, HostImage* output, const ImageDescriptor* desc) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("CopyCacheToOutput", {argPointer(cache), argPointer(output), argDescriptor(desc)});
    Image* from = Image::fromHandle(cache);
    if (from == nullptr || from->empty()) return 0;
    return copyInto(from, Image::fromHandle(output), desc) ? 1 : 0;
  });
}

ImageDescriptor* openForWriting(void* cookie, HostImage* output) noexcept {
  return ServeCall<ImageDescriptor*>(cookie, nullptr, [&](InstanceCore& core) -> ImageDescriptor* {
    core.log("OpenForWriting", {argPointer(output)});
    Image* image = Image::fromHandle(output);
    if (image == nullptr || image->empty()) return nullptr;
    image->touch();
    return image->exposedDescriptor();
  });
}

uint32_t fillRectFn(void* cookie, void* pixels, uint32_t rowBytes, uint32_t pixelFormat, const HostRect* rect,
                    uintptr_t color0, uintptr_t color1, float opacity) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("FillRect", {argPointer(pixels), std::to_string(rowBytes), std::to_string(pixelFormat), argRect(rect),
                           fmt::format("0x{:X}", color0), fmt::format("0x{:X}", color1), fmt::format("{}", opacity)});
    Image* image = ownerOf(pixels, rowBytes, pixelFormat);
    Block block{};
    if (image == nullptr || !toBlock(rect, block) || std::isnan(opacity)) return 0;
    // color0 holds the ARGB colour; a grey image takes its luminance.
    const auto argb = static_cast<uint32_t>(color0);
    const uint32_t value = convertPixel(argb, kARGB32, pixelFormat);
    blendFillRect(*image, block.x, block.y, block.w, block.h, value, opacity);
    return 1;
  });
}

uint32_t blitRectFn(void* cookie, const void* srcPixels, uint32_t srcRowBytes, uint32_t srcFormat,
                    const HostRect* srcRect, void* dstPixels, uint32_t dstRowBytes, uint32_t dstFormat,
                    const HostRect* dstRect, float opacity) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("BlitRect", {argPointer(srcPixels), std::to_string(srcRowBytes), std::to_string(srcFormat),
                           argRect(srcRect), argPointer(dstPixels), std::to_string(dstRowBytes),
                           std::to_string(dstFormat), argRect(dstRect), fmt::format("{}", opacity)});
    Image* source = ownerOf(srcPixels, srcRowBytes, srcFormat);
    Image* destination = ownerOf(dstPixels, dstRowBytes, dstFormat);
    Block from{}, to{};
    if (source == nullptr || destination == nullptr || !toBlock(srcRect, from) || !toBlock(dstRect, to) ||
        std::isnan(opacity))
      return 0;
    // The smaller of the two rectangles is copied, from their top-left corners.
    blendBlitRect(*source, from.x, from.y, std::min(from.w, to.w), std::min(from.h, to.h), *destination, to.x, to.y,
                  opacity);
    return 1;
  });
}

}  // namespace

void installBitmapService(InstanceCore& core) {
  BitmapService& table = core.bitmapService;
  table.cookie = &core;
  table.CopyImage = &copyImage;
  table.LockImage = &lockImage;
  table.CreateImage = &createImage;
  table.ImageStamp = &imageStamp;
  table.CacheImage = &cacheImage;
  table.CopyCacheToOutput = &copyCacheToOutput;
  table.OpenForWriting = &openForWriting;
  table.PrepareDestination = &prepareDestination;
  table.FillRect = &fillRectFn;
  table.BlitRect = &blitRectFn;
}

}  // namespace tessivo::host
