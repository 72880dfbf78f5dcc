// CoreFoundation runtime: type ids, retain counting, booleans, strings, CFShow.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <gtest/gtest.h>

#include <climits>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Show(CFTypeRef obj) {
  testing::internal::CaptureStdout();
  CFShow(obj);
  return testing::internal::GetCapturedStdout();
}

TEST(CFRuntime, TypeIdsAreDistinctSmallNumbers) {
  const CFTypeID ids[] = {CFNumberGetTypeID(), CFBooleanGetTypeID(), CFStringGetTypeID(), CGColorGetTypeID(),
                          CGColorSpaceGetTypeID()};
  std::set<CFTypeID> unique(std::begin(ids), std::end(ids));
  EXPECT_EQ(unique.size(), std::size(ids));
  for (CFTypeID id : ids) {
    EXPECT_GT(id, 0u);
    EXPECT_LT(id, 64u);
  }
  // Stable across calls.
  EXPECT_EQ(CGColorGetTypeID(), CGColorGetTypeID());
  EXPECT_EQ(CGColorSpaceGetTypeID(), CGColorSpaceGetTypeID());
}

TEST(CFRuntime, GetTypeIDOnEveryKind) {
  int v = 3;
  CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &v);
  CFStringRef s = CFStringCreateWithCString(kCFAllocatorDefault, "abc", kCFStringEncodingUTF8);
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat red[] = {1, 0, 0, 1};
  CGColorRef c = CGColorCreate(rgb, red);
  EXPECT_EQ(CFGetTypeID(n), CFNumberGetTypeID());
  EXPECT_EQ(CFGetTypeID(s), CFStringGetTypeID());
  EXPECT_EQ(CFGetTypeID(CFSTR("key")), CFStringGetTypeID());
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
  EXPECT_EQ(CFGetTypeID(rgb), CGColorSpaceGetTypeID());
  EXPECT_EQ(CFGetTypeID(c), CGColorGetTypeID());
  EXPECT_EQ(CFGetTypeID(nullptr), 0u);
  EXPECT_NE(kCFAllocatorDefault, nullptr);
  CFRelease(c);
  CGColorSpaceRelease(rgb);
  CFRelease(s);
  CFRelease(n);
}

TEST(CFRuntime, RetainReleaseCounting) {
  int v = 1;
  CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &v);
  EXPECT_EQ(CFGetRetainCount(n), 1);
  EXPECT_EQ(CFRetain(n), n);
  EXPECT_EQ(CFGetRetainCount(n), 2);
  CFRetain(n);
  EXPECT_EQ(CFGetRetainCount(n), 3);
  CFRelease(n);
  CFRelease(n);
  EXPECT_EQ(CFGetRetainCount(n), 1);
  CFRelease(n);  // frees; ASan reports a leak if it did not
  EXPECT_EQ(CFRetain(nullptr), nullptr);
  CFRelease(nullptr);
}

TEST(CFRuntime, ConcurrentRetainRelease) {
  CFStringRef s = CFStringCreateWithCString(kCFAllocatorDefault, "shared", kCFStringEncodingASCII);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([s] {
      for (int i = 0; i < 10000; ++i) {
        CFRetain(s);
        CFRelease(s);
      }
    });
  for (auto &t : threads) t.join();
  EXPECT_EQ(CFGetRetainCount(s), 1);
  CFRelease(s);
}

TEST(CFBoolean, SharedAndImmortal) {
  EXPECT_NE(kCFBooleanTrue, kCFBooleanFalse);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
  CFIndex before = CFGetRetainCount(kCFBooleanTrue);
  for (int i = 0; i < 5; ++i) CFRelease(kCFBooleanTrue);
  EXPECT_EQ(CFRetain(kCFBooleanTrue), kCFBooleanTrue);
  EXPECT_EQ(CFGetRetainCount(kCFBooleanTrue), before);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_TRUE(CFEqual(kCFBooleanTrue, kCFBooleanTrue));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
}

TEST(CFString, CreateLengthAndCString) {
  CFStringRef s = CFStringCreateWithCString(kCFAllocatorDefault, "radius", kCFStringEncodingASCII);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(CFStringGetLength(s), 6);
  char buffer[16];
  EXPECT_TRUE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "radius");
  char tight[7];
  EXPECT_TRUE(CFStringGetCString(s, tight, sizeof tight, kCFStringEncodingASCII));
  char tooSmall[6];
  EXPECT_FALSE(CFStringGetCString(s, tooSmall, sizeof tooSmall, kCFStringEncodingUTF8));
  ASSERT_NE(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), nullptr);
  EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), "radius");
  CFRelease(s);
}

TEST(CFString, Utf8LengthCountsUtf16Units) {
  // "é" (2 bytes, 1 unit), "€" (3 bytes, 1 unit), U+1F600 (4 bytes, 2 units).
  CFStringRef s = CFStringCreateWithCString(kCFAllocatorDefault, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                            kCFStringEncodingUTF8);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(CFStringGetLength(s), 5);
  char buffer[32];
  EXPECT_TRUE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_FALSE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingASCII));
  EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
  CFRelease(s);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xC3\xA9", kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xC3", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xC0\x80", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, nullptr, kCFStringEncodingUTF8), nullptr);
  CFStringRef empty = CFStringCreateWithCString(kCFAllocatorDefault, "", kCFStringEncodingUTF8);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFStringGetLength(empty), 0);
  CFRelease(empty);
}

TEST(CFString, Compare) {
  CFStringRef apple = CFStringCreateWithCString(kCFAllocatorDefault, "apple", kCFStringEncodingUTF8);
  CFStringRef Apple = CFStringCreateWithCString(kCFAllocatorDefault, "Apple", kCFStringEncodingUTF8);
  CFStringRef apples = CFStringCreateWithCString(kCFAllocatorDefault, "apples", kCFStringEncodingUTF8);
  CFStringRef banana = CFStringCreateWithCString(kCFAllocatorDefault, "banana", kCFStringEncodingUTF8);
  EXPECT_EQ(CFStringCompare(apple, CFSTR("apple"), 0), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(apple, banana, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(banana, apple, 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(apple, apples, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(apples, apple, 0), kCFCompareGreaterThan);
  // Byte-wise: 'A' (0x41) sorts before 'a' (0x61).
  EXPECT_EQ(CFStringCompare(Apple, apple, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(Apple, apple, kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(Apple, banana, kCFCompareCaseInsensitive), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("B"), apple, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("B"), apple, kCFCompareCaseInsensitive), kCFCompareGreaterThan);
  EXPECT_TRUE(CFEqual(apple, CFSTR("apple")));
  EXPECT_FALSE(CFEqual(apple, Apple));
  CFRelease(apple);
  CFRelease(Apple);
  CFRelease(apples);
  CFRelease(banana);
}

TEST(CFString, ConstantStringsAreInternedAndImmortal) {
  CFStringRef a = CFSTR("gain");
  const char literal[] = "gain";
  CFStringRef b = __CFStringMakeConstantString(literal);  // other address, same content
  EXPECT_EQ(a, b);
  EXPECT_NE(CFSTR("gain"), CFSTR("bias"));
  CFIndex before = CFGetRetainCount(a);
  CFRelease(a);
  CFRelease(a);
  EXPECT_EQ(CFGetRetainCount(a), before);
  EXPECT_EQ(CFStringGetLength(CFSTR("gain")), 4);
  EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("gain"), kCFStringEncodingUTF8), "gain");
}

TEST(CFString, ConstantStringsAreThreadSafe) {
  std::vector<std::thread> threads;
  std::vector<CFStringRef> seen(8);
  for (size_t t = 0; t < seen.size(); ++t)
    threads.emplace_back([&seen, t] {
      for (int i = 0; i < 200; ++i) seen[t] = __CFStringMakeConstantString(("k" + std::to_string(i)).c_str());
    });
  for (auto &t : threads) t.join();
  for (CFStringRef s : seen) EXPECT_EQ(s, CFSTR("k199"));
}

TEST(CFShow, Null) { EXPECT_EQ(Show(nullptr), "(null)\n"); }

TEST(CFShow, String) {
  EXPECT_EQ(Show(CFSTR("hello world")), "hello world\n");
  std::string longText(500, 'x');
  CFStringRef s = CFStringCreateWithCString(kCFAllocatorDefault, longText.c_str(), kCFStringEncodingUTF8);
  EXPECT_EQ(Show(s), longText + "\n");
  CFRelease(s);
}

TEST(CFShow, Booleans) {
  EXPECT_TRUE(std::regex_match(Show(kCFBooleanTrue), std::regex(R"(<CFBoolean 0x[0-9a-f]+>\{value = true\}\n)")));
  EXPECT_TRUE(std::regex_match(Show(kCFBooleanFalse), std::regex(R"(<CFBoolean 0x[0-9a-f]+>\{value = false\}\n)")));
}

TEST(CFShow, Numbers) {
  const std::regex prefix(R"(<CFNumber 0x[0-9a-f]+ \[0x[0-9a-f]+\]>\{value = (.*), type = (\w+)\}\n)");
  auto check = [&](CFNumberType type, const void *value, const char *text, const char *typeName) {
    CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, type, value);
    std::string out = Show(n);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m, prefix)) << out;
    EXPECT_EQ(m[1].str(), text) << out;
    EXPECT_EQ(m[2].str(), typeName) << out;
    CFRelease(n);
  };
  int64_t three = 3, minus = -42, zero = 0;
  int i = 7;
  double half = 0.5, tenth = 0.1, negative = -2.25;
  float f = 0.5f, fTenth = 0.1f;
  double big = 1e300;
  int64_t min64 = INT64_MIN;
  check(kCFNumberSInt64Type, &three, "+3", "kCFNumberSInt64Type");
  check(kCFNumberSInt64Type, &minus, "-42", "kCFNumberSInt64Type");
  check(kCFNumberSInt64Type, &zero, "+0", "kCFNumberSInt64Type");
  check(kCFNumberIntType, &i, "+7", "kCFNumberSInt32Type");
  check(kCFNumberDoubleType, &half, "+0.5", "kCFNumberFloat64Type");
  check(kCFNumberDoubleType, &tenth, "+0.1", "kCFNumberFloat64Type");
  check(kCFNumberDoubleType, &negative, "-2.25", "kCFNumberFloat64Type");
  check(kCFNumberFloatType, &f, "+0.5", "kCFNumberFloat32Type");
  check(kCFNumberFloatType, &fTenth, "+0.1", "kCFNumberFloat32Type");
  check(kCFNumberDoubleType, &big, "+1e+300", "kCFNumberFloat64Type");
  check(kCFNumberSInt64Type, &min64, "-9223372036854775808", "kCFNumberSInt64Type");
}

}  // namespace
