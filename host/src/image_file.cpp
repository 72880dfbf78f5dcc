// PNG reading and writing with libpng. libpng reports errors by longjmp, so
// every libpng call sits in a small function that holds only plain data; the
// images and buffers it fills are created by its callers.
#include "tessivo/host/image_file.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "atomic_file.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/image.h"

namespace tessivo::host {

namespace {

struct PngProblem {
  char message[256] = "";
};

void recordError(png_structp png, png_const_charp message) {
  auto *problem = static_cast<PngProblem *>(png_get_error_ptr(png));
  std::snprintf(problem->message, sizeof problem->message, "%s", message != nullptr ? message : "unknown error");
  png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

struct ReadState {
  png_structp png = nullptr;
  png_infop info = nullptr;
  PngProblem problem;
  png_uint_32 width = 0, height = 0;
  int channels = 0;
};

// Reads the header and sets the transforms that give 8-bit RGBA rows.
bool readHeader(ReadState &state, std::FILE *file) {
  if (setjmp(png_jmpbuf(state.png))) return false;
  png_init_io(state.png, file);
  png_set_user_limits(state.png, kMaxPngSide, kMaxPngSide);
  png_read_info(state.png, state.info);
  state.width = png_get_image_width(state.png, state.info);
  state.height = png_get_image_height(state.png, state.info);
  png_set_expand(state.png);
  png_set_strip_16(state.png);
  png_set_gray_to_rgb(state.png);
  png_set_add_alpha(state.png, 0xFF, PNG_FILLER_AFTER);
  png_set_interlace_handling(state.png);
  png_read_update_info(state.png, state.info);
  state.channels = png_get_channels(state.png, state.info);
  return true;
}

bool readRows(ReadState &state, png_bytepp rows) {
  if (setjmp(png_jmpbuf(state.png))) return false;
  png_read_image(state.png, rows);
  png_read_end(state.png, nullptr);
  return true;
}

struct WriteState {
  png_structp png = nullptr;
  png_infop info = nullptr;
  PngProblem problem;
  std::vector<unsigned char> *bytes = nullptr;
};

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
  auto *state = static_cast<WriteState *>(png_get_io_ptr(png));
  try {
    state->bytes->insert(state->bytes->end(), data, data + length);
  } catch (...) {
    png_error(png, "out of memory");
  }
}

void flushNothing(png_structp) {}

// Encodes the image; scratch holds one RGBA row for ARGB images.
bool encode(WriteState &state, const Image &image, unsigned char *scratch) {
  if (setjmp(png_jmpbuf(state.png))) return false;
  png_set_write_fn(state.png, &state, appendBytes, flushNothing);
  const bool argb = image.pixelFormat() == kARGB32;
  png_set_IHDR(state.png, state.info, image.width(), image.height(), 8,
               argb ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(state.png, state.info);
  for (std::uint32_t y = 0; y < image.height(); ++y) {
    const unsigned char *row = image.row(y);
    if (argb) {
      for (std::uint32_t x = 0; x < image.width(); ++x) {
        std::uint32_t word;
        std::memcpy(&word, row + 4 * std::size_t{x}, 4);
        scratch[4 * x + 0] = static_cast<unsigned char>(word >> 16);
        scratch[4 * x + 1] = static_cast<unsigned char>(word >> 8);
        scratch[4 * x + 2] = static_cast<unsigned char>(word);
        scratch[4 * x + 3] = static_cast<unsigned char>(word >> 24);
      }
      row = scratch;
    }
    png_write_row(state.png, row);
  }
  png_write_end(state.png, nullptr);
  return true;
}

using FileHandle = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

}  // namespace

Image readPng(const std::filesystem::path &path, PngTarget target) {
  // Grey comes from the pixels alone, by the host's one luma formula, never
  // from the file's colour metadata, so every input reaches grey the same way.
  if (target == PngTarget::Grey) return convert(readPng(path, PngTarget::Argb), kGrey8);
  const std::string name = path.string();
  FileHandle file(std::fopen(name.c_str(), "rb"), &std::fclose);
  if (!file) throw HostError(name + ": cannot open: " + std::strerror(errno));
  unsigned char signature[8] = {};
  if (std::fread(signature, 1, sizeof signature, file.get()) != sizeof signature ||
      png_sig_cmp(signature, 0, sizeof signature) != 0)
    throw HostError(name + ": not a PNG file");

  ReadState state;
  state.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state.problem, recordError, ignoreWarning);
  if (state.png != nullptr) state.info = png_create_info_struct(state.png);
  struct Cleanup {
    ReadState &state;
    ~Cleanup() { png_destroy_read_struct(&state.png, state.info != nullptr ? &state.info : nullptr, nullptr); }
  } cleanup{state};
  if (state.info == nullptr) throw HostError(name + ": out of memory");
  png_set_sig_bytes(state.png, sizeof signature);

  if (!readHeader(state, file.get()))
    throw HostError(name + ": corrupt PNG header (" + state.problem.message + ")");
  if (state.width == 0 || state.height == 0 || state.width > kMaxPngSide || state.height > kMaxPngSide ||
      std::uint64_t{state.width} * state.height > kMaxPngPixels)
    throw HostError(name + ": image size " + std::to_string(state.width) + "x" + std::to_string(state.height) +
                    " is not accepted");
  if (state.channels != 4) throw HostError(name + ": unsupported PNG layout");

  Image image(state.width, state.height, kARGB32);
  std::vector<png_bytep> rows(state.height);
  for (std::uint32_t y = 0; y < state.height; ++y) rows[y] = image.mutableRow(y);
  if (!readRows(state, rows.data()))
    throw HostError(name + ": truncated or corrupt PNG data (" + state.problem.message + ")");

  for (std::uint32_t y = 0; y < state.height; ++y) {
    unsigned char *row = rows[y];
    for (std::uint32_t x = 0; x < state.width; ++x) {
      unsigned char *pixel = row + 4 * std::size_t{x};
      const std::uint32_t word = std::uint32_t{pixel[3]} << 24 | std::uint32_t{pixel[0]} << 16 |
                                 std::uint32_t{pixel[1]} << 8 | pixel[2];
      std::memcpy(pixel, &word, 4);
    }
  }
  image.touch();
  return image;
}

void writePng(const std::filesystem::path &path, const Image &image) {
  const std::string name = path.string();
  if (image.empty()) throw HostError("cannot write " + name + ": the image is empty");
  if (image.pixelFormat() != kARGB32 && image.pixelFormat() != kGrey8)
    throw HostError("cannot write " + name + ": unsupported pixel format " + std::to_string(image.pixelFormat()));

  std::vector<unsigned char> bytes;
  std::vector<unsigned char> scratch(image.pixelFormat() == kARGB32 ? std::size_t{image.width()} * 4 : 0);
  WriteState state;
  state.bytes = &bytes;
  state.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state.problem, recordError, ignoreWarning);
  if (state.png != nullptr) state.info = png_create_info_struct(state.png);
  struct Cleanup {
    WriteState &state;
    ~Cleanup() { png_destroy_write_struct(&state.png, state.info != nullptr ? &state.info : nullptr); }
  } cleanup{state};
  if (state.info == nullptr) throw HostError("cannot write " + name + ": out of memory");
  if (!encode(state, image, scratch.data()))
    throw HostError("cannot write " + name + ": " + state.problem.message);
  writeFileAtomically(path, std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size()));
}

}  // namespace tessivo::host
