// CFNumber: canonical types and CFNumberGetValue's conversions, table driven.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Stores `in` as `from`, reads it back as `to` and checks value and exactness flag.
template <class Out, class In>
void expectRead(CFNumberType from, In in, CFNumberType to, Out want, bool exact, const char *what) {
  SCOPED_TRACE(what);
  CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, from, &in);
  ASSERT_NE(n, nullptr);
  Out got{};
  EXPECT_EQ(CFNumberGetValue(n, to, &got) != 0, exact);
  EXPECT_TRUE(got == want || (std::isnan(double(got)) && std::isnan(double(want)))) << +got << " wanted " << +want;
  CFRelease(n);
}

#define EXPECT_READ(from, in, to, want, exact) \
  expectRead(kCFNumber##from##Type, in, kCFNumber##to##Type, want, exact, #in " as " #to)

TEST(CFNumber, CanonicalTypesAndSizes) {
  const struct { CFNumberType created, canonical; CFIndex size; } cases[] = {
      {kCFNumberCharType, kCFNumberSInt8Type, 1},      {kCFNumberShortType, kCFNumberSInt16Type, 2},
      {kCFNumberIntType, kCFNumberSInt32Type, 4},      {kCFNumberLongType, kCFNumberSInt64Type, 8},
      {kCFNumberCFIndexType, kCFNumberSInt64Type, 8},  {kCFNumberFloatType, kCFNumberFloat32Type, 4},
      {kCFNumberDoubleType, kCFNumberFloat64Type, 8},  {kCFNumberCGFloatType, kCFNumberFloat64Type, 8}};
  unsigned char zeros[8] = {};
  for (const auto &c : cases) {
    CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, c.created, zeros);
    ASSERT_NE(n, nullptr) << c.created;
    EXPECT_TRUE(CFNumberGetType(n) == c.canonical && CFNumberGetByteSize(n) == c.size) << c.created;
    EXPECT_EQ(CFNumberIsFloatType(n) != 0, c.canonical >= kCFNumberFloat32Type) << c.created;
    CFRelease(n);
  }
  int v = 1, out = 42;
  for (int type : {0, 17}) EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, static_cast<CFNumberType>(type), &v), nullptr);
  EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, nullptr), nullptr);
  CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &v);
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberIntType, nullptr) || CFNumberGetValue(nullptr, kCFNumberIntType, &out) ||
               CFNumberGetValue(n, static_cast<CFNumberType>(20), &out));
  EXPECT_EQ(out, 42);
  CFRelease(n);
}

TEST(CFNumber, IntegerReadsSaturate) {
  EXPECT_READ(Long, 5000000000L, Long, 5000000000L, true);  // long is 64 bits
  EXPECT_READ(Long, 5000000000L, SInt32, int32_t{INT32_MAX}, false);
  EXPECT_READ(SInt8, int8_t{-128}, SInt64, int64_t{-128}, true);
  EXPECT_READ(SInt64, int64_t{300}, SInt8, int8_t{127}, false);
  EXPECT_READ(SInt64, int64_t{-300}, SInt8, int8_t{-128}, false);
  EXPECT_READ(SInt64, int64_t{300}, SInt16, int16_t{300}, true);
  EXPECT_READ(SInt64, int64_t{INT64_MIN}, SInt32, int32_t{INT32_MIN}, false);
  EXPECT_READ(Int, -5, Char, static_cast<char>(-5), true);  // char is signed: no wrap either way
  EXPECT_READ(Int, 200, Char, static_cast<char>(127), false);
}

TEST(CFNumber, FloatToIntegerTruncatesTowardZeroAndSaturates) {
  EXPECT_READ(Float64, 2.9, SInt32, int32_t{2}, false);
  EXPECT_READ(Float64, -2.9, SInt32, int32_t{-2}, false);
  EXPECT_READ(Float64, -7.0, SInt32, int32_t{-7}, true);
  EXPECT_READ(Float32, 3.75f, SInt64, int64_t{3}, false);
  EXPECT_READ(Float64, 1e300, SInt64, int64_t{INT64_MAX}, false);
  EXPECT_READ(Float64, 0x1p63, SInt64, int64_t{INT64_MAX}, false);
  EXPECT_READ(Float64, -0x1p63, SInt64, int64_t{INT64_MIN}, true);
  EXPECT_READ(Float64, 2147483647.0, SInt32, int32_t{INT32_MAX}, true);
  EXPECT_READ(Float64, 2147483647.5, SInt32, int32_t{INT32_MAX}, false);
  EXPECT_READ(Float64, -2147483649.0, SInt32, int32_t{INT32_MIN}, false);
  EXPECT_READ(Float64, kNaN, SInt64, int64_t{0}, false);
  EXPECT_READ(Float64, kNaN, Double, kNaN, true);
}

TEST(CFNumber, FloatingReadsFlagLostPrecision) {
  EXPECT_READ(Float64, 0.1, Float, 0.1f, false);
  EXPECT_READ(Float32, 0.1f, Float64, static_cast<double>(0.1f), true);
  EXPECT_READ(Float64, 1e300, Float32, std::numeric_limits<float>::infinity(), false);
  EXPECT_READ(Float64, -kInf, Float32, -std::numeric_limits<float>::infinity(), true);
  EXPECT_READ(Float64, double{std::numeric_limits<float>::max()}, Float32, std::numeric_limits<float>::max(), true);
  EXPECT_READ(SInt32, (1 << 24) + 1, Float32, 16777216.0f, false);
  EXPECT_READ(SInt64, (int64_t{1} << 53) + 1, Float64, 0x1p53, false);
  EXPECT_READ(SInt64, int64_t{INT64_MAX}, Float64, 0x1p63, false);  // rounds up to 2^63
  EXPECT_READ(SInt64, int64_t{INT64_MIN}, Float64, -0x1p63, true);
}

TEST(CFNumber, EqualComparesValuesAcrossTypes) {
  auto make = [](CFNumberType type, auto value) { return CFNumberCreate(kCFAllocatorDefault, type, &value); };
  // The first four are all 1; none of the rest equals any other entry.
  CFNumberRef n[] = {make(kCFNumberIntType, 1),  make(kCFNumberSInt64Type, int64_t{1}),    make(kCFNumberDoubleType, 1.0),
                     make(kCFNumberFloatType, 1.0f), make(kCFNumberDoubleType, 1.5),          make(kCFNumberIntType, 2),
                     make(kCFNumberSInt64Type, int64_t{INT64_MAX}), make(kCFNumberDoubleType, 0x1p63)};
  for (size_t i = 0; i < std::size(n); ++i)
    for (size_t j = 0; j < std::size(n); ++j) EXPECT_EQ(CFEqual(n[i], n[j]) != 0, i == j || (i < 4 && j < 4)) << i << j;
  EXPECT_FALSE(CFEqual(n[0], kCFBooleanTrue));
  for (CFNumberRef x : n) CFRelease(x);
}

}  // namespace
