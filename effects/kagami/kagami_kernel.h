// The kaleidoscope mirror. For an output of W x H pixels, pixel (x, y) is
// taken to polar coordinates about the centre,
//   u = fmaf(1/W, x, -0.5), v = fmaf(1/H, y, -0.5), r = sqrtf(u*u + v*v),
// its angle folded into a mirrored wedge of period P,
//   a = (float)fmod((float)(atan2(v, u) + 2pi), P), a = P - a when a > P/2,
// turned, theta = a + turn (float), and sampled at
//   column trunc(((float)(r * cos theta) + 0.5) * W),
//   row    trunc(((float)(r * sin theta) + 0.5) * H),
// with 0 (transparent black) where that lies outside. Steps marked float are
// single precision, the others double; the two fmaf are fused.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>

namespace tessivo {

// The wedge period (the float with bits 0x3FD4ABEE), its half, and 2pi, all as floats.
inline constexpr float kWedgePeriod = std::bit_cast<float>(0x3FD4ABEEu);
inline constexpr float kHalfWedge = kWedgePeriod / 2.0f;
inline constexpr float kTwoPi = 6.2831854820251465f;

// The turn for a strength: (strength - 2) * 2pi in double, rounded to float.
float MirrorTurn(float strength);

// The two images: each buffer's row bytes and number of rows, and the
// output's width and height, which the mapping uses for both. Pixels are
// ARGB words in any format but 0, bytes in format 0. Only pixels inside both
// buffers are read or written: rows end at their row bytes, and a source
// position past the source's rows or row bytes gives 0.
struct MirrorImage {
  const void *source;
  uint32_t sourceRowBytes;
  uint32_t sourceRows;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t destinationRows;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;
};

// Runs the mirror. Keeps the per-pixel radius and folded angle of the last
// size between frames (they depend on the size only), so a frame computes
// only the turn and the sampling, and the source offset of every pixel of the
// last frame, so a frame with the same turn, sizes and source stride only
// gathers; the sine and cosine come from a vector
// approximation whose result is used only where it provably gives the same
// source pixel as the library's, the rest from the library.
class MirrorKernel {
 public:
  MirrorKernel();
  ~MirrorKernel();
  MirrorKernel(const MirrorKernel &) = delete;
  MirrorKernel &operator=(const MirrorKernel &) = delete;

  void run(const MirrorImage &image, float strength);

  struct Tables;

 private:
  std::unique_ptr<Tables> tables_;
};

}  // namespace tessivo
