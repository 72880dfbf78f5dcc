// CFString: UTF-8 bytes stored inline after the object, with the UTF-16 length
// computed once; CFSTR constants interned by content.
#include "cf_internal.h"

#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

using namespace tessivo::cf;

struct __CFString {
  CFRuntimeBase base;
  CFIndex length;     // UTF-16 code units
  size_t byteLength;  // UTF-8 bytes, without the terminating zero
  Boolean ascii;      // every byte below 0x80
  // Followed in the same allocation by byteLength + 1 bytes: the text and a zero.
  const char *bytes() const { return reinterpret_cast<const char *>(this + 1); }
  char *bytes() { return reinterpret_cast<char *>(this + 1); }
};

namespace {

// Number of UTF-16 units in valid UTF-8, or -1 if the bytes are not valid
// UTF-8 (overlong forms, surrogates and values past U+10FFFF are rejected).
CFIndex Utf16Length(std::string_view s) {
  CFIndex units = 0;
  size_t i = 0;
  const auto *p = reinterpret_cast<const unsigned char *>(s.data());
  while (i < s.size()) {
    unsigned c = p[i];
    size_t extra;
    uint32_t cp;
    if (c < 0x80) {
      ++units;
      ++i;
      continue;
    } else if (c >= 0xC2 && c <= 0xDF) {
      extra = 1;
      cp = c & 0x1Fu;
    } else if (c >= 0xE0 && c <= 0xEF) {
      extra = 2;
      cp = c & 0x0Fu;
    } else if (c >= 0xF0 && c <= 0xF4) {
      extra = 3;
      cp = c & 0x07u;
    } else {
      return -1;
    }
    if (s.size() - i <= extra) return -1;
    for (size_t k = 1; k <= extra; ++k) {
      unsigned cc = p[i + k];
      if ((cc & 0xC0u) != 0x80u) return -1;
      cp = (cp << 6) | (cc & 0x3Fu);
    }
    if ((extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) || cp > 0x10FFFF ||
        (cp >= 0xD800 && cp <= 0xDFFF))
      return -1;
    units += cp >= 0x10000 ? 2 : 1;
    i += extra + 1;
  }
  return units;
}

bool AllAscii(std::string_view s) {
  for (char c : s)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

__CFString *NewString(std::string_view s, CFIndex length, bool immortal) {
  size_t extra = sizeof(__CFString) - sizeof(CFRuntimeBase) + s.size() + 1;
  auto *str = static_cast<__CFString *>(const_cast<void *>(
      _CFRuntimeCreateInstance(kCFAllocatorDefault, kStringTypeID, static_cast<CFIndex>(extra))));
  if (str == nullptr) return nullptr;
  if (immortal) str->base._flags |= _kCFRuntimeImmortal;
  str->length = length;
  str->byteLength = s.size();
  str->ascii = AllAscii(s) ? 1 : 0;
  std::memcpy(str->bytes(), s.data(), s.size());
  str->bytes()[s.size()] = '\0';
  return str;
}

std::string_view View(CFStringRef s) { return std::string_view(s->bytes(), s->byteLength); }

Boolean StringEqual(CFTypeRef a, CFTypeRef b) {
  return View(static_cast<CFStringRef>(a)) == View(static_cast<CFStringRef>(b)) ? 1 : 0;
}

size_t DescribeString(CFTypeRef cf, char *buffer, size_t size) {
  std::string_view v = View(static_cast<CFStringRef>(cf));
  if (size > 0) {
    size_t n = v.size() < size - 1 ? v.size() : size - 1;
    std::memcpy(buffer, v.data(), n);
    buffer[n] = '\0';
  }
  return v.size();
}

unsigned char Fold(unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c; }

// The interning table for CFSTR. Allocated once and never destroyed, so the
// constants stay reachable (and valid) until the process ends.
struct ConstantTable {
  std::mutex mutex;
  std::unordered_map<std::string, CFStringRef> strings;
};

ConstantTable &Constants() {
  static ConstantTable *table = new ConstantTable;
  return *table;
}

}  // namespace

namespace tessivo::cf {
constexpr CFRuntimeClass kStringClass = {"CFString", nullptr, StringEqual, DescribeString};
}

extern "C" {

CFTypeID CFStringGetTypeID(void) { return kStringTypeID; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char *cStr, CFStringEncoding encoding) {
  if (cStr == nullptr) return nullptr;
  std::string_view s(cStr);
  CFIndex length;
  if (encoding == kCFStringEncodingASCII) {
    if (!AllAscii(s)) return nullptr;
    length = static_cast<CFIndex>(s.size());
  } else if (encoding == kCFStringEncodingUTF8) {
    length = Utf16Length(s);
    if (length < 0) return nullptr;
  } else {
    return nullptr;
  }
  return NewString(s, length, false);
}

CFIndex CFStringGetLength(CFStringRef theString) { return theString == nullptr ? 0 : theString->length; }

Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  if (theString == nullptr || buffer == nullptr || bufferSize <= 0) return 0;
  if (encoding == kCFStringEncodingASCII) {
    if (!theString->ascii) return 0;
  } else if (encoding != kCFStringEncodingUTF8) {
    return 0;
  }
  if (theString->byteLength >= static_cast<size_t>(bufferSize)) return 0;
  std::memcpy(buffer, theString->bytes(), theString->byteLength + 1);
  return 1;
}

const char *CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  if (theString == nullptr) return nullptr;
  if (encoding == kCFStringEncodingUTF8 || (encoding == kCFStringEncodingASCII && theString->ascii))
    return theString->bytes();
  return nullptr;
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2, CFOptionFlags compareOptions) {
  if (theString1 == theString2) return kCFCompareEqualTo;
  if (theString1 == nullptr) return kCFCompareLessThan;
  if (theString2 == nullptr) return kCFCompareGreaterThan;
  std::string_view a = View(theString1), b = View(theString2);
  bool fold = (compareOptions & kCFCompareCaseInsensitive) != 0;
  size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; ++i) {
    auto x = static_cast<unsigned char>(a[i]);
    auto y = static_cast<unsigned char>(b[i]);
    if (fold) {
      x = Fold(x);
      y = Fold(y);
    }
    if (x != y) return x < y ? kCFCompareLessThan : kCFCompareGreaterThan;
  }
  if (a.size() == b.size()) return kCFCompareEqualTo;
  return a.size() < b.size() ? kCFCompareLessThan : kCFCompareGreaterThan;
}

CFStringRef __CFStringMakeConstantString(const char *cStr) {
  if (cStr == nullptr) return nullptr;
  std::string key(cStr);
  ConstantTable &table = Constants();
  std::lock_guard<std::mutex> lock(table.mutex);
  auto found = table.strings.find(key);
  if (found != table.strings.end()) return found->second;
  CFIndex length = Utf16Length(key);
  if (length < 0) length = static_cast<CFIndex>(key.size());  // not UTF-8: count bytes
  CFStringRef s = NewString(key, length, true);
  if (s != nullptr) table.strings.emplace(std::move(key), s);
  return s;
}

}  // extern "C"
