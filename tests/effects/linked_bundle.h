// The bundle's own objects, linked into the effects tests and run by the
// reference host, so that a test can read the shared random seed the modules
// draw from (the dlopen'ed copy keeps its own, out of reach).
#pragma once

#include <marlix/marlix.h>

#include <cstdint>
#include <memory>

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"

extern "C" uint32_t ModuleMain(HostCall *call);

namespace tessivo::test {

inline std::unique_ptr<host::Bundle> LoadLinkedBundle(host::Recorder *recorder = nullptr) {
  host::LoadOptions options;
  options.recorder = recorder;
  return host::Bundle::linked(&ModuleMain, options);
}

// The generator written out: seed * 1103515245 + (seed >> 7) + 12345 modulo 2^32.
struct DirectRandom {
  uint32_t seed;
  int32_t next() {
    seed = seed * 1103515245u + (seed >> 7) + 12345u;
    return static_cast<int32_t>(seed);
  }
};

// A picture whose pixels all differ from their neighbours, rows padded with
// 0xA5 so that stray writes show.
inline host::Image Patterned(uint32_t width, uint32_t height, uint32_t format, uint32_t salt = 0) {
  host::Image image(width, height, format);
  uint8_t *bytes = image.mutableData();
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t i = 0; i < image.rowBytes(); ++i) bytes[size_t{y} * image.rowBytes() + i] = 0xA5;
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t v = (x * 37 + y * 91 + salt * 53 + 11) & 0xFFu;
      image.setPixel(x, y, format == host::kGrey8 ? (v | 1u) : 0x01000000u * (v ^ 0x5Au) + 0x00010101u * v + 1u);
    }
  }
  return image;
}

// True while every padding byte beyond the pixels of each row is still 0xA5.
inline bool PaddingIntact(const host::Image &image) {
  const uint32_t used = image.width() * (image.pixelFormat() == host::kGrey8 ? 1 : 4);
  for (uint32_t y = 0; y < image.height(); ++y)
    for (uint32_t i = used; i < image.rowBytes(); ++i)
      if (image.row(y)[i] != 0xA5) return false;
  return true;
}

}  // namespace tessivo::test
