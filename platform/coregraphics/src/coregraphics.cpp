// CoreGraphics colour subset: device RGB and grey colour spaces and colours,
// both CF objects registered with the CoreFoundation runtime.
#include <CoreFoundation/CFRuntime.h>
#include <CoreGraphics/CoreGraphics.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

enum class Model { kGray, kRGB };

constexpr size_t kMaxComponents = 4;  // RGB + alpha

}  // namespace

struct CGColorSpace {
  CFRuntimeBase base;
  Model model;
  size_t components;  // without alpha
};

struct CGColor {
  CFRuntimeBase base;
  CGColorSpaceRef space;  // retained
  size_t count;           // space components + alpha
  CGFloat components[kMaxComponents];
};

namespace {

const char *ModelName(const CGColorSpace *space) {
  return space->model == Model::kRGB ? "kCGColorSpaceDeviceRGB" : "kCGColorSpaceDeviceGray";
}

std::string DescribeSpace(const CGColorSpace *space) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "<CGColorSpace %p> (%s)", static_cast<const void *>(space), ModelName(space));
  return buffer;
}

// Shortest text that reads back as the same value: 1, 0.5, 0.1.
std::string FormatComponent(CGFloat v) {
  if (std::isnan(v)) return "nan";
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
  return std::string(buffer, result.ptr);
}

size_t Finish(const std::string &text, char *buffer, size_t size) {
  if (size > 0) {
    size_t n = text.size() < size - 1 ? text.size() : size - 1;
    text.copy(buffer, n);
    buffer[n] = '\0';
  }
  return text.size();
}

size_t DescribeColorSpaceObject(CFTypeRef cf, char *buffer, size_t size) {
  return Finish(DescribeSpace(static_cast<const CGColorSpace *>(cf)), buffer, size);
}

size_t DescribeColorObject(CFTypeRef cf, char *buffer, size_t size) {
  const auto *color = static_cast<const CGColor *>(cf);
  char head[48];
  std::snprintf(head, sizeof head, "<CGColor %p> [", cf);
  std::string text = head;
  text += DescribeSpace(color->space);
  text += "] (";
  for (size_t i = 0; i < color->count; ++i) {
    text += ' ';
    text += FormatComponent(color->components[i]);
  }
  text += " )";
  return Finish(text, buffer, size);
}

Boolean ColorSpaceEqual(CFTypeRef a, CFTypeRef b) {
  return static_cast<const CGColorSpace *>(a)->model == static_cast<const CGColorSpace *>(b)->model ? 1 : 0;
}

Boolean ColorEqual(CFTypeRef a, CFTypeRef b) {
  const auto *x = static_cast<const CGColor *>(a);
  const auto *y = static_cast<const CGColor *>(b);
  if (!CFEqual(x->space, y->space) || x->count != y->count) return 0;
  for (size_t i = 0; i < x->count; ++i)
    if (x->components[i] != y->components[i]) return 0;
  return 1;
}

void FinalizeColor(CFTypeRef cf) { CGColorSpaceRelease(static_cast<const CGColor *>(cf)->space); }

constexpr CFRuntimeClass kColorSpaceClass = {"CGColorSpace", nullptr, ColorSpaceEqual, DescribeColorSpaceObject};
constexpr CFRuntimeClass kColorClass = {"CGColor", FinalizeColor, ColorEqual, DescribeColorObject};

// Both classes are registered together, on first use, in a fixed order.
struct TypeIDs {
  CFTypeID space;
  CFTypeID color;
};

const TypeIDs &Registered() {
  static const TypeIDs ids = [] {
    TypeIDs t;
    t.space = _CFRuntimeRegisterClass(&kColorSpaceClass);
    t.color = _CFRuntimeRegisterClass(&kColorClass);
    return t;
  }();
  return ids;
}

CGColorSpaceRef CreateSpace(Model model, size_t components) {
  auto *space = static_cast<CGColorSpace *>(const_cast<void *>(_CFRuntimeCreateInstance(
      kCFAllocatorDefault, Registered().space, sizeof(CGColorSpace) - sizeof(CFRuntimeBase))));
  if (space == nullptr) return nullptr;
  space->model = model;
  space->components = components;
  return space;
}

}  // namespace

extern "C" {

CFTypeID CGColorSpaceGetTypeID(void) { return Registered().space; }
CFTypeID CGColorGetTypeID(void) { return Registered().color; }

CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void) { return CreateSpace(Model::kRGB, 3); }
CGColorSpaceRef CGColorSpaceCreateDeviceGray(void) { return CreateSpace(Model::kGray, 1); }

size_t CGColorSpaceGetNumberOfComponents(CGColorSpaceRef space) { return space == nullptr ? 0 : space->components; }

CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space) {
  if (space != nullptr) CFRetain(space);
  return space;
}

void CGColorSpaceRelease(CGColorSpaceRef space) {
  if (space != nullptr) CFRelease(space);
}

CGColorRef CGColorCreate(CGColorSpaceRef space, const CGFloat *components) {
  if (space == nullptr || components == nullptr) return nullptr;
  size_t count = space->components + 1;
  if (count > kMaxComponents) return nullptr;
  auto *color = static_cast<CGColor *>(const_cast<void *>(
      _CFRuntimeCreateInstance(kCFAllocatorDefault, Registered().color, sizeof(CGColor) - sizeof(CFRuntimeBase))));
  if (color == nullptr) return nullptr;
  color->space = CGColorSpaceRetain(space);
  color->count = count;
  for (size_t i = 0; i < count; ++i) color->components[i] = components[i];
  return color;
}

CGColorRef CGColorRetain(CGColorRef color) {
  if (color != nullptr) CFRetain(color);
  return color;
}

void CGColorRelease(CGColorRef color) {
  if (color != nullptr) CFRelease(color);
}

size_t CGColorGetNumberOfComponents(CGColorRef color) { return color == nullptr ? 0 : color->count; }

const CGFloat *CGColorGetComponents(CGColorRef color) { return color == nullptr ? nullptr : color->components; }

CGFloat CGColorGetAlpha(CGColorRef color) { return color == nullptr ? 0.0 : color->components[color->count - 1]; }

CGColorSpaceRef CGColorGetColorSpace(CGColorRef color) { return color == nullptr ? nullptr : color->space; }

}  // extern "C"
