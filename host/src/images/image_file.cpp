// Still images, always from or to memory: the bytes come from readInputFile
// and go to writeOutputFile, so pipes, FIFOs, devices and atomic replacement
// work the same for every format. The codec itself is a library loaded on the
// first still (see image_codec.h); formats, limits and pixels are settled here.
#include "tessivo/host/image_file.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "images/image_codec.h"
#include "loader/library_path.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/input_file.h"
#include "tessivo/host/output_file.h"

namespace tessivo::host {

namespace {

struct Codec {
  codec::DecodeFunction decode = nullptr;
  codec::EncodeFunction encode = nullptr;
};

// The codec, loaded once; HostError when its library cannot be loaded.
const Codec &loadedCodec() {
  static std::mutex mutex;
  static Codec codec;
  static std::string failure;
  const std::lock_guard lock(mutex);
  if (codec.decode == nullptr && failure.empty()) {
    const std::string path = libraryBesideProgram(codec::kLibraryName);
    void *library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);  // kept for the life of the process
    if (library == nullptr) {
      const char *reason = ::dlerror();
      failure = "cannot load the image codec " + path + ": " + (reason != nullptr ? reason : "unknown error");
    } else {
      codec.decode = reinterpret_cast<codec::DecodeFunction>(::dlsym(library, codec::kDecodeSymbol));
      codec.encode = reinterpret_cast<codec::EncodeFunction>(::dlsym(library, codec::kEncodeSymbol));
      if (codec.decode == nullptr || codec.encode == nullptr) {
        codec = {};
        failure = "the image codec " + path + " lacks its entry points";
      }
    }
  }
  if (!failure.empty()) throw HostError(failure);
  return codec;
}

const char *displayName(const std::string &format) {
  static const std::map<std::string, const char *> names = {
      {"png", "PNG"}, {"jpeg", "JPEG"}, {"tiff", "TIFF"}, {"webp", "WebP"}, {"openexr", "OpenEXR"},
      {"bmp", "BMP"}, {"gif", "GIF"},   {"pnm", "PNM"},   {"targa", "TGA"}};
  const auto found = names.find(format);
  return found != names.end() ? found->second : format.c_str();
}

// Formats named by their signature, so a misnamed file still reads.
std::string formatFromBytes(std::string_view bytes) {
  const auto startsWith = [&](std::string_view magic) { return bytes.substr(0, magic.size()) == magic; };
  using namespace std::string_view_literals;
  if (startsWith("\x89PNG\r\n\x1a\n"sv)) return "png";
  if (startsWith("\xFF\xD8\xFF"sv)) return "jpeg";
  if (startsWith("II*\0"sv) || startsWith("MM\0*"sv) || startsWith("II+\0"sv) || startsWith("MM\0+"sv)) return "tiff";
  if (startsWith("RIFF"sv) && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP"sv) return "webp";
  if (startsWith("\x76\x2f\x31\x01"sv)) return "openexr";
  if (startsWith("BM"sv)) return "bmp";
  if (startsWith("GIF87a"sv) || startsWith("GIF89a"sv)) return "gif";
  if (bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6') return "pnm";
  return "";
}

std::string lowerExtension(const std::filesystem::path &path) {
  std::string extension = path.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

// Names and extensions of the formats this build writes, to the library's format names.
const std::map<std::string, std::string> &writableFormats() {
  static const std::map<std::string, std::string> formats = {
      {"png", "png"},   {"jpg", "jpeg"},  {"jpeg", "jpeg"},   {"jpe", "jpeg"},    {"tif", "tiff"}, {"tiff", "tiff"},
      {"webp", "webp"}, {"exr", "openexr"}, {"openexr", "openexr"}, {"bmp", "bmp"}};
  return formats;
}

constexpr const char *kReadableFormats = "PNG, JPEG, TIFF, WebP, OpenEXR, BMP, GIF, PNM, TGA";
constexpr const char *kWritableFormats = "png, jpeg (jpg), tiff (tif), webp, exr, bmp";

}  // namespace

bool hasTranslucentPixel(const Image &image) {
  if (image.pixelFormat() != kARGB32) return false;
  for (std::uint32_t y = 0; y < image.height(); ++y) {
    for (std::uint32_t x = 0; x < image.width(); ++x)
      if (image.pixel(x, y) >> 24 != 0xFF) return true;
  }
  return false;
}

ImageFile decodeImage(std::string_view bytes, const std::string &name, ImageTarget target) {
  std::string format = formatFromBytes(bytes);
  if (format.empty() && (lowerExtension(name) == "tga" || lowerExtension(name) == "tpic")) format = "targa";
  if (format.empty())
    throw HostError(name + (bytes.empty() ? ": empty file" : ": not an image this build reads") + " (it reads " +
                    kReadableFormats + ")");

  codec::DecodeRequest request{bytes, format, name, [](int width, int height, int depth) -> std::string {
    if (width > 0 && height > 0 && depth <= 1 && width <= static_cast<int>(kMaxImageSide) &&
        height <= static_cast<int>(kMaxImageSide) &&
        std::uint64_t{paddedRowBytes(static_cast<std::uint32_t>(width), kARGB32)} * std::uint64_t(height) <=
            kMaxImageBytes)
      return {};
    return "image size " + std::to_string(width) + "x" + std::to_string(height) +
           (depth > 1 ? "x" + std::to_string(depth) : "") + " is not accepted (at most " +
           std::to_string(kMaxImageSide) + " a side and " + std::to_string(kMaxImageBytes >> 20) + " MiB of pixels)";
  }};
  codec::DecodeResult decoded;
  loadedCodec().decode(request, decoded);
  switch (decoded.failure) {
    case codec::Failure::None: break;
    case codec::Failure::Unsupported:
      throw HostError(name + ": " + displayName(format) + " images are not supported by this build");
    case codec::Failure::Header:
      throw HostError(name + ": corrupt " + displayName(format) + " header (" + decoded.detail + ")");
    case codec::Failure::Size: throw HostError(name + ": " + decoded.detail);
    case codec::Failure::Channels: throw HostError(name + ": the image has no channels");
    case codec::Failure::Data:
      throw HostError(name + ": truncated or corrupt " + displayName(format) + " data (" + decoded.detail + ")");
  }

  const int channels = decoded.channels, alpha = decoded.alpha;
  const int colour = alpha >= 0 ? channels - 1 : channels;  // 1 grey, 3 RGB
  const std::size_t width = static_cast<std::size_t>(decoded.width);
  ImageFile file{Image(static_cast<std::uint32_t>(decoded.width), static_cast<std::uint32_t>(decoded.height), kARGB32),
                 alpha >= 0, format};
  for (std::uint32_t y = 0; y < file.image.height(); ++y) {
    const std::uint8_t *in = decoded.samples.data() + std::size_t{y} * width * static_cast<std::size_t>(channels);
    std::uint8_t *out = file.image.mutableRow(y);
    for (std::size_t x = 0; x < width; ++x, in += channels) {
      const std::uint32_t r = in[0], g = in[colour >= 3 ? 1 : 0], b = in[colour >= 3 ? 2 : 0];
      const std::uint32_t a = alpha >= 0 ? in[alpha] : 0xFF;
      const std::uint32_t word = a << 24 | r << 16 | g << 8 | b;
      std::memcpy(out + 4 * x, &word, 4);
    }
  }
  file.image.touch();
  // Grey comes from the pixels alone, by the host's one luma formula, never
  // from the file's colour metadata, so every input reaches grey the same way.
  if (target == ImageTarget::Grey) file.image = convert(file.image, kGrey8);
  return file;
}

bool hasStillImageExtension(const std::filesystem::path &path) {
  static const char *const kExtensions[] = {"png", "jpg",  "jpeg", "jpe", "tif", "tiff", "webp", "exr",
                                            "bmp", "gif",  "ppm",  "pgm", "pbm", "pnm",  "tga"};
  const std::string extension = lowerExtension(path);
  return std::find(std::begin(kExtensions), std::end(kExtensions), extension) != std::end(kExtensions);
}

ImageFile readImageFile(const std::filesystem::path &path, ImageTarget target) {
  return decodeImage(readInputFile(path, kMaxImageFileBytes, "an image"), inputName(path), target);
}

Image readImage(const std::filesystem::path &path, ImageTarget target) { return readImageFile(path, target).image; }

std::string imageFormatFor(const std::filesystem::path &path, const std::string &explicitFormat) {
  std::string wanted = explicitFormat;
  std::transform(wanted.begin(), wanted.end(), wanted.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (wanted.empty()) {
    wanted = lowerExtension(path);
    if (wanted.empty()) return "png";  // "-", FIFOs and devices without a name that tells
    if (const auto found = writableFormats().find(wanted); found != writableFormats().end()) return found->second;
    throw HostError("cannot tell an image format from the extension of " + outputName(path) +
                    " (known: " + kWritableFormats + "); choose one with --format");
  }
  if (const auto found = writableFormats().find(wanted); found != writableFormats().end()) return found->second;
  throw HostError("unknown image format \"" + explicitFormat + "\" (known: " + kWritableFormats + ")");
}

bool formatKeepsAlpha(const std::string &format) { return format != "jpeg"; }

std::string encodeImage(const Image &image, const std::string &format, const ImageWriteOptions &options) {
  if (image.empty()) throw HostError("the image is empty");
  const bool argb = image.pixelFormat() == kARGB32;
  if (!argb && image.pixelFormat() != kGrey8)
    throw HostError("unsupported pixel format " + std::to_string(image.pixelFormat()));
  const bool alpha = argb && formatKeepsAlpha(format) && (options.keepAlpha || hasTranslucentPixel(image));
  const int channels = argb ? (alpha ? 4 : 3) : 1;

  const std::size_t width = image.width();
  std::vector<std::uint8_t> samples(width * image.height() * static_cast<std::size_t>(channels));
  for (std::uint32_t y = 0; y < image.height(); ++y) {
    const std::uint8_t *in = image.row(y);
    std::uint8_t *out = samples.data() + std::size_t{y} * width * static_cast<std::size_t>(channels);
    if (!argb) {
      std::memcpy(out, in, width);
      continue;
    }
    for (std::size_t x = 0; x < width; ++x, out += channels) {
      std::uint32_t word;
      std::memcpy(&word, in + 4 * x, 4);
      out[0] = static_cast<std::uint8_t>(word >> 16);
      out[1] = static_cast<std::uint8_t>(word >> 8);
      out[2] = static_cast<std::uint8_t>(word);
      if (alpha) out[3] = static_cast<std::uint8_t>(word >> 24);
    }
  }

  const codec::EncodeRequest request{format,   static_cast<int>(image.width()), static_cast<int>(image.height()),
                                     channels, samples.data(), options.pngLevel, options.quality};
  codec::EncodeResult encoded;
  loadedCodec().encode(request, encoded);
  if (!encoded.error.empty()) throw HostError(encoded.error);
  return std::move(encoded.bytes);
}

void writeImage(const std::filesystem::path &path, const Image &image, const ImageWriteOptions &options) {
  const std::string format = imageFormatFor(path, options.format);
  std::string bytes;
  try {
    bytes = encodeImage(image, format, options);
  } catch (const HostError &error) {
    throw HostError("cannot write " + outputName(path) + ": " + error.what());
  }
  writeOutputFile(path, bytes, {options.replaceReadOnly, options.readOnlyHint});
}

}  // namespace tessivo::host
