// CoreGraphics colour subset: spaces, colours, counts and CF integration.
#include <CoreGraphics/CoreGraphics.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace {

std::string Show(CFTypeRef obj) {
  testing::internal::CaptureStdout();
  CFShow(obj);
  return testing::internal::GetCapturedStdout();
}

TEST(CGColorSpace, ComponentCounts) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGColorSpaceRef gray = CGColorSpaceCreateDeviceGray();
  ASSERT_NE(rgb, nullptr);
  ASSERT_NE(gray, nullptr);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(rgb), 3u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(gray), 1u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CFGetTypeID(rgb), CGColorSpaceGetTypeID());
  EXPECT_EQ(CGColorSpaceRetain(rgb), rgb);
  EXPECT_EQ(CFGetRetainCount(rgb), 2);
  CGColorSpaceRelease(rgb);
  EXPECT_EQ(CFGetRetainCount(rgb), 1);
  CGColorSpaceRef rgb2 = CGColorSpaceCreateDeviceRGB();
  EXPECT_TRUE(CFEqual(rgb, rgb2));
  EXPECT_FALSE(CFEqual(rgb, gray));
  CGColorSpaceRelease(rgb2);
  CGColorSpaceRelease(rgb);
  CGColorSpaceRelease(gray);
  CGColorSpaceRelease(nullptr);
  EXPECT_EQ(CGColorSpaceRetain(nullptr), nullptr);
}

TEST(CGColor, RgbComponentsAreCopied) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGFloat values[] = {0.25, 0.5, 0.75, 0.8};
  CGColorRef c = CGColorCreate(rgb, values);
  ASSERT_NE(c, nullptr);
  values[0] = 9;  // the colour keeps its own copy
  EXPECT_EQ(CGColorGetNumberOfComponents(c), 4u);
  const CGFloat *got = CGColorGetComponents(c);
  EXPECT_EQ(got[0], 0.25);
  EXPECT_EQ(got[1], 0.5);
  EXPECT_EQ(got[2], 0.75);
  EXPECT_EQ(got[3], 0.8);
  EXPECT_EQ(CGColorGetAlpha(c), 0.8);
  EXPECT_EQ(CGColorGetColorSpace(c), rgb);
  EXPECT_EQ(CFGetRetainCount(rgb), 2);  // the colour retains its space
  EXPECT_EQ(CFGetTypeID(c), CGColorGetTypeID());
  CGColorSpaceRelease(rgb);
  // The space stays alive through the colour.
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(CGColorGetColorSpace(c)), 3u);
  CGColorRelease(c);
}

TEST(CGColor, GreyHasTwoComponents) {
  CGColorSpaceRef gray = CGColorSpaceCreateDeviceGray();
  const CGFloat values[] = {0.5, 1.0};
  CGColorRef c = CGColorCreate(gray, values);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(CGColorGetNumberOfComponents(c), 2u);
  EXPECT_EQ(CGColorGetComponents(c)[0], 0.5);
  EXPECT_EQ(CGColorGetAlpha(c), 1.0);
  EXPECT_EQ(CGColorGetColorSpace(c), gray);
  CGColorRelease(c);
  CGColorSpaceRelease(gray);
}

TEST(CGColor, NullArguments) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat values[] = {1, 0, 0, 1};
  EXPECT_EQ(CGColorCreate(nullptr, values), nullptr);
  EXPECT_EQ(CGColorCreate(rgb, nullptr), nullptr);
  EXPECT_EQ(CFGetRetainCount(rgb), 1);
  CGColorSpaceRelease(rgb);
  EXPECT_EQ(CGColorRetain(nullptr), nullptr);
  CGColorRelease(nullptr);
  EXPECT_EQ(CGColorGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CGColorGetComponents(nullptr), nullptr);
  EXPECT_EQ(CGColorGetColorSpace(nullptr), nullptr);
}

TEST(CGColor, RetainReleaseThroughCF) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat values[] = {1, 0, 0, 1};
  CGColorRef c = CGColorCreate(rgb, values);
  CGColorSpaceRelease(rgb);
  EXPECT_EQ(CFGetRetainCount(c), 1);
  EXPECT_EQ(CFRetain(c), c);
  EXPECT_EQ(CGColorRetain(c), c);
  EXPECT_EQ(CFGetRetainCount(c), 3);
  CGColorRelease(c);
  CFRelease(c);
  EXPECT_EQ(CFGetRetainCount(c), 1);
  CFRelease(c);  // frees the colour and, with it, the space
}

TEST(CGColor, Equal) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat red[] = {1, 0, 0, 1};
  const CGFloat green[] = {0, 1, 0, 1};
  CGColorRef a = CGColorCreate(rgb, red);
  CGColorRef b = CGColorCreate(rgb, red);
  CGColorRef g = CGColorCreate(rgb, green);
  EXPECT_TRUE(CFEqual(a, b));
  EXPECT_FALSE(CFEqual(a, g));
  EXPECT_FALSE(CFEqual(a, rgb));
  CGColorRelease(a);
  CGColorRelease(b);
  CGColorRelease(g);
  CGColorSpaceRelease(rgb);
}

TEST(CGColor, Show) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat red[] = {1, 0, 0, 1};
  CGColorRef c = CGColorCreate(rgb, red);
  std::string out = Show(c);
  EXPECT_TRUE(std::regex_match(
      out, std::regex(R"(<CGColor 0x[0-9a-f]+> \[<CGColorSpace 0x[0-9a-f]+> \(kCGColorSpaceDeviceRGB\)\] \( 1 0 0 1 \)\n)")))
      << out;
  CGColorRelease(c);
  CGColorSpaceRelease(rgb);

  CGColorSpaceRef gray = CGColorSpaceCreateDeviceGray();
  const CGFloat grey[] = {0.5, 0.25};
  CGColorRef g = CGColorCreate(gray, grey);
  out = Show(g);
  EXPECT_TRUE(std::regex_match(
      out, std::regex(R"(<CGColor 0x[0-9a-f]+> \[<CGColorSpace 0x[0-9a-f]+> \(kCGColorSpaceDeviceGray\)\] \( 0.5 0.25 \)\n)")))
      << out;
  EXPECT_TRUE(std::regex_match(Show(gray), std::regex(R"(<CGColorSpace 0x[0-9a-f]+> \(kCGColorSpaceDeviceGray\)\n)")));
  CGColorRelease(g);
  CGColorSpaceRelease(gray);
}

}  // namespace
