#include "jishin_kernel.h"

#include <cmath>

#include "tessivo/frame/random.h"

namespace tessivo {

float ShakeStrength(float strength, int32_t mode, double time) {
  if (mode != 1) {
    return strength;
  }
  const double swell = (std::sin(time) * std::sin(0.123456 * time) + 0.7) * 0.5;
  const auto scaled = static_cast<float>(static_cast<double>(strength) * swell);
  return scaled < 0.0f ? 0.0f : scaled;
}

int64_t ShakeRange(float strength, uint32_t side) {
  const float a = strength * 0.25f;
  const float range = a * static_cast<float>(side) + 1.0f;
  if (!(range >= 1.0f)) {
    return 1;  // NaN (an infinite strength on an empty side); the range is never below 1 otherwise
  }
  constexpr float kLimit = 9223372036854775808.0f;  // 2^63
  return range >= kLimit ? INT64_MAX : static_cast<int64_t>(range);
}

ShakeOffset DrawShakeOffset(float strength, uint32_t width, uint32_t height, int32_t direction) {
  ShakeOffset offset;
  if (direction != 1) {
    offset.dx = int64_t{NextRandom()} % ShakeRange(strength, width);
  }
  if (direction != 0) {
    offset.dy = int64_t{NextRandom()} % ShakeRange(strength, height);
  }
  return offset;
}

namespace {

// One axis of the move: where the picture comes from, where it goes, and the
// strip it uncovers, as [begin, end) pairs.
struct AxisSpans {
  double sourceBegin, sourceEnd, destinationBegin, destinationEnd, stripBegin, stripEnd;
};

AxisSpans Spans(int64_t shift, uint32_t side) {
  const auto size = static_cast<double>(side);
  const auto d = static_cast<double>(shift);
  if (shift >= 0) {
    return {d, size, 0.0, size - d, size - d, size};
  }
  return {0.0, size + d, -d, size, 0.0, -d};
}

}  // namespace

ShakeRects ShakeRectangles(ShakeOffset offset, uint32_t width, uint32_t height) {
  const AxisSpans x = Spans(offset.dx, width);
  const AxisSpans y = Spans(offset.dy, height);
  ShakeRects rects;
  rects.columns = {0.0, x.stripBegin, static_cast<double>(height), x.stripEnd};
  // The row strip leaves out the columns the column strip already clears.
  rects.rows = {y.stripBegin, x.destinationBegin, y.stripEnd, x.destinationEnd};
  rects.source = {y.sourceBegin, x.sourceBegin, y.sourceEnd, x.sourceEnd};
  rects.destination = {y.destinationBegin, x.destinationBegin, y.destinationEnd, x.destinationEnd};
  return rects;
}

void ShakeImage(const BitmapService *service, const ImageDescriptor &output, const ImageDescriptor &input,
                ShakeOffset offset) {
  if (service == nullptr) {
    return;
  }
  const ShakeRects rects = ShakeRectangles(offset, output.width, output.height);
  const uint32_t format = output.pixelFormat;
  if (service->FillRect != nullptr) {
    service->FillRect(service->cookie, output.baseAddress, output.rowBytes, format, &rects.columns, 0, 0, 1.0f);
    service->FillRect(service->cookie, output.baseAddress, output.rowBytes, format, &rects.rows, 0, 0, 1.0f);
  }
  if (service->BlitRect != nullptr) {
    service->BlitRect(service->cookie, input.baseAddress, input.rowBytes, format, &rects.source, output.baseAddress,
                      output.rowBytes, format, &rects.destination, 1.0f);
  }
}

}  // namespace tessivo
