// The still-image codec on OpenImageIO, always from or to memory.
#include "images/image_codec.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

namespace tessivo::host::codec {

namespace {

// The library's own worker threads are not wanted: one still at a time.
void configureLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1);  // -1: OpenEXR without its thread pool
  });
}

// The PNG decoder prints libpng's complaints on stderr, beside the error the
// library hands back; the error is reported once, by the caller.
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

// The library's error text on one line.
std::string oneLine(const std::string &text) {
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

void decode(const DecodeRequest &request, DecodeResult &result) {
  configureLibrary();
  const auto fail = [&result](Failure failure, std::string detail) {
    result.failure = failure;
    result.detail = std::move(detail);
  };
  OIIO::Filesystem::IOMemReader proxy(request.bytes.data(), request.bytes.size());
  auto input = OIIO::ImageInput::create(request.format);
  if (!input) return fail(Failure::Unsupported, "");
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);  // the stored values, not premultiplied ones
  void *proxyPointer = &proxy;
  config.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxyPointer);
  const QuietStderr quiet;
  OIIO::ImageSpec header;
  if (!input->open(request.name, header, config)) return fail(Failure::Header, oneLine(input->geterror()));
  if (std::string refusal = request.checkSize(header.width, header.height, header.depth); !refusal.empty())
    return fail(Failure::Size, std::move(refusal));
  if (header.nchannels <= 0) return fail(Failure::Channels, "");

  const int channels = std::min(header.nchannels, 4);
  int alpha = header.alpha_channel >= 0 && header.alpha_channel < channels ? header.alpha_channel : -1;
  if (alpha < 0 && (channels == 2 || channels == 4) && header.nchannels == channels) alpha = channels - 1;
  result.samples.resize(std::size_t(header.width) * std::size_t(header.height) * std::size_t(channels));
  if (!input->read_image(0, 0, 0, channels, OIIO::TypeDesc::UINT8, result.samples.data())) {
    result.samples.clear();
    return fail(Failure::Data, oneLine(input->geterror()));
  }
  input->close();
  result.width = header.width, result.height = header.height, result.channels = channels, result.alpha = alpha;
}

void encode(const EncodeRequest &request, EncodeResult &result) {
  configureLibrary();
  auto output = OIIO::ImageOutput::create(request.format);
  if (!output) {
    result.error = request.format + " images are not supported by this build";
    return;
  }
  OIIO::ImageSpec layout(request.width, request.height, request.channels,
                       request.format == "openexr" ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
  layout.attribute("oiio:UnassociatedAlpha", 1);
  layout.attribute("png:compressionLevel", std::clamp(request.pngLevel, 0, 9));
  if (request.format == "jpeg" || request.format == "webp")
    layout.attribute("compression", request.format + ":" + std::to_string(std::clamp(request.quality, 1, 100)));
  std::vector<unsigned char> bytes;
  OIIO::Filesystem::IOVecOutput proxy(bytes);
  void *proxyPointer = &proxy;
  layout.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxyPointer);
  if (!output->open("image." + request.format, layout) || !output->write_image(OIIO::TypeDesc::UINT8, request.samples) ||
      !output->close()) {
    result.error = oneLine(output->geterror());
    return;
  }
  result.bytes.assign(bytes.begin(), bytes.end());
}

}  // namespace

}  // namespace tessivo::host::codec

// The two entry points the host looks up by name.
extern "C" __attribute__((visibility("default"))) void tessivo_image_decode(
    const tessivo::host::codec::DecodeRequest &request, tessivo::host::codec::DecodeResult &result) {
  tessivo::host::codec::decode(request, result);
}

extern "C" __attribute__((visibility("default"))) void tessivo_image_encode(
    const tessivo::host::codec::EncodeRequest &request, tessivo::host::codec::EncodeResult &result) {
  tessivo::host::codec::encode(request, result);
}
