// A generated, animated test picture that makes every effect visible: moving
// colour bars, a gradient, a moving disc, a checker and a region of varying
// alpha. Deterministic for a given size and time.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>

namespace tessivo::host {

// The scene at time t (seconds) in either pixel format (grey is the luminance of the ARGB scene).
Image renderTestScene(uint32_t width, uint32_t height, double time, uint32_t pixelFormat = kARGB32);
// Renders into an existing image (reallocated to the size and format given).
void renderTestScene(Image& into, uint32_t width, uint32_t height, double time, uint32_t pixelFormat);

}  // namespace tessivo::host
