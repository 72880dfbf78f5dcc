// Preview frames encoded in memory: PNG through libpng (fast compression, so
// a frame leaves quickly) and JPEG through libjpeg.
#include "tessivo/studio/studio.h"

#include <tessivo/host/image.h>

#include <png.h>
// jpeglib.h needs size_t and FILE declared first.
#include <cstdio>
#include <cstddef>
#include <jpeglib.h>

#include <csetjmp>
#include <vector>

namespace tessivo::studio {

namespace {

// One row as 8-bit RGBA (ARGB words unpacked as writePng does) or grey.
void unpackRow(const host::Image& image, uint32_t y, unsigned char* out, bool withAlpha) {
  const uint8_t* row = image.row(y);
  if (image.pixelFormat() == host::kGrey8) {
    for (uint32_t x = 0; x < image.width(); ++x) {
      for (int c = 0; c < 3; ++c) *out++ = row[x];
      if (withAlpha) *out++ = 255;
    }
    return;
  }
  for (uint32_t x = 0; x < image.width(); ++x) {
    const uint32_t word = image.pixel(x, y);
    *out++ = static_cast<unsigned char>(word >> 16);
    *out++ = static_cast<unsigned char>(word >> 8);
    *out++ = static_cast<unsigned char>(word);
    if (withAlpha) *out++ = static_cast<unsigned char>(word >> 24);
  }
}

void appendPng(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<std::string*>(png_get_io_ptr(png));
  out->append(reinterpret_cast<const char*>(data), length);
}

void flushNothing(png_structp) {}

EncodedFrame encodePng(const host::Image& image) {
  EncodedFrame frame{"image/png", {}};
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (png == nullptr) throw StudioError(500, "cannot start the PNG encoder");
  png_infop info = png_create_info_struct(png);
  std::vector<unsigned char> row(size_t(image.width()) * 4);
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, info != nullptr ? &info : nullptr);
    throw StudioError(500, "the PNG encoder failed");
  }
  png_set_write_fn(png, &frame.bytes, appendPng, flushNothing);
  png_set_IHDR(png, info, image.width(), image.height(), 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 1);
  png_set_filter(png, 0, PNG_FILTER_SUB);
  png_write_info(png, info);
  for (uint32_t y = 0; y < image.height(); ++y) {
    unpackRow(image, y, row.data(), true);
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return frame;
}

struct JpegError {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
};

[[noreturn]] void jpegFail(j_common_ptr info) { std::longjmp(reinterpret_cast<JpegError*>(info->err)->jump, 1); }

EncodedFrame encodeJpeg(const host::Image& image) {
  jpeg_compress_struct info{};
  JpegError error{};
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = jpegFail;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  std::vector<unsigned char> row(size_t(image.width()) * 3);
  if (setjmp(error.jump)) {
    jpeg_destroy_compress(&info);
    std::free(buffer);
    throw StudioError(500, "the JPEG encoder failed");
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = image.width();
  info.image_height = image.height();
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 85, TRUE);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    unpackRow(image, info.next_scanline, row.data(), false);
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  EncodedFrame frame{"image/jpeg", std::string(reinterpret_cast<const char*>(buffer), size)};
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return frame;
}

}  // namespace

EncodedFrame encodeFrame(const host::Image& image, FrameFormat format) {
  if (image.empty()) throw StudioError(500, "no picture to encode");
  return format == FrameFormat::Png ? encodePng(image) : encodeJpeg(image);
}

}  // namespace tessivo::studio
