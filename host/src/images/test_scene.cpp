#include "tessivo/host/test_scene.h"

#include "tessivo/host/image_ops.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tessivo::host {

namespace {

constexpr uint32_t kBarColours[] = {0xFFFFFFFF, 0xFFFFFF00, 0xFF00FFFF, 0xFF00FF00,
                                    0xFFFF00FF, 0xFFFF0000, 0xFF0000FF, 0xFF000000};

// t modulo period, in [0, period): any time, negative or huge, gives a place
// in the cycle; a time that is not a number (or overflows) gives the start.
double cycle(double t, double period) {
  const double place = std::fmod(t, period);
  if (!std::isfinite(place)) return 0.0;
  return place < 0.0 ? place + period : place;
}

// An angle for sin and cos, which are finite for every finite argument.
double finite(double angle) { return std::isfinite(angle) ? angle : 0.0; }

uint32_t argb(uint32_t a, uint32_t r, uint32_t g, uint32_t b) { return a << 24 | r << 16 | g << 8 | b; }

// The scene's colour at (x, y): four horizontal bands.
//  top third: colour bars scrolling right with time;
//  middle third: a horizontal grey-to-colour gradient with a disc orbiting over it;
//  bottom third, left half: a checker whose squares shift with time;
//  bottom third, right half: a red-blue gradient whose alpha ramps from 0 to 255 and pulses.
uint32_t scenePixel(uint32_t x, uint32_t y, uint32_t w, uint32_t h, double t, double discX, double discY,
                    double radius) {
  const uint32_t third = std::max<uint32_t>(h / 3, 1);
  if (y < third) {
    const uint32_t barWidth = std::max<uint32_t>(w / 8, 1);
    const auto shift = static_cast<uint64_t>(cycle(t * 0.25, 1.0) * w);
    const uint64_t bar = ((x + w - shift % std::max<uint32_t>(w, 1)) / barWidth) % 8;
    return kBarColours[bar];
  }
  if (y < 2 * third) {
    const double dx = x + 0.5 - discX, dy = y + 0.5 - discY;
    if (dx * dx + dy * dy <= radius * radius) return 0xFFFF8020;
    const uint32_t ramp = w > 1 ? x * 255 / (w - 1) : 0;
    return argb(255, ramp, 255 - ramp, (ramp + y) & 0xFF);
  }
  if (x < w / 2) {
    const uint32_t square = std::max<uint32_t>(std::min(w, h) / 16, 2);
    const auto offset = static_cast<uint32_t>(cycle(t * 8.0, 2.0 * square));
    return (((x + offset) / square + y / square) & 1) != 0 ? 0xFFE0E0E0 : 0xFF202020;
  }
  const uint32_t span = std::max<uint32_t>(w - w / 2, 1);
  const uint32_t ramp = (x - w / 2) * 255 / span;
  const double pulse = 0.5 + 0.5 * std::sin(finite(t * 2.0));
  const auto alpha = static_cast<uint32_t>(ramp * (0.25 + 0.75 * pulse));
  return argb(alpha, 255 - ramp, 64, ramp);
}

}  // namespace

void renderTestScene(Image& into, uint32_t width, uint32_t height, double time, uint32_t pixelFormat) {
  into.reset(width, height, pixelFormat);
  if (into.empty()) return;
  const double third = std::max<uint32_t>(height / 3, 1);
  const double radius = std::max(2.0, std::min<double>(width, third) * 0.4);
  const double orbit = finite(time * 1.3);
  const double discX = width * (0.5 + 0.35 * std::cos(orbit));
  const double discY = third * 1.5 + third * 0.3 * std::sin(orbit);
  for (uint32_t y = 0; y < height; ++y) {
    uint8_t* row = into.mutableRow(y);
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t value = scenePixel(x, y, width, height, time, discX, discY, radius);
      if (pixelFormat == kGrey8)
        row[x] = luminance(value);
      else
        std::memcpy(row + size_t(x) * 4, &value, 4);
    }
  }
}

Image renderTestScene(uint32_t width, uint32_t height, double time, uint32_t pixelFormat) {
  Image image;
  renderTestScene(image, width, height, time, pixelFormat);
  return image;
}

}  // namespace tessivo::host
