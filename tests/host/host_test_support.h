// Shared helpers for the host tests: the bundle under test, small pictures, scratch files.
#pragma once

#include "tessivo/host/bundle.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image.h"
#include "tessivo/host/recorder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace tessivo::host::testing {

inline std::unique_ptr<Bundle> loadBundle(Recorder* recorder = nullptr, bool threaded = false) {
  LoadOptions options;
  options.recorder = recorder, options.threadedDelivery = threaded;
  return Bundle::load(TESSIVO_BUNDLE_PATH, options);
}

// A picture whose every pixel differs from its neighbours, in either format.
inline Image patterned(uint32_t width, uint32_t height, uint32_t format) {
  Image image(width, height, format);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t v = (x * 37 + y * 91 + 11) & 0xFF;
      image.setPixel(x, y, format == kGrey8 ? v : (0x80u + v / 2) << 24 | v << 16 | (255 - v) << 8 | ((v * 3) & 0xFF));
    }
  return image;
}

// The text of the HostError `action` throws, or "no error".
template <class F>
std::string errorOf(F&& action) {
  try { action(); } catch (const HostError& error) { return error.what(); }
  return "no error";
}

// A fresh folder for the running test, removed afterwards.
struct ScratchFolder {
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
      ("tessivo-host-" + std::to_string(::getpid()) + "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
  ScratchFolder() { std::filesystem::remove_all(path), std::filesystem::create_directories(path); }
  ~ScratchFolder() { std::filesystem::remove_all(path); }
  std::filesystem::path operator/(const std::string& name) const { return path / name; }
};

inline void writeText(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string readText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace tessivo::host::testing
