// Still images through OpenImageIO, always from or to memory: the bytes come
// from readInputFile and go to writeOutputFile, so pipes, FIFOs, devices and
// atomic replacement work the same for every format.
#include "tessivo/host/image_file.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/input_file.h"
#include "tessivo/host/output_file.h"

namespace tessivo::host {

namespace {

// The library's own worker threads are not wanted: one still at a time.
void configureLibrary() {
  static std::once_flag once;
  std::call_once(once, [] { OIIO::attribute("threads", 1); });
}

// The PNG decoder prints libpng's complaints on stderr, beside the error the
// library hands back; the error is reported once, through the exception.
class QuietStderr {
 public:
  QuietStderr() : saved_(::dup(STDERR_FILENO)) {
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && null >= 0) ::dup2(null, STDERR_FILENO);
    if (null >= 0) ::close(null);
  }
  ~QuietStderr() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  QuietStderr(const QuietStderr &) = delete;
  QuietStderr &operator=(const QuietStderr &) = delete;

 private:
  int saved_;
};

const char *displayName(const std::string &format) {
  static const std::map<std::string, const char *> names = {
      {"png", "PNG"}, {"jpeg", "JPEG"}, {"tiff", "TIFF"}, {"webp", "WebP"}, {"openexr", "OpenEXR"},
      {"bmp", "BMP"}, {"gif", "GIF"},   {"pnm", "PNM"},   {"targa", "TGA"}};
  const auto found = names.find(format);
  return found != names.end() ? found->second : format.c_str();
}

// The library's error text on one line.
std::string libraryError(const std::string &text) {
  std::string line;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) line += (line.empty() ? "" : "; ") + text.substr(start, end - start);
    start = end + 1;
  }
  return line.empty() ? "no detail given" : line;
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
  configureLibrary();
  std::string format = formatFromBytes(bytes);
  if (format.empty() && (lowerExtension(name) == "tga" || lowerExtension(name) == "tpic")) format = "targa";
  if (format.empty())
    throw HostError(name + (bytes.empty() ? ": empty file" : ": not an image this build reads") + " (it reads " +
                    kReadableFormats + ")");

  OIIO::Filesystem::IOMemReader proxy(bytes.data(), bytes.size());
  auto input = OIIO::ImageInput::create(format);
  if (!input) throw HostError(name + ": " + displayName(format) + " images are not supported by this build");
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);  // the stored values, not premultiplied ones
  void *proxyPointer = &proxy;
  config.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxyPointer);
  const QuietStderr quiet;
  OIIO::ImageSpec spec;
  if (!input->open(name, spec, config))
    throw HostError(name + ": corrupt " + displayName(format) + " header (" + libraryError(input->geterror()) + ")");

  if (spec.width <= 0 || spec.height <= 0 || spec.depth > 1 || spec.width > static_cast<int>(kMaxImageSide) ||
      spec.height > static_cast<int>(kMaxImageSide) ||
      std::uint64_t{paddedRowBytes(static_cast<std::uint32_t>(spec.width), kARGB32)} * std::uint64_t(spec.height) >
          kMaxImageBytes)
    throw HostError(name + ": image size " + std::to_string(spec.width) + "x" + std::to_string(spec.height) +
                    (spec.depth > 1 ? "x" + std::to_string(spec.depth) : "") + " is not accepted (at most " +
                    std::to_string(kMaxImageSide) + " a side and " + std::to_string(kMaxImageBytes >> 20) +
                    " MiB of pixels)");
  if (spec.nchannels <= 0) throw HostError(name + ": the image has no channels");

  const int channels = std::min(spec.nchannels, 4);
  int alpha = spec.alpha_channel >= 0 && spec.alpha_channel < channels ? spec.alpha_channel : -1;
  if (alpha < 0 && (channels == 2 || channels == 4) && spec.nchannels == channels) alpha = channels - 1;
  const int colour = alpha >= 0 ? channels - 1 : channels;  // 1 grey, 3 (or more) RGB
  const std::size_t width = static_cast<std::size_t>(spec.width);
  std::vector<std::uint8_t> samples(width * static_cast<std::size_t>(spec.height) * static_cast<std::size_t>(channels));
  if (!input->read_image(0, 0, 0, channels, OIIO::TypeDesc::UINT8, samples.data()))
    throw HostError(name + ": truncated or corrupt " + displayName(format) + " data (" + libraryError(input->geterror()) + ")");
  input->close();

  ImageFile file{Image(static_cast<std::uint32_t>(spec.width), static_cast<std::uint32_t>(spec.height), kARGB32),
                 alpha >= 0, format};
  for (std::uint32_t y = 0; y < file.image.height(); ++y) {
    const std::uint8_t *in = samples.data() + std::size_t{y} * width * static_cast<std::size_t>(channels);
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
  configureLibrary();
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

  auto output = OIIO::ImageOutput::create(format);
  if (!output) throw HostError(format + " images are not supported by this build");
  OIIO::ImageSpec spec(static_cast<int>(image.width()), static_cast<int>(image.height()), channels,
                       format == "openexr" ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
  spec.attribute("oiio:UnassociatedAlpha", 1);
  spec.attribute("png:compressionLevel", std::clamp(options.pngLevel, 0, 9));
  if (format == "jpeg" || format == "webp")
    spec.attribute("compression", format + ":" + std::to_string(std::clamp(options.quality, 1, 100)));
  std::vector<unsigned char> bytes;
  OIIO::Filesystem::IOVecOutput proxy(bytes);
  void *proxyPointer = &proxy;
  spec.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxyPointer);
  if (!output->open("image." + format, spec) || !output->write_image(OIIO::TypeDesc::UINT8, samples.data()) ||
      !output->close())
    throw HostError(libraryError(output->geterror()));
  return std::string(bytes.begin(), bytes.end());
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
