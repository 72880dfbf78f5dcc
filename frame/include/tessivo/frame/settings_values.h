// Conversions between the host's CoreFoundation values and plain numbers,
// flags and packed ARGB colours. Readers never fail: a missing value gives the
// default, a wrongly typed one the default after a diagnostic on stdout.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <cstdint>

namespace tessivo {

uint8_t ReadBoolean(CFTypeRef value, uint8_t fallback);
double ReadDouble(CFTypeRef value, double fallback);
double ReadDoubleClamped(CFTypeRef value, double fallback, double minimum, double maximum);
int64_t ReadInt64(CFTypeRef value, int64_t fallback);
int64_t ReadInt64Clamped(CFTypeRef value, int64_t fallback, int64_t minimum, int64_t maximum);
uint32_t ReadUInt32(CFTypeRef value, uint32_t fallback);
uint32_t ReadUInt32Clamped(CFTypeRef value, uint32_t fallback, uint32_t minimum, uint32_t maximum);
int32_t ReadInt32(CFTypeRef value, int32_t fallback);
int32_t ReadInt32Clamped(CFTypeRef value, int32_t fallback, int32_t minimum, int32_t maximum);
uint32_t ReadPackedColor(CFTypeRef value, uint32_t fallback);
// Writes only the outputs given; a number stands for white at that opacity.
void ReadColorComponents(CFTypeRef value, float *alpha, float *red, float *green, float *blue);

CFBooleanRef MakeBoolean(uint8_t flag);
CFNumberRef MakeInt64(int64_t value);
CFNumberRef MakeUInt32(uint32_t value);
CFNumberRef MakeInt32(int32_t value);
CFNumberRef MakeDouble(double value);
CGColorRef MakePackedColor(uint32_t argb);
CGColorRef MakeColor(float alpha, float red, float green, float blue);

}  // namespace tessivo
