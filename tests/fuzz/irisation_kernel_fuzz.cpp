// The colour fringe on small ARGB images with any displacement, including
// ones far beyond the image, from any controller factor: every destination
// word must be the per-pixel definition and the padding untouched. Reads
// outside the source are left to the sanitizers.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz_input.h"
#include "irisation/irisation_kernel.h"

namespace {

using tessivo::fuzz::FuzzInput;

int64_t Displacement(FuzzInput &in, uint32_t size) {
  switch (in.byte() % 4) {
    case 0: return static_cast<int8_t>(in.byte()) % static_cast<int64_t>(size + 3);
    case 1: return static_cast<int32_t>(in.word());
    case 2: return in.byte() & 1 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min() + 1;
    default: return tessivo::IrisDisplacement(size / 2, in.real());
  }
}

[[noreturn]] void Fail(const char *what, uint32_t width, uint32_t height, int64_t s, int64_t t) {
  std::fprintf(stderr, "Irisate: %s (%ux%u, s %lld, t %lld)\n", what, width, height, static_cast<long long>(s),
               static_cast<long long>(t));
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.byte() % 40, height = in.byte() % 12;
  const int64_t s = Displacement(in, width), t = Displacement(in, height);
  const float factor = in.real();
  const int64_t d = tessivo::IrisDisplacement(width / 2, factor);
  const double product = static_cast<double>(static_cast<float>(width / 2) * factor);
  if (std::isnan(product) ? d != 0 : std::fabs(product) <= width + 1.0 && d != static_cast<int64_t>(product))
    Fail("displacement is not trunc(half * factor)", width, height, d, 0);
  const uint32_t sourcePitch = width + in.byte() % 4, destinationPitch = width + in.byte() % 4;

  // Exactly the source rows the image covers, so any stray read leaves the buffer.
  std::vector<uint32_t> source(size_t{sourcePitch} * height);
  for (size_t i = 0; i < source.size(); ++i) source[i] = in.empty() ? static_cast<uint32_t>(i * 2654435761u) : in.word();
  std::vector<uint32_t> destination(size_t{destinationPitch} * height, 0x5A5A5A5Au);
  std::vector<uint32_t> expected = destination;
  tessivo::Irisate({source.data(), sourcePitch * 4, destination.data(), destinationPitch * 4, width, height}, s, t);

  const auto at = [&](int64_t x, int64_t y, int64_t sign, uint32_t mask) -> uint32_t {
    int64_t sx = 0, sy = 0;
    if (__builtin_add_overflow(x, sign * s, &sx) || __builtin_add_overflow(y, sign * t, &sy)) return 0;
    if (sx < 0 || sy < 0 || sx >= width || sy >= height) return 0;
    return source[static_cast<size_t>(sy) * sourcePitch + static_cast<size_t>(sx)] & mask;
  };
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x)
      expected[size_t{y} * destinationPitch + x] = (source[size_t{y} * sourcePitch + x] & 0xFF00FF00u) |
                                                    at(x, y, -1, 0x00FF0000u) | at(x, y, 1, 0xFFu);
  if (destination != expected) Fail("a word differs from the definition", width, height, s, t);
  return 0;
}
