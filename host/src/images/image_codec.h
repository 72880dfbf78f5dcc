// The still-image codec: the image library behind two functions in a shared
// library of its own (libtessivo_image_codec.so, beside the bundle), loaded on
// the first still read or written. The image library pulls in some 250 shared
// libraries, a sixth of a second at every start; commands that touch no still
// (list, info, panel, render, studio) do not pay it. The codec knows nothing of
// host images: it reads and writes interleaved 8-bit samples.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::host::codec {

struct DecodeRequest {
  std::string_view bytes;
  std::string format;  // the library's name: "png", "jpeg", "tiff", "webp", "openexr", ...
  std::string name;    // passed to the library for its messages
  // Called with the stated size before any pixel is read; a non-empty answer
  // refuses the image with that message.
  std::function<std::string(int width, int height, int depth)> checkSize;
};

enum class Failure { None, Unsupported, Header, Size, Channels, Data };

struct DecodeResult {
  Failure failure = Failure::None;
  std::string detail;                         // the library's words, on one line (or checkSize's)
  int width = 0, height = 0, channels = 0;    // channels read: 1 to 4
  int alpha = -1;                             // which of them is alpha, or -1
  std::vector<std::uint8_t> samples;          // width x height x channels, row after row
};

struct EncodeRequest {
  std::string format;
  int width = 0, height = 0, channels = 0;  // 1 grey, 3 RGB, 4 RGBA (unassociated)
  const std::uint8_t *samples = nullptr;    // width x height x channels
  int pngLevel = 2;
  int quality = 90;
};

struct EncodeResult {
  std::string error;  // empty on success
  std::string bytes;
};

using DecodeFunction = void (*)(const DecodeRequest &, DecodeResult &);
using EncodeFunction = void (*)(const EncodeRequest &, EncodeResult &);

inline constexpr const char *kLibraryName = "libtessivo_image_codec.so";
inline constexpr const char *kDecodeSymbol = "tessivo_image_decode";
inline constexpr const char *kEncodeSymbol = "tessivo_image_encode";

}  // namespace tessivo::host::codec
