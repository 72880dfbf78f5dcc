#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "../module_test_support.h"

namespace tessivo::test {
namespace {

constexpr float kNone = -12345.0f;  // a controller that delivers nothing

class IrisationModuleTest : public ModuleTest<kIrisationCode> {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    input.fill([](uint32_t x, uint32_t y) { return 0x01000000u * (y + 1) + 0x00010101u * (x + 1) * 2; });
    host.deliverImage(0, input);
  }
  uint32_t render(float x, float y) {
    x == kNone ? host.deliverNothing(2) : host.deliverControl(2, x);
    y == kNone ? host.deliverNothing(3) : host.deliverControl(3, y);
    return ModuleTest::render(output);
  }
  // The output against the fringe written out for displacements s and t.
  void expectFringe(int64_t s, int64_t t) {
    const auto at = [&](int64_t x, int64_t y, uint32_t mask) {
      const bool inside = x >= 0 && y >= 0 && x < input.width() && y < input.height();
      return inside ? input.pixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y)) & mask : 0u;
    };
    for (uint32_t y = 0; y < input.height(); ++y)
      for (uint32_t x = 0; x < input.width(); ++x) {
        const uint32_t expected = at(x, y, 0xFF00FF00u) | at(x - s, y - t, 0x00FF0000u) | at(x + s, y + t, 0xFFu);
        ASSERT_EQ(output.pixel(x, y), expected) << "s " << s << " t " << t << " at " << x << "," << y;
      }
  }
  void expectCopyWithTheOutputsDescriptor() {
    EXPECT_EQ(host.log.named("CopyImage").at(0).args,
              (Args{Ptr(input.handle()), Ptr(request.destination), Ptr(output.handle()), Ptr(request.destination)}));
    EXPECT_EQ(host.log.count("LockImage"), 0u);
  }

  TestImage input{101, 7, kPixelFormatARGB8888}, output{101, 7, kPixelFormatARGB8888};  // halves 50 and 3
};

TEST_F(IrisationModuleTest, RegistersOnlyItsInstanceInfo) {
  EXPECT_EQ(recordKeys(), (std::vector<RecordKey>{{FourCC("iinf"), kIrisationCode, 1, 1}}));
  EXPECT_EQ(registered<InstanceInfoRecord>(0).layout->portCount, 5u);
  EXPECT_EQ(host.classRecord.descriptor->code, kIrisationCode);
}

// X and Y give fx = 2x - 1 and fy = 2y - 1 over half the width and height.
// Nothing connected splits horizontally by half the largest amount; a value on
// Y alone removes that default.
TEST_F(IrisationModuleTest, ControllersAndTheirDefaults) {
  enable();
  const struct {
    float x, y;
    int64_t s, t;
  } cases[] = {
      {kNone, kNone, 25, 0},  // fx 0.5: the first 25 columns lose red, the last 25 blue
      {kNone, 1.0f, 0, 3},    // Y alone: fx starts at 0
      {kNone, 0.0f, 0, -3},
      {1.0f, kNone, 50, 0},   // fy 0 without Y
      {0.0f, kNone, -50, 0},  // red from the right, blue from the left
      {0.75f, 0.25f, 25, -1},
      {0.6f, 0.9f, 10, 2},    // trunc(50 * 0.2f) = 10 and trunc(3 * 0.8f) = 2
  };
  for (const auto &c : cases) {
    ASSERT_EQ(render(c.x, c.y), 1u) << c.x << "," << c.y;
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "CreateImage", "LockImage"}));
    expectFringe(c.s, c.t);
  }
  host.deliverNothing(2), host.deliverEmptyControl(3);  // present without a value: absent, the default stays
  ASSERT_EQ(ModuleTest::render(output), 1u);
  expectFringe(25, 0);
}

// Values far outside [0, 1], infinities and NaN: every source outside the
// image gives 0 and nothing outside the input is read (the sanitizers watch).
TEST_F(IrisationModuleTest, WildControllerValuesStayInsideTheImage) {
  enable();
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    float x, y;
    int64_t s, t;
  } cases[] = {{1e30f, kNone, 101, 0}, {-inf, kNone, -101, 0}, {inf, -inf, 101, -7}, {kNone, 1e9f, 0, 7},
               {nan, 1.0f, 0, 3},      {nan, nan, 0, 0},        {3.0f, -2.0f, 101, -7}};
  for (const auto &c : cases) {
    ASSERT_EQ(render(c.x, c.y), 1u) << c.x << "," << c.y;
    expectFringe(c.s, c.t);
  }
  EXPECT_TRUE(output.paddingIntact());
}

// Disabled, both factors exactly 0, or a one-byte output: the input is copied
// with the output's descriptor. Another format writes nothing but succeeds.
TEST_F(IrisationModuleTest, CopiesWithTheOutputsDescriptor) {
  ASSERT_EQ(render(0.9f, 0.9f), 1u);  // not enabled yet: only the image is read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  expectCopyWithTheOutputsDescriptor();
  EXPECT_EQ(output.pixel(3, 2), input.pixel(3, 2));
  enable();
  ASSERT_EQ(render(0.5f, 0.5f), 1u);
  expectCopyWithTheOutputsDescriptor();
  ASSERT_EQ(render(kNone, 0.5f), 1u);  // the asymmetry: Y at its middle alone is a copy
  expectCopyWithTheOutputsDescriptor();

  output.reshape(101, 7, kPixelFormatPlanar8);
  ASSERT_EQ(render(0.9f, 0.9f), 1u);
  expectCopyWithTheOutputsDescriptor();
  output.reshape(101, 7, 7);
  ASSERT_EQ(render(0.9f, 0.9f), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "CreateImage", "LockImage"}));
  EXPECT_EQ(output.pixel(0, 0), 0u);
}

TEST_F(IrisationModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
  enable();
  host.createFails = true;
  EXPECT_EQ(render(0.9f, 0.9f), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(0.9f, 0.9f), 0u);
  host.lockFails = false;
  host.deliverNothing(0);
  EXPECT_EQ(render(0.9f, 0.9f), 0u);
  host.deliverImage(0, input);
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(0, 0) == 0u);
}

// The image first; the two controllers at the request's time only when the
// image request was placed. Cancels withdraw all three.
TEST_F(IrisationModuleTest, RequestsTheControllersOnlyAfterTheImage) {
  output.descriptor().time = 3.25;
  request = host.outputRequest(output);
  host.requestResults[0] = 0;
  ASSERT_EQ(send(kOutputRequested), 1u);
  EXPECT_EQ(host.log.count("RequestInput"), 1u);
  host.requestResults[0] = 1;
  host.log.clear();
  ASSERT_EQ(send(kOutputRequested), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  for (const size_t i : {1u, 2u}) {
    EXPECT_EQ((Args{requests[i].args[0], requests[i].args[3], requests[i].args[4]}),
              (Args{i + 1, request.stamp, FourCC("ctrl")}));
    EXPECT_EQ(requests[i].reals, std::vector<double>{3.25});
  }
  host.log.clear();
  ASSERT_EQ(send(kRequestCancelled), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 3u);
  EXPECT_EQ((std::vector{cancels[0].args, cancels[1].args, cancels[2].args}),
            (std::vector{Args{0, 0, Ptr(&request)}, Args{2, 0, Ptr(&request)}, Args{3, 0, Ptr(&request)}}));
}

}  // namespace
}  // namespace tessivo::test
