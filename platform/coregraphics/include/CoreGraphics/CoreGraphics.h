/* The CoreGraphics colour subset: device colour spaces and colours. */
#ifndef TESSIVO_COREGRAPHICS_H
#define TESSIVO_COREGRAPHICS_H

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef double CGFloat;
typedef struct CGColorSpace *CGColorSpaceRef;
typedef struct CGColor *CGColorRef;

CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void);
CGColorSpaceRef CGColorSpaceCreateDeviceGray(void);
size_t CGColorSpaceGetNumberOfComponents(CGColorSpaceRef space);
CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space);
void CGColorSpaceRelease(CGColorSpaceRef space);
CFTypeID CGColorSpaceGetTypeID(void);

/* components holds the space's components followed by alpha. */
CGColorRef CGColorCreate(CGColorSpaceRef space, const CGFloat *components);
CGColorRef CGColorRetain(CGColorRef color);
void CGColorRelease(CGColorRef color);
size_t CGColorGetNumberOfComponents(CGColorRef color);
const CGFloat *CGColorGetComponents(CGColorRef color);
CGFloat CGColorGetAlpha(CGColorRef color);
CGColorSpaceRef CGColorGetColorSpace(CGColorRef color);
CFTypeID CGColorGetTypeID(void);

#ifdef __cplusplus
}
#endif

#endif
