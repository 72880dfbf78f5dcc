// Blur through the real bundle, with the vImage library present and absent:
// records and the per-output cache, settings and keys, requests, every render
// branch, the fast path and its buffers.
#include "blur/blur_module.h"
#include "blur/box_blur.h"

#include <gtest/gtest.h>

#include <Accelerate/Accelerate.h>
#include <dlfcn.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/settings_values.h"
#include "tessivo/test/fake_host.h"

namespace tessivo {
namespace {

using test::FakeHost;
using test::TestImage;
using Strings = std::vector<std::string>;

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

// The library's own function, as a check of what the fast path produced.
template <class Function>
Function Library(const char *name) {
  void *library = dlopen("libtessivo_accelerate.so", RTLD_NOW | RTLD_NOLOAD);
  auto function = library != nullptr ? reinterpret_cast<Function>(dlsym(library, name)) : nullptr;
  if (library != nullptr) dlclose(library);
  return function;
}

class BlurModuleTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    host.withVImage = GetParam();
    ASSERT_EQ(host.load(), 1u);
    ASSERT_EQ(host.create(kBlurCode), 1u);
    records = host.registeredRecords();
    const auto &effs = registered<OutputCacheRecord>(2);
    cache = static_cast<OutputCache *>(effs.create(effs.instance, nullptr, 1));
    ASSERT_NE(cache, nullptr);
  }
  void TearDown() override {
    const auto &effs = registered<OutputCacheRecord>(2);
    effs.destroy(effs.instance, cache, 1);
    host.destroy(), host.unload();
  }

  template <typename Record>
  const Record &registered(size_t index) {
    return *reinterpret_cast<const Record *>(records.at(index));
  }
  BlurSettings &settings() { return *static_cast<BlurSettings *>(registered<SettingsSaveRecord>(0).settings); }
  const BlurModule &module() { return *static_cast<BlurModule *>(host.call().instance); }
  void set(const char *key, CFTypeRef value) {
    const auto &keys = registered<ParameterRecord>(1);
    CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
    keys.set(keys.settings, name, value);
    CFRelease(name);
    if (value != nullptr && CFGetTypeID(value) != CFBooleanGetTypeID()) CFRelease(value);
  }
  void enable() {
    host.requestResults[1] = 0;  // nothing can deliver On/Off, so the module runs
    HostEvent event = FakeHost::event(nullptr);
    host.send(kInputsConnected, &event);
  }
  // A whole frame as the host sends it: request, start, render, stop.
  uint32_t frame(bool logAll = false) {
    request = host.outputRequest(output);
    request.cache = cache;
    HostEvent event = FakeHost::event(&request);
    host.send(kOutputRequested, &event);
    host.send(kRenderStart, &event);
    if (!logAll) host.log.clear();
    const uint32_t result = host.send(kRenderOutput, &event);
    host.send(kRenderStop, &event);
    return result;
  }
  void fillInput(TestImage &image) {
    image.fill([](uint32_t x, uint32_t y) { return 0x9E3779B9u * (x * 31 + y * 17 + 5) ^ (x * y); });
  }
  // What the software engine gives for the input at the output's size.
  void expectSoftwareBlur(TestImage &from, float x, float y, bool pixels) {
    TestImage want(output.width(), output.height(), output.format());
    SoftwareBoxBlur({from.descriptor().baseAddress, from.descriptor().rowBytes, want.descriptor().baseAddress,
                     want.descriptor().rowBytes, output.width(), output.height(), output.format()},
                    {x, y, pixels});
    for (uint32_t j = 0; j < output.height(); ++j)
      for (uint32_t i = 0; i < output.width(); ++i) ASSERT_EQ(output.pixel(i, j), want.pixel(i, j)) << i << "," << j;
    EXPECT_TRUE(output.paddingIntact());
  }

  FakeHost host;
  std::vector<const RecordHeader *> records;  // as registered at creation
  OutputCache *cache = nullptr;
  TestImage input{13, 9, kPixelFormatARGB8888}, output{13, 9, kPixelFormatARGB8888};
  ValueRecord request{};
};

TEST_P(BlurModuleTest, RecordsInOrderAndThePerOutputCache) {
  ASSERT_EQ(records.size(), 4u);
  const uint32_t kinds[] = {FourCC("isav"), FourCC("ctrl"), FourCC("effs"), FourCC("iinf")};
  const uint32_t owners[] = {kBlurCode, FourCC("iprm"), kBlurCode, kBlurCode};
  const uint16_t versions[] = {1, 2, 2, 1};
  for (size_t i = 0; i < 4; ++i)
    EXPECT_TRUE(records[i]->kind == kinds[i] && records[i]->owner == owners[i] && records[i]->version == versions[i] &&
                records[i]->count == 1)
        << i;
  EXPECT_TRUE(cache->lastX == -10.0f && cache->lastY == -10.0f && cache->lastMode == 0 && cache->lastStamp == 0);
  const auto &effs = registered<OutputCacheRecord>(2);
  int probe = 0;
  EXPECT_EQ(effs.create(effs.instance, nullptr, 0), nullptr);
  EXPECT_EQ(effs.create(nullptr, nullptr, 1), nullptr);
  EXPECT_TRUE(effs.begin(&probe, nullptr, 0) == &probe && effs.end(&probe, nullptr, 0) == &probe);
  EXPECT_EQ(effs.destroy(effs.instance, nullptr, 1), nullptr);  // a null cache is left alone
  const BlurSettings &defaults = settings();
  EXPECT_TRUE(defaults.type == 0 && defaults.amountX == 0.2f && defaults.amountY == 0.0f &&
              defaults.isNumberOfPixels == 0);
}

TEST_P(BlurModuleTest, SettingsPersistAndTakeKeyedValues) {
  const auto &store = registered<SettingsSaveRecord>(0);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  settings() = {1, 0.3f, -2.5f, 1, settings().hostCookie};
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.keys("Blur"), (Strings{"Blur in X", "Blur in Y", "Is Number of Pixels", "Type"}));
  EXPECT_EQ(host.settings.get("Blur", "Type"), host::SettingValue(int64_t{1}));
  EXPECT_EQ(host.settings.get("Blur", "Blur in X"), host::SettingValue(double{0.3f}));
  EXPECT_EQ(host.settings.get("Blur", "Is Number of Pixels"), host::SettingValue(true));
  host.settings.set("Blur", "Type", int64_t{0x700000002});   // the low word, as stored
  host.settings.set("Blur", "Blur in X", 0.1);                // narrowed to float
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_TRUE(settings().type == 2 && settings().amountX == 0.1f && settings().amountY == -2.5f &&
              settings().isNumberOfPixels == 1);

  set("Type", MakeInt32(-1));
  set("Blur in X", MakeDouble(4.75));
  set("Blur in Y", MakeDouble(0.125));
  set("Is Number of Pixels", MakeBoolean(0));
  EXPECT_TRUE(settings().type == 0xFFFFFFFFu && settings().amountX == 4.75f && settings().amountY == 0.125f &&
              settings().isNumberOfPixels == 0);
  testing::internal::CaptureStdout();
  set("Blur in Y", CFStringCreateWithCString(nullptr, "wide", kCFStringEncodingUTF8));  // wrong type: kept
  set("Blur in Z", MakeDouble(9.0));                                                   // unknown: nothing
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed.rfind("Wrong number value", 0), 0u) << printed;
  EXPECT_EQ(settings().amountY, 0.125f);

  const auto &keys = registered<ParameterRecord>(1);
  auto get = [&](const char *key) {
    CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
    CFTypeRef value = keys.get(keys.settings, name);
    CFRelease(name);
    return value;
  };
  CFTypeRef type = get("Type"), x = get("Blur in X"), flag = get("Is Number of Pixels");
  EXPECT_EQ(ReadInt32(type, 0), -1);
  EXPECT_EQ(ReadDouble(x, 0.0), 4.75);
  EXPECT_EQ(flag, kCFBooleanFalse);
  EXPECT_EQ(get("Blur in Z"), nullptr);
  CFRelease(type), CFRelease(x);
}

TEST_P(BlurModuleTest, RequestsFullOrEvenHalfSizeAndTheControllers) {
  TestImage odd(13, 9, kPixelFormatARGB8888);
  odd.descriptor().time = 2.5;
  for (uint32_t type : {0u, 1u, 7u}) {
    settings().type = type;
    odd.reshape(13, 9, kPixelFormatARGB8888);
    host.log.clear();
    request = host.outputRequest(odd);
    HostEvent event = FakeHost::event(&request);
    ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
    const auto requests = host.log.named("RequestInput");
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].args[0], 0u);
    EXPECT_TRUE(requests[1].args[0] == 2 && requests[2].args[0] == 3);
    if (type == 1) {
      EXPECT_TRUE(module().halfWidth() == 6 && module().halfHeight() == 4);
      EXPECT_TRUE(odd.width() == 12 && odd.height() == 8);  // the request's own size rounded down to even
    } else {
      EXPECT_EQ(requests[0].args[2], Ptr(&request));
      EXPECT_TRUE(odd.width() == 13 && odd.height() == 9);
    }
    EXPECT_TRUE(module().fullWidth() == odd.width() && module().fullHeight() == odd.height());
  }
  host.log.clear();
  HostEvent event = FakeHost::event(&request);
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 3u);
  EXPECT_TRUE(cancels[0].args[0] == 0 && cancels[1].args[0] == 2 && cancels[2].args[0] == 3);
  request.parameter = nullptr;
  EXPECT_EQ(host.send(kOutputRequested, &event), 0u);
}

TEST_P(BlurModuleTest, ControllerPresenceChoosesThePass) {
  enable();
  fillInput(input);
  settings().amountX = 2.0f, settings().amountY = 3.0f, settings().isNumberOfPixels = 1;
  const struct {
    int x, y;  // -1: nothing delivered
    float wantX, wantY;
  } cases[] = {
      {-1, -1, 2.0f, 3.0f},  // neither: the settings as they are
      {-1, 2, 0.0f, 6.0f},   // only Y: no horizontal blur
      {1, -1, 2.0f, 0.0f},   // only X: no vertical blur
      {2, 0, 4.0f, 0.0f},    // both, Y at 0
      {0, 0, 0.0f, 0.0f},    // both at 0: a copy
  };
  for (const auto &c : cases) {
    if (c.x < 0) host.deliverNothing(2); else host.deliverControl(2, float(c.x));
    if (c.y < 0) host.deliverNothing(3); else host.deliverControl(3, float(c.y));
    host.deliverImage(0, input);
    input.stamp++;
    ASSERT_EQ(frame(), 1u);
    EXPECT_TRUE(cache->lastX == c.wantX && cache->lastY == c.wantY && cache->lastMode == 1 &&
                cache->lastStamp == input.stamp)
        << c.x << " " << c.y;
    if (c.wantX == 0 && c.wantY == 0) {
      EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "ImageStamp", "CopyImage"}));
      EXPECT_EQ(host.log.named("CopyImage")[0].args,
                (std::vector<uintptr_t>{Ptr(input.handle()), Ptr(request.destination), Ptr(output.handle()),
                                        Ptr(request.destination)}));
    } else {
      EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "ImageStamp", "LockImage",
                                               "CreateImage", "PrepareDestination"}));
      expectSoftwareBlur(input, c.wantX, c.wantY, true);
    }
  }
}

TEST_P(BlurModuleTest, CacheHitTouchesNothingAndDisabledCopies) {
  fillInput(input);
  host.deliverImage(0, input), host.deliverControl(2, 1.0f);
  ASSERT_EQ(frame(), 1u);  // not enabled: the controllers are not read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  EXPECT_EQ(host.log.named("CopyImage")[0].args[1], Ptr(request.destination));
  EXPECT_EQ(cache->lastStamp, 0u);

  enable();
  ASSERT_EQ(frame(), 1u);
  ASSERT_EQ(host.log.count("CreateImage"), 1u);
  output.setPixel(0, 0, 0x12345678);
  ASSERT_EQ(frame(), 1u);  // same amounts, flag and stamp: not a pixel touched
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "ImageStamp"}));
  EXPECT_EQ(output.pixel(0, 0), 0x12345678u);
  for (int change : {0, 1, 2}) {  // any one of them differing renders again
    if (change == 0) input.stamp++;
    if (change == 1) settings().isNumberOfPixels ^= 1;
    if (change == 2) settings().amountX = 0.3f;
    ASSERT_EQ(frame(), 1u);
    EXPECT_EQ(host.log.count("CreateImage"), 1u) << change;
  }

  // A missing cache, input or output fails before anything is touched.
  for (int missing : {0, 1, 2}) {
    input.stamp++;
    if (missing == 1) host.deliverNothing(0); else host.deliverImage(0, input);
    request = host.outputRequest(output);
    request.cache = missing == 0 ? nullptr : cache;
    if (missing == 2) request.data = nullptr;
    HostEvent event = FakeHost::event(&request);
    host.log.clear();
    EXPECT_EQ(host.send(kRenderOutput, &event), 0u) << missing;
    EXPECT_EQ(host.log.count("CreateImage") + host.log.count("CopyImage"), 0u) << missing;
  }
  host.deliverImage(0, input);
  host.lockFails = true;
  input.stamp++;
  EXPECT_EQ(frame(), 0u);
  host.lockFails = false, host.createFails = true;
  EXPECT_EQ(frame(), 0u);
}

TEST_P(BlurModuleTest, SoftwareEngineInBothFormatsAndNothingForOthers) {
  enable();
  settings().amountX = 0.5f, settings().amountY = 0.75f;  // fractions: both radii from the height
  for (uint32_t format : {0u, 2u, 1u}) {
    TestImage in(17, 11, format), out(17, 11, format);
    fillInput(in);
    output.reshape(17, 11, format);
    host.deliverImage(0, in);
    in.stamp = 100 + format;  // a new image: the cache holds amounts, flag and stamp only
    const std::vector<uint32_t> before = [&] {
      std::vector<uint32_t> pixels;
      for (uint32_t y = 0; y < 11; ++y)
        for (uint32_t x = 0; x < 17; ++x) pixels.push_back(output.pixel(x, y));
      return pixels;
    }();
    ASSERT_EQ(frame(), 1u);
    if (format == 1) {
      EXPECT_EQ(output.pixel(3, 3), before[3 * 17 + 3]);  // created, and nothing written
    } else {
      expectSoftwareBlur(in, 0.5f, 0.75f, false);
    }
  }
}

TEST_P(BlurModuleTest, FastPathBlursAtHalfSizeOrFallsBackToAFullSizeBlur) {
  enable();
  settings() = {1, 0.4f, 0.3f, 0, settings().hostCookie};
  TestImage half(6, 4, kPixelFormatARGB8888);  // what the host delivers for a 13x9 request
  fillInput(half);
  host.deliverImage(0, half);
  output.reshape(13, 9, kPixelFormatARGB8888);

  // Buffers exist from RenderStart to RenderStop.
  request = host.outputRequest(output);
  request.cache = cache;
  HostEvent event = FakeHost::event(&request);
  host.send(kOutputRequested, &event);
  host.send(kRenderStart, &event);
  if (GetParam()) {
    EXPECT_TRUE(module().tempBuffer() != nullptr && module().halfBuffer() != nullptr);
    EXPECT_GT(module().tempBufferSize(), 0u);
  } else {
    EXPECT_TRUE(module().tempBuffer() == nullptr && module().halfBuffer() == nullptr &&
                module().fullBuffer() != nullptr);
  }
  ASSERT_EQ(host.send(kRenderOutput, &event), 1u);
  host.send(kRenderStop, &event);
  EXPECT_TRUE(module().tempBuffer() == nullptr && module().halfBuffer() == nullptr && module().fullBuffer() == nullptr);
  ASSERT_TRUE(output.width() == 12 && output.height() == 8);

  // Kernels from the output size: (0.4 * 12 * 0.5 = 2.4 -> 2 -> 3) by (0.3 * 8 * 0.5 = 1.2 -> 1 -> 0 -> 1).
  TestImage stretched(12, 8, kPixelFormatARGB8888);
  stretched.fill([&](uint32_t x, uint32_t y) { return half.pixel(x / 2, y / 2); });
  if (!GetParam()) {
    expectSoftwareBlur(stretched, 0.4f, 0.3f, false);
    return;
  }
  auto tent = Library<decltype(&vImageTentConvolve_ARGB8888)>("vImageTentConvolve_ARGB8888");
  auto scale = Library<decltype(&vImageScale_ARGB8888)>("vImageScale_ARGB8888");
  ASSERT_TRUE(tent != nullptr && scale != nullptr);
  std::vector<uint32_t> blurred(6 * 4), want(12 * 8);
  const vImage_Buffer in{half.descriptor().baseAddress, 4, 6, half.descriptor().rowBytes};
  const vImage_Buffer mid{blurred.data(), 4, 6, 24};
  const vImage_Buffer out{want.data(), 8, 12, 48};
  ASSERT_EQ(tent(&in, &mid, nullptr, 0, 0, 1, 3, nullptr, kvImageEdgeExtend), kvImageNoError);
  ASSERT_EQ(scale(&mid, &out, nullptr, kvImageEdgeExtend), kvImageNoError);
  for (uint32_t y = 0; y < 8; ++y)
    for (uint32_t x = 0; x < 12; ++x) ASSERT_EQ(output.pixel(x, y), want[y * 12 + x]) << x << "," << y;

  // A kernel the tent filter refuses, and a one-byte image, take the fall-back.
  settings().amountX = 1e7f, settings().isNumberOfPixels = 1;
  output.reshape(13, 9, kPixelFormatARGB8888);
  half.stamp++;
  ASSERT_EQ(frame(), 1u);
  expectSoftwareBlur(stretched, 1e7f, 0.3f, true);
}

TEST_P(BlurModuleTest, FastPathOnOneByteImagesStretchesAndBlurs) {
  enable();
  settings() = {1, 3.0f, 2.0f, 1, settings().hostCookie};
  TestImage half(4, 3, 0);
  fillInput(half);
  host.deliverImage(0, half);
  output.reshape(8, 6, 0);
  ASSERT_EQ(frame(), 1u);
  TestImage stretched(8, 6, 0);
  stretched.fill([&](uint32_t x, uint32_t y) { return half.pixel(x / 2, y / 2); });
  expectSoftwareBlur(stretched, 3.0f, 2.0f, true);
}

INSTANTIATE_TEST_SUITE_P(VImage, BlurModuleTest, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool> &param) { return param.param ? "Present" : "Absent"; });

}  // namespace
}  // namespace tessivo
