// PNG stills read into and written from host images.
#pragma once

#include <cstdint>
#include <filesystem>

namespace tessivo::host {

class Image;

enum class PngTarget {
  Argb,  // pixel format 2, 0xAARRGGBB words
  Grey,  // pixel format 0, one byte a pixel (luma (77 R + 150 G + 29 B + 128) >> 8 of the pixels alone)
};

// Largest accepted side and pixel count.
inline constexpr std::uint32_t kMaxPngSide = 32768;
inline constexpr std::uint64_t kMaxPngPixels = std::uint64_t{1} << 28;

// Reads any PNG (palette, grey, 16-bit, with or without alpha). Throws
// HostError "<path>: <reason>" for a missing, unreadable, truncated
// or corrupt file, or one too large.
Image readPng(const std::filesystem::path &path, PngTarget target = PngTarget::Argb);

// Writes pixel format 2 as 8-bit RGBA and format 0 as 8-bit grey, atomically
// (temporary file in the same folder, then rename). Throws on failure, leaving
// any existing file untouched.
void writePng(const std::filesystem::path &path, const Image &image);

}  // namespace tessivo::host
