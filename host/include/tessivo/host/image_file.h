// Still images read into and written from host images, in the formats image
// people use (PNG, JPEG, TIFF, WebP, OpenEXR, BMP, ...), from files, pipes
// and standard input or output ("-").
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "tessivo/host/image.h"

namespace tessivo::host {

enum class ImageTarget {
  Argb,  // pixel format 2, 0xAARRGGBB words
  Grey,  // pixel format 0, one byte a pixel (luma (77 R + 150 G + 29 B + 128) >> 8 of the pixels alone)
};

// An image as read, with what the file said about it.
struct ImageFile {
  Image image;
  bool hasAlpha = false;  // the file had an alpha channel
  std::string format;     // "png", "jpeg", "tiff", "webp", "openexr", ...
};

// Decodes any still this build reads; the format comes from the bytes
// (the name's extension only when the bytes do not tell). Sizes are held to
// the limits of an Image in pixel format 2 (kMaxImageSide, kMaxImageBytes). Deeper samples
// (16-bit, float) are converted to 8 bits here, at the module boundary;
// alpha is kept unassociated. Throws HostError "<name>: <reason>" for an
// unknown format, corrupt or truncated data, or a size beyond the limits.
ImageFile decodeImage(std::string_view bytes, const std::string &name, ImageTarget target = ImageTarget::Argb);

// Whether a file name has the extension of a still this build reads
// (for listings; reading goes by the bytes).
bool hasStillImageExtension(const std::filesystem::path &path);

// Reads `path` ("-": standard input; FIFOs and devices too) and decodes it.
ImageFile readImageFile(const std::filesystem::path &path, ImageTarget target = ImageTarget::Argb);
Image readImage(const std::filesystem::path &path, ImageTarget target = ImageTarget::Argb);

struct ImageWriteOptions {
  std::string format;       // empty: from the file's extension (PNG for "-" or an unknown one)
  int pngLevel = 2;         // zlib level 0..9: 2 writes a 4K frame several times faster than 6, a little larger
  int quality = 90;         // JPEG and WebP quality 1..100
  bool keepAlpha = true;    // false: write RGB when every alpha is 255 (the input had none)
  bool replaceReadOnly = false;
  std::string readOnlyHint;  // see OutputOptions
};

// The format a write would use: options.format if set, else by extension.
// Throws HostError for a format this build cannot write.
std::string imageFormatFor(const std::filesystem::path &path, const std::string &explicitFormat);

// Some pixel of a format 2 image has an alpha below 255.
bool hasTranslucentPixel(const Image &image);

// Whether the format stores an alpha channel (JPEG does not).
bool formatKeepsAlpha(const std::string &format);

// Encodes pixel format 2 as 8-bit RGB(A) and format 0 as 8-bit grey.
std::string encodeImage(const Image &image, const std::string &format, const ImageWriteOptions &options = {});

// Encodes and writes through writeOutputFile (atomic for regular files,
// write-through for pipes and devices, "-" for standard output).
void writeImage(const std::filesystem::path &path, const Image &image, const ImageWriteOptions &options = {});

}  // namespace tessivo::host
