// CFNumber: integers kept as int64_t, floating values as double, plus the
// canonical type the number was created with.
#include "cf_internal.h"

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

using namespace tessivo::cf;

struct __CFNumber {
  CFRuntimeBase base;
  CFNumberType type;  // canonical: SInt8/16/32/64, Float32/64
  union {
    int64_t i;
    double d;
  } value;
};

namespace {

bool IsFloatCanonical(CFNumberType t) { return t == kCFNumberFloat32Type || t == kCFNumberFloat64Type; }

// The fixed-size type a C type maps to on LP64; 0 for an unknown type.
CFNumberType Canonical(CFNumberType t) {
  switch (t) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return kCFNumberSInt64Type;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return kCFNumberFloat64Type;
  }
  return static_cast<CFNumberType>(0);
}

CFIndex ByteSize(CFNumberType canonical) {
  switch (canonical) {
    case kCFNumberSInt8Type:
      return 1;
    case kCFNumberSInt16Type:
      return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type:
      return 4;
    default:
      return 8;
  }
}

const char *TypeName(CFNumberType canonical) {
  switch (canonical) {
    case kCFNumberSInt8Type:
      return "kCFNumberSInt8Type";
    case kCFNumberSInt16Type:
      return "kCFNumberSInt16Type";
    case kCFNumberSInt32Type:
      return "kCFNumberSInt32Type";
    case kCFNumberSInt64Type:
      return "kCFNumberSInt64Type";
    case kCFNumberFloat32Type:
      return "kCFNumberFloat32Type";
    default:
      return "kCFNumberFloat64Type";
  }
}

template <class T>
T Load(const void *p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

template <class T>
void Store(void *p, T v) {
  std::memcpy(p, &v, sizeof v);
}

// Integer to a signed integer type: saturates.
template <class T>
Boolean IntToInt(int64_t v, void *out) {
  constexpr int64_t lo = std::numeric_limits<T>::min();
  constexpr int64_t hi = std::numeric_limits<T>::max();
  if (v < lo) return Store<T>(out, static_cast<T>(lo)), 0;
  if (v > hi) return Store<T>(out, static_cast<T>(hi)), 0;
  Store<T>(out, static_cast<T>(v));
  return 1;
}

// Floating to a signed integer type: truncates toward zero, saturates, NaN -> 0.
template <class T>
Boolean DoubleToInt(double d, void *out) {
  constexpr double lo = static_cast<double>(std::numeric_limits<T>::min());  // -2^(n-1), exact
  constexpr double hiExclusive = -lo;                                        // 2^(n-1), exact
  if (std::isnan(d)) return Store<T>(out, T{0}), 0;
  if (d >= hiExclusive) return Store<T>(out, std::numeric_limits<T>::max()), 0;
  if (d < lo) return Store<T>(out, std::numeric_limits<T>::min()), 0;
  double t = std::trunc(d);
  Store<T>(out, static_cast<T>(t));
  return t == d ? 1 : 0;
}

// Double to float without relying on out-of-range conversion (undefined in C++):
// values that round beyond FLT_MAX become infinities, as IEEE rounding would give.
float DoubleToFloat(double d) {
  constexpr double overflow = 0x1.ffffffp127;  // halfway between FLT_MAX and 2^128: rounds up
  if (d >= overflow) return std::numeric_limits<float>::infinity();
  if (d <= -overflow) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(d);
}

// Whether an integer converted to floating type F comes back unchanged.
template <class F>
bool IntRoundTrips(int64_t v, F f) {
  if (f >= static_cast<F>(0x1p63)) return false;  // v < 2^63 always
  return static_cast<int64_t>(f) == v;
}

Boolean GetValue(const __CFNumber *n, CFNumberType target, void *out) {
  bool isFloat = IsFloatCanonical(n->type);
  int64_t i = n->value.i;
  double d = n->value.d;
  switch (target) {
    case kCFNumberSInt8Type:
      return isFloat ? DoubleToInt<int8_t>(d, out) : IntToInt<int8_t>(i, out);
    case kCFNumberSInt16Type:
      return isFloat ? DoubleToInt<int16_t>(d, out) : IntToInt<int16_t>(i, out);
    case kCFNumberSInt32Type:
      return isFloat ? DoubleToInt<int32_t>(d, out) : IntToInt<int32_t>(i, out);
    case kCFNumberSInt64Type:
      return isFloat ? DoubleToInt<int64_t>(d, out) : (Store<int64_t>(out, i), Boolean{1});
    case kCFNumberFloat32Type: {
      if (isFloat) {
        float f = DoubleToFloat(d);
        Store<float>(out, f);
        return (static_cast<double>(f) == d || std::isnan(d)) ? 1 : 0;
      }
      float f = static_cast<float>(i);
      Store<float>(out, f);
      return IntRoundTrips(i, f) ? 1 : 0;
    }
    case kCFNumberFloat64Type: {
      if (isFloat) return Store<double>(out, d), 1;
      double f = static_cast<double>(i);
      Store<double>(out, f);
      return IntRoundTrips(i, f) ? 1 : 0;
    }
    default:
      return 0;
  }
}

// Exact comparison of an integer with a double (no rounding of either side).
bool IntEqualsDouble(int64_t i, double d) {
  if (!(d >= -0x1p63 && d < 0x1p63)) return false;  // also rejects NaN
  if (std::trunc(d) != d) return false;
  return static_cast<int64_t>(d) == i;
}

Boolean NumberEqual(CFTypeRef a, CFTypeRef b) {
  const auto *x = static_cast<const __CFNumber *>(a);
  const auto *y = static_cast<const __CFNumber *>(b);
  bool xf = IsFloatCanonical(x->type), yf = IsFloatCanonical(y->type);
  if (!xf && !yf) return x->value.i == y->value.i;
  if (xf && yf) {
    if (std::isnan(x->value.d) && std::isnan(y->value.d)) return 1;  // CF: NaN equals NaN
    return x->value.d == y->value.d;
  }
  return xf ? IntEqualsDouble(y->value.i, x->value.d) : IntEqualsDouble(x->value.i, y->value.d);
}

// Shortest text that reads back as the same value in the number's own
// precision (float for Float32), with an explicit sign.
std::string FormatFloating(double d, bool asFloat) {
  if (std::isnan(d)) return "nan";
  char buffer[64];
  buffer[0] = std::signbit(d) ? '-' : '+';
  auto result = asFloat ? std::to_chars(buffer + 1, buffer + sizeof buffer, static_cast<float>(std::fabs(d)))
                        : std::to_chars(buffer + 1, buffer + sizeof buffer, std::fabs(d));
  return std::string(buffer, result.ptr);
}

size_t DescribeNumber(CFTypeRef cf, char *buffer, size_t size) {
  const auto *n = static_cast<const __CFNumber *>(cf);
  std::string value;
  if (IsFloatCanonical(n->type)) {
    value = FormatFloating(n->value.d, n->type == kCFNumberFloat32Type);
  } else {
    char text[32];
    std::snprintf(text, sizeof text, "%+" PRId64, n->value.i);
    value = text;
  }
  int written = std::snprintf(buffer, size, "<CFNumber %p [%p]>{value = %s, type = %s}", cf,
                              static_cast<const void *>(kCFAllocatorDefault), value.c_str(), TypeName(n->type));
  return written < 0 ? 0 : static_cast<size_t>(written);
}

}  // namespace

namespace tessivo::cf {
constexpr CFRuntimeClass kNumberClass = {"CFNumber", nullptr, NumberEqual, DescribeNumber};
}

extern "C" {

CFTypeID CFNumberGetTypeID(void) { return kNumberTypeID; }

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void *valuePtr) {
  CFNumberType canonical = Canonical(theType);
  if (canonical == 0 || valuePtr == nullptr) return nullptr;
  auto *n = static_cast<__CFNumber *>(const_cast<void *>(
      _CFRuntimeCreateInstance(allocator, kNumberTypeID, sizeof(__CFNumber) - sizeof(CFRuntimeBase))));
  if (n == nullptr) return nullptr;
  n->type = canonical;
  switch (canonical) {
    case kCFNumberSInt8Type:
      n->value.i = Load<int8_t>(valuePtr);
      break;
    case kCFNumberSInt16Type:
      n->value.i = Load<int16_t>(valuePtr);
      break;
    case kCFNumberSInt32Type:
      n->value.i = Load<int32_t>(valuePtr);
      break;
    case kCFNumberSInt64Type:
      n->value.i = Load<int64_t>(valuePtr);
      break;
    case kCFNumberFloat32Type:
      n->value.d = static_cast<double>(Load<float>(valuePtr));
      break;
    default:
      n->value.d = Load<double>(valuePtr);
      break;
  }
  return n;
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  return number == nullptr ? static_cast<CFNumberType>(0) : number->type;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) { return number == nullptr ? 0 : ByteSize(number->type); }

Boolean CFNumberIsFloatType(CFNumberRef number) {
  return number != nullptr && IsFloatCanonical(number->type) ? 1 : 0;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr) {
  if (number == nullptr || valuePtr == nullptr) return 0;
  CFNumberType canonical = Canonical(theType);
  if (canonical == 0) return 0;
  return GetValue(number, canonical, valuePtr);
}

}  // extern "C"
