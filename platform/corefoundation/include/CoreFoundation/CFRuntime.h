/* The runtime beneath every CoreFoundation object, for libraries that add their
 * own object types (CoreGraphics): the common header, class registration and
 * instance creation. Not needed by code that only uses the objects. */
#ifndef TESSIVO_CFRUNTIME_H
#define TESSIVO_CFRUNTIME_H

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The first member of every object. Only the runtime touches the fields; the
 * retain count is read and written atomically. */
typedef struct __CFRuntimeBase {
  CFTypeID _typeID;
  int64_t _retainCount;
  uint32_t _flags; /* _kCFRuntimeImmortal: retain and release do nothing */
  uint32_t _reserved;
} CFRuntimeBase;

enum { _kCFRuntimeNotATypeID = 0 };
enum { _kCFRuntimeImmortal = 1u };

typedef struct CFRuntimeClass {
  /* Used in the default description "<className 0x...>". */
  const char *className;
  /* Called once when the retain count reaches zero, before the memory is
   * freed; releases what the object holds. May be null. */
  void (*finalize)(CFTypeRef cf);
  /* Called by CFEqual for two distinct objects of this type. Null means
   * identity only. */
  Boolean (*equal)(CFTypeRef cf1, CFTypeRef cf2);
  /* The one-line description CFShow prints (without the newline), written
   * snprintf-style: at most size bytes including the terminating zero; returns
   * the full length. Null means "<className 0x...>". */
  size_t (*describe)(CFTypeRef cf, char *buffer, size_t size);
} CFRuntimeClass;

/* Registers a class (kept by pointer: it must outlive every object) and returns
 * its new type id, or _kCFRuntimeNotATypeID when the table is full. Thread-safe. */
CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass *cls);

/* A new zero-filled object of sizeof(CFRuntimeBase) + extraBytes bytes whose
 * header holds typeID and a retain count of one; null if typeID is not
 * registered or memory runs out. */
CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef allocator, CFTypeID typeID, CFIndex extraBytes);

#ifdef __cplusplus
}
#endif

#endif
