// CFNumber: storage, canonical types and CFNumberGetValue's conversions.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

// Owns one reference.
struct Number {
  CFNumberRef ref;
  template <class T>
  Number(CFNumberType type, T value) : ref(CFNumberCreate(kCFAllocatorDefault, type, &value)) {}
  ~Number() { CFRelease(ref); }
  Number(const Number &) = delete;
  Number &operator=(const Number &) = delete;
  operator CFNumberRef() const { return ref; }
};

TEST(CFNumber, CanonicalTypesAndSizes) {
  struct Case {
    CFNumberType created;
    CFNumberType canonical;
    CFIndex size;
    bool isFloat;
  };
  const Case cases[] = {
      {kCFNumberSInt8Type, kCFNumberSInt8Type, 1, false},    {kCFNumberCharType, kCFNumberSInt8Type, 1, false},
      {kCFNumberSInt16Type, kCFNumberSInt16Type, 2, false},  {kCFNumberShortType, kCFNumberSInt16Type, 2, false},
      {kCFNumberSInt32Type, kCFNumberSInt32Type, 4, false},  {kCFNumberIntType, kCFNumberSInt32Type, 4, false},
      {kCFNumberSInt64Type, kCFNumberSInt64Type, 8, false},  {kCFNumberLongType, kCFNumberSInt64Type, 8, false},
      {kCFNumberLongLongType, kCFNumberSInt64Type, 8, false}, {kCFNumberCFIndexType, kCFNumberSInt64Type, 8, false},
      {kCFNumberNSIntegerType, kCFNumberSInt64Type, 8, false}, {kCFNumberFloat32Type, kCFNumberFloat32Type, 4, true},
      {kCFNumberFloatType, kCFNumberFloat32Type, 4, true},    {kCFNumberFloat64Type, kCFNumberFloat64Type, 8, true},
      {kCFNumberDoubleType, kCFNumberFloat64Type, 8, true},   {kCFNumberCGFloatType, kCFNumberFloat64Type, 8, true},
  };
  unsigned char zeros[8] = {};
  for (const Case &c : cases) {
    CFNumberRef n = CFNumberCreate(kCFAllocatorDefault, c.created, zeros);
    ASSERT_NE(n, nullptr) << c.created;
    EXPECT_EQ(CFNumberGetType(n), c.canonical) << c.created;
    EXPECT_EQ(CFNumberGetByteSize(n), c.size) << c.created;
    EXPECT_EQ(CFNumberIsFloatType(n) != 0, c.isFloat) << c.created;
    EXPECT_EQ(CFGetTypeID(n), CFNumberGetTypeID());
    CFRelease(n);
  }
}

TEST(CFNumber, LongIsSixtyFourBitsAndSInt32Saturates) {
  static_assert(sizeof(long) == 8, "LP64");
  long big = 5000000000L;
  Number n(kCFNumberLongType, big);
  long asLong = 0;
  EXPECT_TRUE(CFNumberGetValue(n, kCFNumberLongType, &asLong));
  EXPECT_EQ(asLong, 5000000000L);
  int32_t as32 = 0;
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &as32));
  EXPECT_EQ(as32, INT32_MAX);
  int asInt = 0;
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberIntType, &asInt));
  EXPECT_EQ(asInt, INT32_MAX);
}

TEST(CFNumber, InvalidArguments) {
  int v = 1;
  EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, static_cast<CFNumberType>(0), &v), nullptr);
  EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, static_cast<CFNumberType>(17), &v), nullptr);
  EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, nullptr), nullptr);
  Number n(kCFNumberIntType, 7);
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberIntType, nullptr));
  int out = 42;
  EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberIntType, &out));
  EXPECT_EQ(out, 42);
  EXPECT_FALSE(CFNumberGetValue(n, static_cast<CFNumberType>(20), &out));
  EXPECT_EQ(out, 42);
}

TEST(CFNumber, IntegerRoundTripsEveryWidth) {
  Number n8(kCFNumberSInt8Type, int8_t{-128});
  Number n16(kCFNumberSInt16Type, int16_t{-32768});
  Number n32(kCFNumberSInt32Type, int32_t{INT32_MIN});
  Number n64(kCFNumberSInt64Type, int64_t{INT64_MIN});
  int64_t v = 0;
  EXPECT_TRUE(CFNumberGetValue(n8, kCFNumberSInt64Type, &v));
  EXPECT_EQ(v, -128);
  EXPECT_TRUE(CFNumberGetValue(n16, kCFNumberSInt64Type, &v));
  EXPECT_EQ(v, -32768);
  EXPECT_TRUE(CFNumberGetValue(n32, kCFNumberSInt64Type, &v));
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_TRUE(CFNumberGetValue(n64, kCFNumberSInt64Type, &v));
  EXPECT_EQ(v, INT64_MIN);
}

TEST(CFNumber, IntegerNarrowingSaturates) {
  Number big(kCFNumberSInt64Type, int64_t{300});
  Number small(kCFNumberSInt64Type, int64_t{-300});
  int8_t i8 = 0;
  EXPECT_FALSE(CFNumberGetValue(big, kCFNumberSInt8Type, &i8));
  EXPECT_EQ(i8, 127);
  EXPECT_FALSE(CFNumberGetValue(small, kCFNumberSInt8Type, &i8));
  EXPECT_EQ(i8, -128);
  int16_t i16 = 0;
  EXPECT_TRUE(CFNumberGetValue(big, kCFNumberSInt16Type, &i16));
  EXPECT_EQ(i16, 300);
  Number huge(kCFNumberSInt64Type, int64_t{INT64_MAX});
  EXPECT_FALSE(CFNumberGetValue(huge, kCFNumberSInt16Type, &i16));
  EXPECT_EQ(i16, INT16_MAX);
  Number tiny(kCFNumberSInt64Type, int64_t{INT64_MIN});
  int32_t i32 = 0;
  EXPECT_FALSE(CFNumberGetValue(tiny, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MIN);
}

TEST(CFNumber, CharIsSignedSoNegativesSurvive) {
  // CF has no unsigned types: char maps to SInt8, so negatives keep their sign
  // and large positives saturate rather than wrap.
  Number neg(kCFNumberIntType, -5);
  char c = 0;
  EXPECT_TRUE(CFNumberGetValue(neg, kCFNumberCharType, &c));
  EXPECT_EQ(static_cast<signed char>(c), -5);
  Number v200(kCFNumberIntType, 200);
  EXPECT_FALSE(CFNumberGetValue(v200, kCFNumberCharType, &c));
  EXPECT_EQ(static_cast<signed char>(c), 127);
  // A uint32_t above INT32_MAX must be stored as SInt64 to survive.
  uint32_t u = 0xFFFFFFFFu;
  int64_t wide = u;
  Number n(kCFNumberSInt64Type, wide);
  int64_t back = 0;
  EXPECT_TRUE(CFNumberGetValue(n, kCFNumberSInt64Type, &back));
  EXPECT_EQ(back, 0xFFFFFFFFll);
  int32_t narrow = 0;
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, INT32_MAX);
}

TEST(CFNumber, FloatToIntegerTruncatesTowardZero) {
  Number pos(kCFNumberFloat64Type, 2.9);
  Number neg(kCFNumberFloat64Type, -2.9);
  int32_t v = 0;
  EXPECT_FALSE(CFNumberGetValue(pos, kCFNumberSInt32Type, &v));
  EXPECT_EQ(v, 2);
  EXPECT_FALSE(CFNumberGetValue(neg, kCFNumberSInt32Type, &v));
  EXPECT_EQ(v, -2);
  Number whole(kCFNumberFloat64Type, -7.0);
  EXPECT_TRUE(CFNumberGetValue(whole, kCFNumberSInt32Type, &v));
  EXPECT_EQ(v, -7);
  Number negZero(kCFNumberFloat64Type, -0.0);
  EXPECT_TRUE(CFNumberGetValue(negZero, kCFNumberSInt32Type, &v));
  EXPECT_EQ(v, 0);
  Number f(kCFNumberFloatType, 3.75f);
  int64_t w = 0;
  EXPECT_FALSE(CFNumberGetValue(f, kCFNumberSInt64Type, &w));
  EXPECT_EQ(w, 3);
}

TEST(CFNumber, FloatToIntegerSaturates) {
  const double inf = std::numeric_limits<double>::infinity();
  int8_t i8 = 0;
  int32_t i32 = 0;
  int64_t i64 = 0;
  Number big(kCFNumberFloat64Type, 1e300);
  EXPECT_FALSE(CFNumberGetValue(big, kCFNumberSInt8Type, &i8));
  EXPECT_EQ(i8, INT8_MAX);
  EXPECT_FALSE(CFNumberGetValue(big, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MAX);
  EXPECT_FALSE(CFNumberGetValue(big, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  Number minusInf(kCFNumberFloat64Type, -inf);
  EXPECT_FALSE(CFNumberGetValue(minusInf, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MIN);
  EXPECT_FALSE(CFNumberGetValue(minusInf, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MIN);
  // Exactly representable edges.
  Number twoTo63(kCFNumberFloat64Type, 0x1p63);
  EXPECT_FALSE(CFNumberGetValue(twoTo63, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  Number minus2To63(kCFNumberFloat64Type, -0x1p63);
  EXPECT_TRUE(CFNumberGetValue(minus2To63, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MIN);
  Number justBelow(kCFNumberFloat64Type, 2147483647.5);
  EXPECT_FALSE(CFNumberGetValue(justBelow, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MAX);
  Number int32Max(kCFNumberFloat64Type, 2147483647.0);
  EXPECT_TRUE(CFNumberGetValue(int32Max, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MAX);
  Number over(kCFNumberFloat64Type, 2147483648.0);
  EXPECT_FALSE(CFNumberGetValue(over, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MAX);
  Number under(kCFNumberFloat64Type, -2147483649.0);
  EXPECT_FALSE(CFNumberGetValue(under, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, INT32_MIN);
}

TEST(CFNumber, NaNGivesZero) {
  Number nan(kCFNumberFloat64Type, std::numeric_limits<double>::quiet_NaN());
  int32_t i32 = 99;
  EXPECT_FALSE(CFNumberGetValue(nan, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, 0);
  int64_t i64 = 99;
  EXPECT_FALSE(CFNumberGetValue(nan, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, 0);
  int8_t i8 = 99;
  EXPECT_FALSE(CFNumberGetValue(nan, kCFNumberSInt8Type, &i8));
  EXPECT_EQ(i8, 0);
  double d = 0;
  EXPECT_TRUE(CFNumberGetValue(nan, kCFNumberDoubleType, &d));
  EXPECT_TRUE(std::isnan(d));
  float f = 0;
  CFNumberGetValue(nan, kCFNumberFloatType, &f);
  EXPECT_TRUE(std::isnan(f));
}

TEST(CFNumber, ToFloatingTypes) {
  double d = 0;
  float f = 0;
  Number half(kCFNumberFloat64Type, 0.5);
  EXPECT_TRUE(CFNumberGetValue(half, kCFNumberFloat32Type, &f));
  EXPECT_EQ(f, 0.5f);
  Number tenth(kCFNumberFloat64Type, 0.1);
  EXPECT_FALSE(CFNumberGetValue(tenth, kCFNumberFloatType, &f));  // 0.1 is not a float
  EXPECT_EQ(f, 0.1f);
  EXPECT_TRUE(CFNumberGetValue(tenth, kCFNumberCGFloatType, &d));
  EXPECT_EQ(d, 0.1);
  Number fromFloat(kCFNumberFloat32Type, 0.1f);
  EXPECT_TRUE(CFNumberGetValue(fromFloat, kCFNumberFloat64Type, &d));
  EXPECT_EQ(d, static_cast<double>(0.1f));
  EXPECT_TRUE(CFNumberGetValue(fromFloat, kCFNumberFloat32Type, &f));
  EXPECT_EQ(f, 0.1f);
  Number tooBig(kCFNumberFloat64Type, 1e300);
  EXPECT_FALSE(CFNumberGetValue(tooBig, kCFNumberFloat32Type, &f));
  EXPECT_TRUE(std::isinf(f));
  EXPECT_GT(f, 0.0f);
  Number inf(kCFNumberFloat64Type, -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(CFNumberGetValue(inf, kCFNumberFloat32Type, &f));
  EXPECT_TRUE(std::isinf(f));
  EXPECT_LT(f, 0.0f);
  Number fltMax(kCFNumberFloat64Type, static_cast<double>(std::numeric_limits<float>::max()));
  EXPECT_TRUE(CFNumberGetValue(fltMax, kCFNumberFloat32Type, &f));
  EXPECT_EQ(f, std::numeric_limits<float>::max());
}

TEST(CFNumber, IntegerToFloatingExactness) {
  double d = 0;
  float f = 0;
  Number three(kCFNumberIntType, 3);
  EXPECT_TRUE(CFNumberGetValue(three, kCFNumberDoubleType, &d));
  EXPECT_EQ(d, 3.0);
  EXPECT_TRUE(CFNumberGetValue(three, kCFNumberFloatType, &f));
  EXPECT_EQ(f, 3.0f);
  Number odd24(kCFNumberSInt32Type, (1 << 24) + 1);
  EXPECT_FALSE(CFNumberGetValue(odd24, kCFNumberFloat32Type, &f));
  EXPECT_EQ(f, 16777216.0f);
  EXPECT_TRUE(CFNumberGetValue(odd24, kCFNumberFloat64Type, &d));
  Number odd53(kCFNumberSInt64Type, (int64_t{1} << 53) + 1);
  EXPECT_FALSE(CFNumberGetValue(odd53, kCFNumberFloat64Type, &d));
  EXPECT_EQ(d, 0x1p53);
  Number max64(kCFNumberSInt64Type, INT64_MAX);
  EXPECT_FALSE(CFNumberGetValue(max64, kCFNumberFloat64Type, &d));  // rounds up to 2^63
  EXPECT_EQ(d, 0x1p63);
  EXPECT_FALSE(CFNumberGetValue(max64, kCFNumberFloat32Type, &f));
  Number min64(kCFNumberSInt64Type, INT64_MIN);
  EXPECT_TRUE(CFNumberGetValue(min64, kCFNumberFloat64Type, &d));
  EXPECT_EQ(d, -0x1p63);
}

TEST(CFNumber, EqualComparesValuesAcrossTypes) {
  Number i(kCFNumberIntType, 1);
  Number l(kCFNumberSInt64Type, int64_t{1});
  Number d(kCFNumberDoubleType, 1.0);
  Number f(kCFNumberFloatType, 1.0f);
  Number half(kCFNumberDoubleType, 1.5);
  Number two(kCFNumberIntType, 2);
  EXPECT_TRUE(CFEqual(i, l));
  EXPECT_TRUE(CFEqual(i, d));
  EXPECT_TRUE(CFEqual(d, f));
  EXPECT_TRUE(CFEqual(f, i));
  EXPECT_FALSE(CFEqual(i, two));
  EXPECT_FALSE(CFEqual(half, i));
  EXPECT_FALSE(CFEqual(i, kCFBooleanTrue));
  Number max64(kCFNumberSInt64Type, INT64_MAX);
  Number twoTo63(kCFNumberDoubleType, 0x1p63);
  EXPECT_FALSE(CFEqual(max64, twoTo63));
}

}  // namespace
