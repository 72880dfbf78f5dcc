// The CF runtime (type ids, retain counts, booleans, strings, CFShow) and CGColor.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <gtest/gtest.h>

#include <functional>
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

CFStringRef Str(const char *text) { return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8); }

void RunThreads(int count, const std::function<void(int)> &body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
  for (auto &t : threads) t.join();
}

TEST(CFRuntime, TypeIdsRetainCountsAndSharedObjects) {
  int v = 3;
  CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &v);
  CFStringRef s = Str("abc");
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const std::pair<CFTypeRef, CFTypeID> objects[] = {
      {n, CFNumberGetTypeID()}, {s, CFStringGetTypeID()}, {CFSTR("k"), CFStringGetTypeID()},
      {kCFBooleanFalse, CFBooleanGetTypeID()}, {rgb, CGColorSpaceGetTypeID()}};
  std::set<CFTypeID> ids{CGColorGetTypeID()};
  for (const auto &[object, id] : objects) EXPECT_EQ(CFGetTypeID(object), *ids.insert(id).first);
  EXPECT_TRUE(ids.size() == 5u && ids.count(0) == 0u);
  EXPECT_EQ(CFGetTypeID(nullptr), 0u);

  EXPECT_TRUE(CFRetain(s) == s && CFGetRetainCount(s) == 2);
  RunThreads(4, [s](int) {
    for (int i = 0; i < 10000; ++i) CFRelease(CFRetain(s));
  });
  CFRelease(s);
  EXPECT_EQ(CFGetRetainCount(s), 1);
  for (CFTypeRef object : {CFTypeRef(s), CFTypeRef(n), CFTypeRef(rgb)}) CFRelease(object);  // ASan: no leak
  CFRelease(CFRetain(nullptr));

  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue) && !CFBooleanGetValue(kCFBooleanFalse));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
  for (CFTypeRef shared : {CFTypeRef(kCFBooleanTrue), CFTypeRef(CFSTR("gain"))}) {
    const CFIndex before = CFGetRetainCount(shared);
    for (int i = 0; i < 5; ++i) CFRelease(shared);
    EXPECT_EQ(CFGetRetainCount(shared), before);
  }
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

TEST(CFString, Utf8CompareAndConstantStrings) {
  // "é" (2 bytes, 1 unit), "€" (3 bytes, 1 unit), U+1F600 (4 bytes, 2 units).
  const char *utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  CFStringRef s = Str(utf8);
  CFStringRef ascii = Str("radius");
  char buffer[32];
  EXPECT_TRUE(CFStringGetLength(s) == 5 && CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, utf8);
  EXPECT_FALSE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingASCII));
  EXPECT_TRUE(CFStringGetCString(ascii, buffer, 7, kCFStringEncodingASCII));
  EXPECT_FALSE(CFStringGetCString(ascii, buffer, 6, kCFStringEncodingUTF8));  // no room for the NUL
  for (const char *bad : {"\xC3", "\xC0\x80", static_cast<const char *>(nullptr)}) EXPECT_EQ(Str(bad), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xC3\xA9", kCFStringEncodingASCII), nullptr);
  for (CFStringRef x : {s, ascii}) CFRelease(x);
  const struct { const char *a, *b; CFOptionFlags options; CFComparisonResult want; } cases[] = {
      {"apple", "apple", 0, kCFCompareEqualTo},      {"apple", "banana", 0, kCFCompareLessThan},
      {"banana", "apple", 0, kCFCompareGreaterThan}, {"apple", "apples", 0, kCFCompareLessThan},
      {"apples", "apple", 0, kCFCompareGreaterThan}, {"Apple", "apple", 0, kCFCompareLessThan},
      {"B", "apple", 0, kCFCompareLessThan},         {"Apple", "apple", kCFCompareCaseInsensitive, kCFCompareEqualTo},
      {"Apple", "banana", kCFCompareCaseInsensitive, kCFCompareLessThan},
      {"B", "apple", kCFCompareCaseInsensitive, kCFCompareGreaterThan}};
  for (const auto &c : cases) {
    CFStringRef a = Str(c.a), b = Str(c.b);
    EXPECT_EQ(CFStringCompare(a, b, c.options), c.want) << c.a << " " << c.b << " " << c.options;
    EXPECT_EQ(CFEqual(a, b) != 0, std::string(c.a) == c.b) << c.a << " " << c.b;
    for (CFStringRef x : {a, b}) CFRelease(x);
  }
  // CFSTR gives one object per content, whatever the literal's address, from any thread.
  const char literal[] = "gain";
  EXPECT_EQ(CFSTR("gain"), __CFStringMakeConstantString(literal));
  EXPECT_NE(CFSTR("gain"), CFSTR("bias"));
  std::vector<CFStringRef> seen(8);
  RunThreads(8, [&seen](int t) {
    for (int i = 0; i < 200; ++i) seen[t] = __CFStringMakeConstantString(("k" + std::to_string(i)).c_str());
  });
  for (CFStringRef k : seen) EXPECT_EQ(k, CFSTR("k199"));
}

TEST(CFShow, PrintsEachKindOnStdout) {
  EXPECT_EQ(Show(nullptr), "(null)\n");
  const std::string longText(500, 'x');
  CFStringRef s = Str(longText.c_str());
  EXPECT_EQ(Show(s), longText + "\n");
  CFRelease(s);
  EXPECT_TRUE(std::regex_match(Show(kCFBooleanFalse), std::regex(R"(<CFBoolean 0x[0-9a-f]+>\{value = false\}\n)")));
  const std::regex number(R"(<CFNumber 0x[0-9a-f]+ \[0x[0-9a-f]+\]>\{value = (.*), type = (\w+)\}\n)");
  auto check = [&](CFNumberType type, auto value, const char *text, const char *typeName) {
    CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, type, &value);
    const std::string out = Show(n);
    std::smatch m;
    EXPECT_TRUE(std::regex_match(out, m, number) && m[1] == text && m[2] == typeName) << out;
    CFRelease(n);
  };
  check(kCFNumberSInt64Type, int64_t{INT64_MIN}, "-9223372036854775808", "kCFNumberSInt64Type");
  check(kCFNumberIntType, 7, "+7", "kCFNumberSInt32Type");
  check(kCFNumberDoubleType, -2.25, "-2.25", "kCFNumberFloat64Type");
  check(kCFNumberFloatType, 0.1f, "+0.1", "kCFNumberFloat32Type");
}

TEST(CGColor, ComponentsSpacesAndShow) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB(), gray = CGColorSpaceCreateDeviceGray();
  CGFloat values[] = {0.25, 0.5, 0.75, 0.8};
  const CGFloat greyValues[] = {0.5, 0.25};
  CGColorRef c = CGColorCreate(rgb, values), g = CGColorCreate(gray, greyValues), twin = CGColorCreate(rgb, values);
  for (CGColorSpaceRef space : {rgb, gray}) CGColorSpaceRelease(space);  // each colour keeps its space alive
  values[0] = 9;  // the colour keeps its own copy
  ASSERT_EQ(CGColorGetNumberOfComponents(c), 4u);
  const CGFloat *got = CGColorGetComponents(c);
  EXPECT_TRUE(got[0] == 0.25 && got[1] == 0.5 && got[2] == 0.75 && got[3] == 0.8);
  EXPECT_EQ(CGColorGetAlpha(c), 0.8);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(CGColorGetColorSpace(c)), 3u);
  ASSERT_EQ(CGColorGetNumberOfComponents(g), 2u);
  EXPECT_TRUE(CGColorGetComponents(g)[0] == 0.5 && CGColorGetAlpha(g) == 0.25);
  EXPECT_TRUE(std::regex_match(
      Show(g), std::regex(R"(<CGColor 0x[0-9a-f]+> \[<CGColorSpace 0x[0-9a-f]+> \(kCGColorSpaceDeviceGray\)\] \( 0.5 0.25 \)\n)")));
  EXPECT_TRUE(CFEqual(c, twin));
  EXPECT_FALSE(CFEqual(c, g));
  EXPECT_EQ(CGColorCreate(nullptr, greyValues), nullptr);
  for (CGColorRef color : {c, g, twin}) CGColorRelease(color);
}

}  // namespace
