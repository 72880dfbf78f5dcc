// Jishin's offsets and shake on small images of either format, any strength,
// direction and offset, through the reference host's rectangle operations:
// every pixel must be the moved input or 0, the padding untouched, and every
// drawn offset within its range.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "fuzz_input.h"
#include "jishin/jishin_kernel.h"
#include "tessivo/frame/random.h"
#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/instance.h"

extern "C" uint32_t ModuleMain(HostCall *call);

namespace {

using tessivo::fuzz::FuzzInput;
using tessivo::host::Image;

[[noreturn]] void Fail(const char *what, long long a, long long b) {
  std::fprintf(stderr, "Jishin: %s (%lld, %lld)\n", what, a, b);
  std::abort();
}

const BitmapService *Service() {
  static const auto bundle = tessivo::host::Bundle::linked(&ModuleMain);
  static const auto instance = tessivo::host::Instance::create(*bundle, FourCC("jshn"));
  return instance->bitmapService();
}

Image Filled(uint32_t width, uint32_t height, uint32_t format, uint8_t salt) {
  Image image(width, height, format);
  uint8_t *bytes = image.mutableData();
  for (size_t i = 0; i < size_t{image.rowBytes()} * height; ++i) bytes[i] = static_cast<uint8_t>(i * 29 + salt) | 1u;
  return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = 1 + in.byte() % 40, height = 1 + in.byte() % 40;
  const uint32_t format = in.byte() % 2 == 0 ? tessivo::host::kGrey8 : tessivo::host::kARGB32;
  const float strength = in.real();
  const auto direction = static_cast<int32_t>(in.word());

  const uint32_t before = tessivo::CurrentRandomSeed();
  const tessivo::ShakeOffset drawn = tessivo::DrawShakeOffset(strength, width, height, direction);
  const int64_t rangeX = tessivo::ShakeRange(strength, width), rangeY = tessivo::ShakeRange(strength, height);
  if (rangeX < 1 || rangeY < 1) Fail("range below 1", rangeX, rangeY);
  if (drawn.dx <= -rangeX || drawn.dx >= rangeX || drawn.dy <= -rangeY || drawn.dy >= rangeY)
    Fail("offset outside its range", drawn.dx, drawn.dy);
  const int draws = (direction != 1) + (direction != 0);
  uint32_t seed = before;
  for (int i = 0; i < draws; ++i) seed = tessivo::AdvanceSeed(seed);
  if (seed != tessivo::CurrentRandomSeed()) Fail("draws per frame", direction, draws);

  // Any offset a draw can give, and the drawn one.
  const tessivo::ShakeOffset offset =
      in.byte() % 2 == 0 ? drawn
                         : tessivo::ShakeOffset{static_cast<int32_t>(in.word()) % (2 * int64_t{width} + 3),
                                                static_cast<int32_t>(in.word()) % (2 * int64_t{height} + 3)};
  const Image input = Filled(width, height, format, in.byte());
  Image output = Filled(width, height, format, 0x5A);
  const Image untouched = output;
  tessivo::ShakeImage(Service(), output.descriptor(), input.descriptor(), offset);

  const uint32_t used = width * (format == tessivo::host::kGrey8 ? 1 : 4);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t i = used; i < output.rowBytes(); ++i)
      if (output.row(y)[i] != untouched.row(y)[i]) Fail("padding written", y, i);
    for (uint32_t x = 0; x < width; ++x) {
      const int64_t sx = int64_t{x} + offset.dx, sy = int64_t{y} + offset.dy;
      const bool inside = sx >= 0 && sx < width && sy >= 0 && sy < height;
      const uint32_t expected = inside ? input.pixel(static_cast<uint32_t>(sx), static_cast<uint32_t>(sy)) : 0u;
      if (output.pixel(x, y) != expected) Fail("pixel differs from the moved input", x, y);
    }
  }
  return 0;
}
