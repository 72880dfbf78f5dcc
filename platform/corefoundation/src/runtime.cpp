// The object runtime: class table, header, retain/release, CFEqual, CFShow, the
// default allocator and the two booleans.
#include "cf_internal.h"

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <mutex>

using namespace tessivo::cf;

struct __CFAllocator {
  CFRuntimeBase base;
};

struct __CFBoolean {
  CFRuntimeBase base;
  Boolean value;
};

namespace {

size_t DescribeAllocator(CFTypeRef cf, char *buffer, size_t size) {
  int n = std::snprintf(buffer, size, "<CFAllocator %p>{default}", cf);
  return n < 0 ? 0 : static_cast<size_t>(n);
}

size_t DescribeBoolean(CFTypeRef cf, char *buffer, size_t size) {
  const auto *b = static_cast<const __CFBoolean *>(cf);
  int n = std::snprintf(buffer, size, "<CFBoolean %p>{value = %s}", cf, b->value ? "true" : "false");
  return n < 0 ? 0 : static_cast<size_t>(n);
}

constexpr CFRuntimeClass kAllocatorClass = {"CFAllocator", nullptr, nullptr, DescribeAllocator};
constexpr CFRuntimeClass kBooleanClass = {"CFBoolean", nullptr, nullptr, DescribeBoolean};

constexpr CFTypeID kMaxTypes = 64;

// Entries are written once (under gRegisterMutex) and never change, so readers
// need no lock.
constinit std::atomic<const CFRuntimeClass *> gClasses[kMaxTypes] = {
    nullptr, &kAllocatorClass, &kBooleanClass, &kNumberClass, &kStringClass,
};
std::mutex gRegisterMutex;
CFTypeID gNextTypeID = kFirstRegisteredTypeID;

const CFRuntimeClass *ClassOf(CFTypeID id) {
  if (id == _kCFRuntimeNotATypeID || id >= kMaxTypes) return nullptr;
  return gClasses[id].load(std::memory_order_acquire);
}

// The retain count lives in a plain int64_t so the header stays a C struct.
std::atomic_ref<int64_t> RetainCount(CFTypeRef cf) {
  return std::atomic_ref<int64_t>(const_cast<CFRuntimeBase *>(Base(cf))->_retainCount);
}

bool IsImmortal(CFTypeRef cf) { return (Base(cf)->_flags & _kCFRuntimeImmortal) != 0; }

__CFAllocator gDefaultAllocator = {{kAllocatorTypeID, 0, _kCFRuntimeImmortal, 0}};
__CFBoolean gTrue = {{kBooleanTypeID, 0, _kCFRuntimeImmortal, 0}, 1};
__CFBoolean gFalse = {{kBooleanTypeID, 0, _kCFRuntimeImmortal, 0}, 0};

}  // namespace

namespace tessivo::cf {

std::string Describe(size_t (*describe)(CFTypeRef, char *, size_t), CFTypeRef cf) {
  std::string text(128, '\0');
  size_t n = describe(cf, text.data(), text.size() + 1);
  if (n > text.size()) {
    text.assign(n, '\0');
    describe(cf, text.data(), text.size() + 1);
  }
  text.resize(n);
  return text;
}

}  // namespace tessivo::cf

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = &gDefaultAllocator;
const CFBooleanRef kCFBooleanTrue = &gTrue;
const CFBooleanRef kCFBooleanFalse = &gFalse;

CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass *cls) {
  if (cls == nullptr) return _kCFRuntimeNotATypeID;
  std::lock_guard<std::mutex> lock(gRegisterMutex);
  if (gNextTypeID >= kMaxTypes) return _kCFRuntimeNotATypeID;
  CFTypeID id = gNextTypeID++;
  gClasses[id].store(cls, std::memory_order_release);
  return id;
}

CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef, CFTypeID typeID, CFIndex extraBytes) {
  if (ClassOf(typeID) == nullptr || extraBytes < 0) return nullptr;
  void *memory = std::calloc(1, sizeof(CFRuntimeBase) + static_cast<size_t>(extraBytes));
  if (memory == nullptr) return nullptr;
  auto *base = static_cast<CFRuntimeBase *>(memory);
  base->_typeID = typeID;
  base->_retainCount = 1;
  return memory;
}

CFTypeID CFGetTypeID(CFTypeRef cf) { return cf == nullptr ? CFTypeID{_kCFRuntimeNotATypeID} : Base(cf)->_typeID; }

CFTypeRef CFRetain(CFTypeRef cf) {
  if (cf == nullptr || IsImmortal(cf)) return cf;
  RetainCount(cf).fetch_add(1, std::memory_order_relaxed);
  return cf;
}

void CFRelease(CFTypeRef cf) {
  if (cf == nullptr || IsImmortal(cf)) return;
  int64_t before = RetainCount(cf).fetch_sub(1, std::memory_order_acq_rel);
  if (before > 1) return;
  if (before < 1) {
    std::fprintf(stderr, "CFRelease: object %p released more often than retained\n", cf);
    std::abort();
  }
  const CFRuntimeClass *cls = ClassOf(Base(cf)->_typeID);
  if (cls != nullptr && cls->finalize != nullptr) cls->finalize(cf);
  std::free(const_cast<void *>(cf));
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
  if (cf == nullptr) return 0;
  if (IsImmortal(cf)) return LONG_MAX;
  return static_cast<CFIndex>(RetainCount(cf).load(std::memory_order_relaxed));
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
  if (a == b) return 1;
  if (a == nullptr || b == nullptr) return 0;
  CFTypeID id = Base(a)->_typeID;
  if (id != Base(b)->_typeID) return 0;
  const CFRuntimeClass *cls = ClassOf(id);
  if (cls == nullptr || cls->equal == nullptr) return 0;
  return cls->equal(a, b) ? 1 : 0;
}

void CFShow(CFTypeRef obj) {
  std::string line;
  if (obj == nullptr) {
    line = "(null)";
  } else {
    const CFRuntimeClass *cls = ClassOf(Base(obj)->_typeID);
    if (cls != nullptr && cls->describe != nullptr) {
      line = Describe(cls->describe, obj);
    } else {
      char buffer[160];
      std::snprintf(buffer, sizeof buffer, "<%s %p>", cls != nullptr ? cls->className : "CFType", obj);
      line = buffer;
    }
  }
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

CFTypeID CFBooleanGetTypeID(void) { return kBooleanTypeID; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean != nullptr && boolean->value ? 1 : 0; }

}  // extern "C"
