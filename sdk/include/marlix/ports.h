/* Requests, values and images: the HostPortApi that places, reads and
 * withdraws requests on a module's ports, and the BitmapService that gives
 * access to host-owned images. */
#ifndef MARLIX_PORTS_H
#define MARLIX_PORTS_H

#include <stdint.h>

#include "marlix/layout_check.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Pixel formats of ImageDescriptor.pixelFormat. */
enum PixelFormat { kPixelFormatPlanar8 = 0, kPixelFormatARGB8888 = 2 };

/* Opaque handle of a host-owned image. */
typedef struct HostImage HostImage;

/* Where an image's pixels are and how they are laid out. Host-owned; the
 * host's own fields are copied unchanged when a module copies a descriptor. */
typedef struct ImageDescriptor {
  double time; /* forwarded as the value of controller requests */
  uint8_t host8[12];
  uint32_t rowBytes;
  uint32_t host24;
  uint32_t alignPad;
  void *baseAddress; /* first pixel row */
  uint8_t host40[8];
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat; /* PixelFormat */
  uint32_t host60;
} ImageDescriptor;
MARLIX_CHECK_OFFSET(ImageDescriptor, rowBytes, 20);
MARLIX_CHECK_OFFSET(ImageDescriptor, baseAddress, 32);
MARLIX_CHECK_OFFSET(ImageDescriptor, width, 48);
MARLIX_CHECK_OFFSET(ImageDescriptor, height, 52);
MARLIX_CHECK_OFFSET(ImageDescriptor, pixelFormat, 56);
MARLIX_CHECK_SIZE(ImageDescriptor, 64);

/* One value or one request on one port. */
typedef struct ValueRecord {
  uintptr_t stamp;  /* slot 0: request identity, copied into derived requests */
  uintptr_t type;   /* slot 1: 'imag', 'ddes' or 'ctrl' */
  uintptr_t word2;  /* slot 2: copied unchanged */
  void *parameter;  /* slot 3: wanted ImageDescriptor, time double, or arrived value */
  uintptr_t word4;  /* slot 4: copied unchanged */
  void *data;       /* slot 5: delivered HostImage or float*, or the image to write */
  void *cache;      /* slot 6: per-output cache of a module's own request */
  ImageDescriptor *destination; /* slot 7: descriptor of the delivered or output image */
  uintptr_t zero[6];            /* slots 8 to 13 */
} ValueRecord;
MARLIX_CHECK_OFFSET(ValueRecord, parameter, 3 * 8);
MARLIX_CHECK_OFFSET(ValueRecord, data, 5 * 8);
MARLIX_CHECK_OFFSET(ValueRecord, cache, 6 * 8);
MARLIX_CHECK_OFFSET(ValueRecord, destination, 7 * 8);
MARLIX_CHECK_SIZE(ValueRecord, 14 * 8);

/* The record in HostCall.target for render-time messages. */
typedef struct HostEvent {
  uintptr_t hostWords[16];
  uintptr_t port;     /* slot 16: port index (InputValueArrived) */
  ValueRecord *value; /* slot 17: the output request, or the arrived value */
} HostEvent;
MARLIX_CHECK_OFFSET(HostEvent, port, 16 * 8);
MARLIX_CHECK_OFFSET(HostEvent, value, 17 * 8);

typedef uint32_t (*RegisterRecordFn)(void *cookie, const void *record);
typedef uint32_t (*CurrentStampFn)(void *cookie);
/* Non-zero when the host placed the request; 0 when the port cannot deliver.
 * The request and what its parameter points at may live on the caller's stack
 * (the On/Off probe's do) and are gone once the call returns: the host copies
 * what it needs and writes whatever it answers there before it returns, and
 * keeps no pointer into them. */
typedef uint32_t (*RequestInputFn)(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request);
/* Fills the record; sets *done (now or later, from any thread) and *present. */
typedef uint32_t (*ReadInputFn)(void *cookie, uint32_t port, uint32_t zero, ValueRecord *record,
                                uint8_t *done, uint8_t *present);
typedef uint32_t (*CancelInputFn)(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request);

typedef struct HostPortApi {
  void *cookie;                    /* slot 0: identifies the instance */
  RegisterRecordFn RegisterRecord; /* slot 1 */
  uintptr_t unused2[6];
  CurrentStampFn CurrentStamp; /* slot 8 */
  RequestInputFn RequestInput; /* slot 9 */
  uintptr_t unused10;
  ReadInputFn ReadInput;     /* slot 11 */
  CancelInputFn CancelInput; /* slot 12 */
} HostPortApi;
MARLIX_CHECK_OFFSET(HostPortApi, RegisterRecord, 1 * 8);
MARLIX_CHECK_OFFSET(HostPortApi, CurrentStamp, 8 * 8);
MARLIX_CHECK_OFFSET(HostPortApi, RequestInput, 9 * 8);
MARLIX_CHECK_OFFSET(HostPortApi, ReadInput, 11 * 8);
MARLIX_CHECK_OFFSET(HostPortApi, CancelInput, 12 * 8);

/* A rectangle in pixels, (top, left, bottom, right); bottom and right exclusive. */
typedef struct HostRect {
  double top, left, bottom, right;
} HostRect;

/* Copies the source into the destination at the size of dstDesc. */
typedef uint32_t (*CopyImageFn)(void *cookie, HostImage *src, const ImageDescriptor *srcDesc, HostImage *dst,
                                const ImageDescriptor *dstDesc);
/* Pixels of a source image, or null. */
typedef ImageDescriptor *(*LockImageFn)(void *cookie, HostImage *image);
/* Allocates the output at the size and format of desc; its pixels, or null. */
typedef ImageDescriptor *(*CreateImageFn)(void *cookie, HostImage *image, const ImageDescriptor *desc);
/* Identity of an image's current contents. */
typedef uint32_t (*ImageStampFn)(void *cookie, HostImage *image);
/* Called once before a module writes the destination pixels. */
typedef uint32_t (*PrepareDestinationFn)(void *cookie, ImageDescriptor *locked, const ImageDescriptor *desc,
                                         const double rect[4], uintptr_t zero1, uintptr_t zero2, float one);
/* The host's cache image kept for an output request between frames (never null
 * for a request the host made; LockImage on it is null until it has contents). */
typedef HostImage *(*CacheImageFn)(void *cookie, const ValueRecord *request);
/* Copies the cache image into the output at desc's size, allocating the output. */
typedef uint32_t (*CopyCacheToOutputFn)(void *cookie, HostImage *cache, HostImage *output,
                                        const ImageDescriptor *desc);
/* Pixels of an output image already created or copied into, for writing; or null. */
typedef ImageDescriptor *(*OpenForWritingFn)(void *cookie, HostImage *output);
/* Fills rect of a host image's pixels with a colour (two words) at an opacity. */
typedef uint32_t (*FillRectFn)(void *cookie, void *pixels, uint32_t rowBytes, uint32_t pixelFormat,
                               const HostRect *rect, uintptr_t color0, uintptr_t color1, float opacity);
/* Blends srcRect of one host image's pixels into dstRect of another's. */
typedef uint32_t (*BlitRectFn)(void *cookie, const void *srcPixels, uint32_t srcRowBytes, uint32_t srcFormat,
                               const HostRect *srcRect, void *dstPixels, uint32_t dstRowBytes, uint32_t dstFormat,
                               const HostRect *dstRect, float opacity);

typedef struct BitmapService {
  void *cookie; /* slot 0 */
  uintptr_t unused1[6];
  CopyImageFn CopyImage; /* slot 7 */
  uintptr_t unused8;
  LockImageFn LockImage;     /* slot 9 */
  CreateImageFn CreateImage; /* slot 10 */
  uintptr_t unused11;
  ImageStampFn ImageStamp;                 /* slot 12 */
  CacheImageFn CacheImage;                 /* slot 13 */
  CopyCacheToOutputFn CopyCacheToOutput;   /* slot 14 */
  OpenForWritingFn OpenForWriting;         /* slot 15 */
  PrepareDestinationFn PrepareDestination; /* slot 16 */
  FillRectFn FillRect;                     /* slot 17 */
  BlitRectFn BlitRect;                     /* slot 18 */
} BitmapService;
MARLIX_CHECK_OFFSET(BitmapService, CopyImage, 7 * 8);
MARLIX_CHECK_OFFSET(BitmapService, LockImage, 9 * 8);
MARLIX_CHECK_OFFSET(BitmapService, CreateImage, 10 * 8);
MARLIX_CHECK_OFFSET(BitmapService, ImageStamp, 12 * 8);
MARLIX_CHECK_OFFSET(BitmapService, CacheImage, 13 * 8);
MARLIX_CHECK_OFFSET(BitmapService, CopyCacheToOutput, 14 * 8);
MARLIX_CHECK_OFFSET(BitmapService, OpenForWriting, 15 * 8);
MARLIX_CHECK_OFFSET(BitmapService, PrepareDestination, 16 * 8);
MARLIX_CHECK_OFFSET(BitmapService, FillRect, 17 * 8);
MARLIX_CHECK_OFFSET(BitmapService, BlitRect, 18 * 8);

/* Blur's per-output cache: the parameters of the last render. */
typedef struct OutputCache {
  float lastX;            /* -10.0 when created */
  float lastY;            /* -10.0 when created */
  uint8_t lastMode;       /* 0 */
  uint8_t reserved[3];
  uint32_t lastStamp;     /* 0 */
} OutputCache;
MARLIX_CHECK_OFFSET(OutputCache, lastMode, 8);
MARLIX_CHECK_OFFSET(OutputCache, lastStamp, 12);
MARLIX_CHECK_SIZE(OutputCache, 16);

#ifdef __cplusplus
}
#endif

#endif
