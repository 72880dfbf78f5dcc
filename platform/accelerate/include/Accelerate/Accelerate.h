/* The vImage subset: tent convolution (ARGB8888 and Planar8) and scaling
 * (ARGB8888), with the framework's types, flags and error codes.
 *
 * Tent convolution. A kernel of odd width 2rx + 1 and odd height 2ry + 1 has
 * the weight (rx + 1 - |i|) * (ry + 1 - |j|) at offset (i, j); the weights sum
 * to D = (rx + 1)^2 (ry + 1)^2. Each channel of a destination pixel is
 * (S + D / 2) / D with S the weighted sum of that channel over the kernel, in
 * exact integer arithmetic (round half up). The four channels of an ARGB8888
 * pixel are treated alike and independently, so their order in memory does
 * not matter. Destination pixel (x, y) is centred on source pixel
 * (x + srcOffsetToROI_X, y + srcOffsetToROI_Y); the destination's size is the
 * size of the region of interest.
 *
 * Exactly one edge mode flag is required:
 *   kvImageEdgeExtend           samples outside the source repeat its nearest edge pixel;
 *   kvImageBackgroundColorFill  samples outside the source are the background colour;
 *   kvImageTruncateKernel       samples outside are dropped and D becomes the sum of the
 *                               weights that remain (the result is still rounded half up);
 *   kvImageCopyInPlace          a pixel whose kernel reaches outside the source is copied.
 *
 * Choices where the framework's documentation is silent:
 *   - kernel_width and kernel_height must be odd and at most kTentKernelMaxSize (32767);
 *     otherwise kvImageInvalidKernelSize. With that bound every sum is exact in 64 bits.
 *   - a destination that overlaps the source gives kvImageOutOfPlaceOperationRequired;
 *   - row bytes smaller than width * bytes per pixel give kvImageInvalidRowBytes;
 *   - an offset at or past the source's width or height gives kvImageInvalidOffset_X/_Y,
 *     a region that runs past it kvImageRoiLargerThanInputBuffer;
 *   - an empty destination does nothing and returns kvImageNoError.
 * With kvImageGetTempBufferSize the functions check their arguments (kernel
 * size, flags, buffer pointers) and return the scratch size in bytes without
 * touching any pixel; a negative result is an error code. A null tempBuffer
 * makes the function allocate and free its own scratch.
 *
 * Scaling. vImageScale_ARGB8888 resamples each channel with a separable
 * Lanczos filter (three lobes; five with kvImageHighQualityResampling),
 * widened by the reduction ratio when shrinking. Destination pixel centres map
 * to source coordinates (x + 0.5) * srcWidth / destWidth - 0.5; samples
 * outside the source repeat its edge pixels (kvImageEdgeExtend is the only
 * edge behaviour; kvImageBackgroundColorFill is accepted and ignored, as the
 * function takes no colour). Filter taps are 14-bit fixed-point weights that
 * sum to exactly 16384; the horizontal pass keeps 7 fractional bits, the
 * vertical pass rounds half up and clamps to 0...255. Equal sizes copy the
 * image exactly. Source and destination must not overlap. */
#ifndef TESSIVO_ACCELERATE_H
#define TESSIVO_ACCELERATE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned long vImagePixelCount;
typedef long vImage_Error;
typedef uint32_t vImage_Flags;
typedef uint8_t Pixel_8;
typedef uint8_t Pixel_8888[4];

typedef struct vImage_Buffer {
  void *data;
  vImagePixelCount height;
  vImagePixelCount width;
  size_t rowBytes;
} vImage_Buffer;

enum {
  kvImageNoFlags = 0,
  kvImageLeaveAlphaUnchanged = 1,
  kvImageCopyInPlace = 2,
  kvImageBackgroundColorFill = 4,
  kvImageEdgeExtend = 8,
  kvImageDoNotTile = 16,
  kvImageHighQualityResampling = 32,
  kvImageTruncateKernel = 64,
  kvImageGetTempBufferSize = 128,
  kvImagePrintDiagnosticsToConsole = 256,
  kvImageNoAllocate = 512
};

enum {
  kvImageNoError = 0,
  kvImageRoiLargerThanInputBuffer = -21766,
  kvImageInvalidKernelSize = -21767,
  kvImageInvalidEdgeStyle = -21768,
  kvImageInvalidOffset_X = -21769,
  kvImageInvalidOffset_Y = -21770,
  kvImageMemoryAllocationError = -21771,
  kvImageNullPointerArgument = -21772,
  kvImageInvalidParameter = -21773,
  kvImageBufferSizeMismatch = -21774,
  kvImageUnknownFlagsBit = -21775,
  kvImageInternalError = -21776,
  kvImageInvalidRowBytes = -21777,
  kvImageOutOfPlaceOperationRequired = -21780
};

/* The largest kernel width or height the tent convolutions accept. */
enum { kTentKernelMaxSize = 32767 };

vImage_Error vImageTentConvolve_ARGB8888(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                         vImagePixelCount srcOffsetToROI_X, vImagePixelCount srcOffsetToROI_Y,
                                         uint32_t kernel_height, uint32_t kernel_width,
                                         const Pixel_8888 backgroundColor, vImage_Flags flags);

vImage_Error vImageTentConvolve_Planar8(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                        vImagePixelCount srcOffsetToROI_X, vImagePixelCount srcOffsetToROI_Y,
                                        uint32_t kernel_height, uint32_t kernel_width, Pixel_8 backgroundColor,
                                        vImage_Flags flags);

vImage_Error vImageScale_ARGB8888(const vImage_Buffer *src, const vImage_Buffer *dest, void *tempBuffer,
                                  vImage_Flags flags);

#ifdef __cplusplus
}
#endif

#endif
