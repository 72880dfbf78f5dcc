// Shared between the CoreFoundation sources; not installed.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <string>

namespace tessivo::cf {

// Built-in type ids; registered classes get the following numbers.
inline constexpr CFTypeID kAllocatorTypeID = 1;
inline constexpr CFTypeID kBooleanTypeID = 2;
inline constexpr CFTypeID kNumberTypeID = 3;
inline constexpr CFTypeID kStringTypeID = 4;
inline constexpr CFTypeID kFirstRegisteredTypeID = 5;

extern const CFRuntimeClass kNumberClass;
extern const CFRuntimeClass kStringClass;

// Header of a C object, null for null.
inline const CFRuntimeBase *Base(CFTypeRef cf) { return static_cast<const CFRuntimeBase *>(cf); }

// Runs a describe callback into a std::string of any length.
std::string Describe(size_t (*describe)(CFTypeRef, char *, size_t), CFTypeRef cf);

}  // namespace tessivo::cf
