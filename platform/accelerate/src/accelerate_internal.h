// Argument checks the vImage functions share.
#pragma once

#include <Accelerate/Accelerate.h>

#include <cstdint>
#include <utility>

namespace tessivo::accelerate {

inline constexpr vImage_Flags kKnownFlags =
    kvImageLeaveAlphaUnchanged | kvImageCopyInPlace | kvImageBackgroundColorFill | kvImageEdgeExtend |
    kvImageDoNotTile | kvImageHighQualityResampling | kvImageTruncateKernel | kvImageGetTempBufferSize |
    kvImagePrintDiagnosticsToConsole | kvImageNoAllocate;

// Widths and heights beyond this are refused with kvImageInvalidParameter, so
// that every size computation fits in 64 bits.
inline constexpr vImagePixelCount kMaxDimension = (vImagePixelCount{1} << 31) - 1;

// kvImageNullPointerArgument for a non-empty buffer without pixels,
// kvImageInvalidRowBytes when a row cannot hold width pixels.
inline vImage_Error CheckBuffer(const vImage_Buffer &buffer, size_t bytesPerPixel) {
  if (buffer.width == 0 || buffer.height == 0) return kvImageNoError;
  if (buffer.data == nullptr) return kvImageNullPointerArgument;
  if (buffer.rowBytes < buffer.width * bytesPerPixel) return kvImageInvalidRowBytes;
  return kvImageNoError;
}

// Whether the bytes two buffers cover intersect.
inline bool Overlap(const vImage_Buffer &a, const vImage_Buffer &b, size_t bytesPerPixel) {
  auto span = [bytesPerPixel](const vImage_Buffer &buffer) {
    const auto begin = reinterpret_cast<uintptr_t>(buffer.data);
    return std::pair{begin, begin + (buffer.height - 1) * buffer.rowBytes + buffer.width * bytesPerPixel};
  };
  const auto [aBegin, aEnd] = span(a);
  const auto [bBegin, bEnd] = span(b);
  return aBegin < bEnd && bBegin < aEnd;
}

}  // namespace tessivo::accelerate
