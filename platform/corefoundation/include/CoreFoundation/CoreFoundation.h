/* The CoreFoundation subset the bundle and the host use: reference-counted
 * numbers, the two shared booleans, strings, type ids and CFShow. */
#ifndef TESSIVO_COREFOUNDATION_H
#define TESSIVO_COREFOUNDATION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean;
typedef unsigned long CFTypeID;
typedef signed long CFIndex;
typedef unsigned long CFOptionFlags;
typedef const void *CFTypeRef;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef const struct __CFString *CFStringRef;
typedef const struct __CFNumber *CFNumberRef;
typedef const struct __CFBoolean *CFBooleanRef;
typedef uint32_t CFStringEncoding;

extern const CFAllocatorRef kCFAllocatorDefault;

typedef enum {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
} CFComparisonResult;

/* CFStringCompare options. */
enum { kCFCompareCaseInsensitive = 1 };

enum { kCFStringEncodingASCII = 0x0600, kCFStringEncodingUTF8 = 0x08000100 };

typedef enum {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14,
  kCFNumberNSIntegerType = 15,
  kCFNumberCGFloatType = 16,
  kCFNumberMaxType = 16
} CFNumberType;

/* Every object: type id, retain count. */
CFTypeID CFGetTypeID(CFTypeRef cf);
CFTypeRef CFRetain(CFTypeRef cf);
void CFRelease(CFTypeRef cf);
CFIndex CFGetRetainCount(CFTypeRef cf);
Boolean CFEqual(CFTypeRef a, CFTypeRef b);
/* Prints a description of the object and a newline on standard output. */
void CFShow(CFTypeRef obj);

/* Numbers keep the type they were created with (integers widened to 64 bits,
 * floating types to double). CFNumberGetValue converts, saturating at the
 * target's range (NaN gives 0) and truncating towards zero, and returns
 * whether the value came across exactly. */
CFTypeID CFNumberGetTypeID(void);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void *valuePtr);
CFNumberType CFNumberGetType(CFNumberRef number);
CFIndex CFNumberGetByteSize(CFNumberRef number);
Boolean CFNumberIsFloatType(CFNumberRef number);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr);

/* The two shared booleans; retain and release do not free them. */
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFTypeID CFStringGetTypeID(void);
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char *cStr, CFStringEncoding encoding);
CFIndex CFStringGetLength(CFStringRef theString);
/* Copies the string with its terminating zero; false when it does not fit. */
Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize, CFStringEncoding encoding);
/* The string's bytes when they are stored as a C string, else null. */
const char *CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2, CFOptionFlags compareOptions);

/* A constant string for a literal: created once, never freed. */
CFStringRef __CFStringMakeConstantString(const char *cStr);
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

#ifdef __cplusplus
}
#endif

#endif
