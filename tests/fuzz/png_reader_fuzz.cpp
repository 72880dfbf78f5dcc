// The PNG reader on any bytes, as a file, into both pixel formats: it either
// gives an image of the size the file's header states or refuses it with
// an error that names the file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tessivo/host/error.h"
#include "tessivo/host/image.h"
#include "tessivo/host/image_file.h"

namespace {

uint32_t BigEndian(const uint8_t *p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("png_reader_fuzz." + std::to_string(getpid()) + ".png");
  {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  }
  for (const auto target : {tessivo::host::PngTarget::Argb, tessivo::host::PngTarget::Grey}) {
    try {
      const tessivo::host::Image image = tessivo::host::readPng(path, target);
      // A PNG's header chunk follows the 8-byte signature: width and height at 16 and 20.
      if (size < 24 || image.width() != BigEndian(data + 16) || image.height() != BigEndian(data + 20)) {
        std::fprintf(stderr, "the image read is not the size its header states\n");
        std::abort();
      }
    } catch (const tessivo::host::HostError &error) {
      if (std::string(error.what()).find(path.string()) == std::string::npos) {
        std::fprintf(stderr, "an error that does not name the file: %s\n", error.what());
        std::abort();
      }
    }
  }
  std::filesystem::remove(path);
  return 0;
}
