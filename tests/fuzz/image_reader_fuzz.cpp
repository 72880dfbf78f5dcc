// The still-image decoder on any bytes, into both pixel formats: it either
// gives an image (of the size a PNG header states, for PNG data) or refuses
// it with an error that names the input.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tessivo/host/error.h"
#include "tessivo/host/image.h"
#include "tessivo/host/image_file.h"

namespace {

uint32_t BigEndian(const uint8_t *p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  const bool png = bytes.starts_with("\x89PNG\r\n\x1a\n");
  for (const auto target : {tessivo::host::ImageTarget::Argb, tessivo::host::ImageTarget::Grey}) {
    try {
      const tessivo::host::ImageFile file = tessivo::host::decodeImage(bytes, "fuzz.input", target);
      // A PNG's header chunk follows the 8-byte signature: width and height at 16 and 20.
      if (file.image.empty() ||
          (png && (size < 24 || file.image.width() != BigEndian(data + 16) || file.image.height() != BigEndian(data + 20)))) {
        std::fprintf(stderr, "the image read is empty or not the size its header states\n");
        std::abort();
      }
    } catch (const tessivo::host::HostError &error) {
      if (std::string(error.what()).find("fuzz.input") == std::string::npos) {
        std::fprintf(stderr, "an error that does not name the input: %s\n", error.what());
        std::abort();
      }
    }
  }
  return 0;
}
