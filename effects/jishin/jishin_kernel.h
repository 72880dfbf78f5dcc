// The earthquake shake: a random offset per frame, the picture moved by it
// through the host's rectangle operations and the uncovered strips cleared.
#pragma once

#include <marlix/ports.h>

#include <cstdint>

namespace tessivo {

// The strength a frame shakes with. In mode 1 ("Realistic") it swells and
// fades with the frame time T: strength * ((sin T * sin(0.123456 T) + 0.7) * 0.5)
// in double, rounded to float, a negative result giving 0. Other modes keep it.
float ShakeStrength(float strength, int32_t mode, double time);

// How far the picture moves: it is drawn by (-dx, -dy).
struct ShakeOffset {
  int64_t dx = 0;
  int64_t dy = 0;
};

// The number an axis of `side` pixels bounds its draw with:
// trunc(strength * 0.25f * side + 1.0f) in single precision, taken exactly;
// 1 when the product is not a number, and at most 2^63 - 1.
int64_t ShakeRange(float strength, uint32_t side);

// Draws the offset from the shared sequence: dx first unless direction is 1,
// then dy unless direction is 0, each the signed remainder of the draw by its
// range. An axis that does not shake draws nothing and stays 0.
ShakeOffset DrawShakeOffset(float strength, uint32_t width, uint32_t height, int32_t direction);

// The rectangles (top, left, bottom, right) of an offset on a width x height
// frame: the uncovered column strip over the full height, the uncovered row
// strip beside it, and where the moved picture comes from and goes to.
// Offsets of a whole side or more give empty or out-of-frame rectangles; the
// host clips them.
struct ShakeRects {
  HostRect columns;
  HostRect rows;
  HostRect source;
  HostRect destination;
};
ShakeRects ShakeRectangles(ShakeOffset offset, uint32_t width, uint32_t height);

// Clears both strips of the output and copies the moved input into it, with
// the bitmap service's FillRect (zero colour, opacity 1) and BlitRect
// (opacity 1), both images given the output's pixel format.
void ShakeImage(const BitmapService *service, const ImageDescriptor &output, const ImageDescriptor &input,
                ShakeOffset offset);

}  // namespace tessivo
