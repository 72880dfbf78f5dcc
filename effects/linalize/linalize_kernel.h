// Linalize's strokes: short horizontal and vertical lines at random places
// on a canvas, each in the colour of the input pixel under its centre.
#pragma once

#include <marlix/ports.h>

#include <cstdint>

namespace tessivo {

// Stroke pairs per frame: trunc(speed * 3000.0f) in single precision. A
// product that is no unsigned 32-bit number (negative, NaN, 2^32 or more)
// gives none.
uint32_t StrokeCount(float speed);

// One stroke's span on one axis: [begin, end) around centre with the given
// half size, clipped to [0, side). Never overflows, whatever the half size.
struct StrokeSpan {
  uint32_t begin;
  uint32_t end;
};
StrokeSpan ClipStroke(uint32_t centre, uint32_t half, uint32_t side);

// Paints count pairs of strokes onto canvas. Each pair draws four numbers
// from the shared sequence: a centre (a mod W, b mod H, unsigned) for a
// horizontal stroke with half-length lineLength / 2 along x and half-width
// lineWidth / 2 along y, then another centre for a vertical stroke with the
// halves exchanged. Every pixel of a stroke becomes the whole input pixel at
// its centre. Canvas and input share the canvas's format (0 or 2); any other
// format, or an empty canvas, paints and draws nothing. A canvas is as wide
// as both its width and its row bytes allow. An input of another format, or
// a centre the input does not have, paints nothing (the numbers are still
// drawn): the input should be the canvas's size and format.
void PaintStrokes(const ImageDescriptor &canvas, const ImageDescriptor &input, uint32_t count, uint32_t lineLength,
                  uint32_t lineWidth);

}  // namespace tessivo
