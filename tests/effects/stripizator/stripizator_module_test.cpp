#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "stripes_definition.h"
#include "stripizator/stripizator_settings.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/pixels.h"
#include "tessivo/frame/settings_values.h"
#include "tessivo/test/fake_host.h"

namespace tessivo {
namespace {

using stripes_definition::DirectArgb;
using stripes_definition::DirectPlanar8;
using test::FakeHost;
using test::TestImage;
using Strings = std::vector<std::string>;
using Args = std::vector<uintptr_t>;

constexpr uint32_t kFore = 0xFFFFD200u, kBack = 0xFF000000u;

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

// The pixel format each image request asked for at the moment it was placed.
std::vector<uint32_t> requestedFormats;
uint32_t RecordFormat(void *, uint32_t, uint32_t, ValueRecord *request) {
  if (request->type == FourCC("imag"))
    requestedFormats.push_back(static_cast<const ImageDescriptor *>(request->parameter)->pixelFormat);
  return 1;
}

class StripizatorModuleTest : public testing::Test {
 protected:
  void SetUp() override { start(true); }
  void TearDown() override { host.destroy(), host.unload(); }

  // Loads the bundle with or without the vImage library and creates a module.
  void start(bool vImage) {
    host.withVImage = vImage;
    host.log.clear();
    host.load();
    ASSERT_EQ(host.create(kStripizatorCode), 1u);
    records = host.registeredRecords();  // the log they come from is cleared by each render
  }
  void enable() {
    host.requestResults[1] = 0;  // nothing can deliver On/Off, so the module runs
    HostEvent event = FakeHost::event(nullptr);
    host.send(kInputsConnected, &event);
  }
  uint32_t render(TestImage &output) {
    host.log.clear();
    request = host.outputRequest(output);
    HostEvent event = FakeHost::event(&request);
    return host.send(kRenderOutput, &event);
  }
  template <typename Record>
  const Record &registered(size_t index) {
    return *reinterpret_cast<const Record *>(records.at(index));
  }
  StripizatorSettings &settings() {
    return *static_cast<StripizatorSettings *>(registered<SettingsSaveRecord>(1).settings);
  }
  uint32_t set(const char *key, CFTypeRef value) {
    const auto &record = registered<ParameterRecord>(2);
    const CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
    const uint32_t result = record.set(record.settings, name, value);
    CFRelease(name);
    if (value != nullptr) CFRelease(value);
    return result;
  }
  // The value got by key, read back with the settings conversions.
  template <typename Read>
  auto get(const char *key, Read read) {
    const auto &record = registered<ParameterRecord>(2);
    const CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
    const CFTypeRef value = record.get(record.settings, name);
    CFRelease(name);
    const auto result = read(value);
    if (value != nullptr) CFRelease(value);
    return result;
  }

  // Renders input through the module and returns the counter value (modulo
  // the period) at which the definitions, blur then stripes, give the output;
  // -1 when none does. Absent factors count as 1.
  int64_t renderAndFindCounter(TestImage &input, std::optional<float> radiusFactor, std::optional<float> widthFactor,
                               TestImage &output) {
    host.deliverImage(0, input);
    radiusFactor ? host.deliverControl(2, *radiusFactor) : host.deliverNothing(2);
    widthFactor ? host.deliverControl(3, *widthFactor) : host.deliverNothing(3);
    if (render(output) != 1 || output.format() != kPixelFormatARGB8888 || !output.paddingIntact()) return -1;
    const uint32_t w = input.width(), h = input.height();
    const auto r = static_cast<uint32_t>(std::max(0.0f, radiusFactor.value_or(1.0f) * settings().maxRadius));
    const auto width = std::max(1u, static_cast<uint32_t>(widthFactor.value_or(1.0f) * settings().stripesWidth));
    // The blue byte of ARGB is all the alpha reads.
    const auto level = [&](uint32_t x, uint32_t y) { return input.pixel(x, y) & 0xFFu; };
    std::vector<uint32_t> blurred(size_t{w} * h);
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x)
        blurred[y * w + x] = r == 0            ? level(x, y)
                             : host.withVImage ? stripes_definition::Tent(level, w, h, x, y, r)
                                               : stripes_definition::Box(level, w, h, x, y, r);
    for (uint32_t c = 0; c < 2 * width; ++c) {
      const Stripes stripes{settings().foreColor, settings().backColor, width, c};
      const auto expected = input.format() == 0
                                ? DirectPlanar8(std::vector<uint8_t>(blurred.begin(), blurred.end()), w, h, stripes)
                                : DirectArgb(blurred, w, h, stripes);
      bool same = true;
      for (uint32_t y = 0; y < h && same; ++y)
        for (uint32_t x = 0; x < w && same; ++x) same = output.pixel(x, y) == expected[y * w + x];
      if (same) return c;
    }
    return -1;
  }

  FakeHost host;
  std::vector<const RecordHeader *> records;
  ValueRecord request{};
};

TEST_F(StripizatorModuleTest, RegistersFourRecordsAndStartsFromTheDefaults) {
  ASSERT_EQ(records.size(), 4u);
  std::vector<std::tuple<uint32_t, uint32_t, uint16_t, uint16_t>> headers;
  for (const RecordHeader *h : records) headers.emplace_back(h->kind, h->owner, h->version, h->count);
  EXPECT_EQ(headers, (decltype(headers){{FourCC("iinf"), kStripizatorCode, 1, 1},
                                        {FourCC("isav"), kStripizatorCode, 1, 1},
                                        {FourCC("ctrl"), FourCC("iprm"), 2, 1},
                                        {FourCC("effs"), kStripizatorCode, 2, 1}}));
  EXPECT_EQ(registered<ParameterRecord>(2).settings, registered<SettingsSaveRecord>(1).settings);
  EXPECT_EQ(settings().hostCookie, host.portApi.cookie);
  ASSERT_NE(host.classRecord.descriptor, nullptr);
  EXPECT_EQ(host.classRecord.descriptor->code, kStripizatorCode);
  // No state per output: nothing is created, and the cache is passed on as given.
  const auto &cache = registered<OutputCacheRecord>(3);
  int marker = 0;
  EXPECT_EQ(cache.create(cache.instance, &request, 1), nullptr);
  EXPECT_EQ(cache.begin(&marker, &request, 0), &marker);
  EXPECT_EQ(cache.end(&marker, &request, 0), &marker);

  EXPECT_EQ(get("Max Radius", [](CFTypeRef v) { return ReadDouble(v, -1); }), 7.0);
  EXPECT_EQ(get("Stripes Width", [](CFTypeRef v) { return ReadDouble(v, -1); }), 7.0);
  EXPECT_EQ(get("BackColor", [](CFTypeRef v) { return ReadPackedColor(v, 1); }), kBack);
  EXPECT_EQ(get("ForeColor", [](CFTypeRef v) { return ReadPackedColor(v, 1); }), kFore);
  EXPECT_EQ(get("Moving Stripes", [](CFTypeRef v) { return ReadBoolean(v, 7); }), 1u);
  EXPECT_EQ(get("Type", [](CFTypeRef v) { return v; }), nullptr);
}

TEST_F(StripizatorModuleTest, KeysClampOnSetConvertColoursAndIgnoreTheUnknown) {
  const struct {
    const char *key;
    double number, stored;
  } numbers[] = {{"Max Radius", 250.0, 100.0}, {"Max Radius", -3.0, 0.0},         {"Max Radius", 12.5, 12.5},
                 {"Stripes Width", 0.2, 1.0},  {"Stripes Width", 5000.0, 1000.0}, {"Stripes Width", 3.25, 3.25}};
  for (const auto &n : numbers) {
    EXPECT_EQ(set(n.key, MakeDouble(n.number)), 1u) << n.key;
    EXPECT_EQ(get(n.key, [](CFTypeRef v) { return ReadDouble(v, -1); }), n.stored) << n.key << " " << n.number;
  }
  EXPECT_EQ(set("ForeColor", MakePackedColor(0x80FF8000u)), 1u);
  EXPECT_EQ(set("BackColor", MakePackedColor(0xFF123456u)), 1u);
  EXPECT_EQ(set("Moving Stripes", MakeBoolean(0)), 1u);
  EXPECT_EQ(std::tuple(settings().foreColor, settings().backColor, settings().movingStripes),
            std::tuple(0x80FF8000u, 0xFF123456u, uint8_t{0}));
  EXPECT_EQ(get("Moving Stripes", [](CFTypeRef v) { return v; }), kCFBooleanFalse);
  // Wrong types keep the value; unknown keys and missing settings change nothing.
  testing::internal::CaptureStdout();
  EXPECT_EQ(set("ForeColor", MakeDouble(0.5)), 1u);
  EXPECT_EQ(set("Stripes Width", MakeBoolean(1)), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, 16), "Wrong color type");
  EXPECT_EQ(set("Stripes width", MakeDouble(9)) + set("Fade Color", MakeDouble(9)), 0u);
  const auto &record = registered<ParameterRecord>(2);
  EXPECT_EQ(record.set(nullptr, CFSTR("Max Radius"), nullptr), 0u);
  EXPECT_EQ(record.get(nullptr, CFSTR("Max Radius")), nullptr);
  EXPECT_EQ(std::tuple(settings().foreColor, settings().stripesWidth, settings().maxRadius),
            std::tuple(0x80FF8000u, 3.25f, 12.5f));
}

TEST_F(StripizatorModuleTest, SaveAndLoadExchangeTheColoursAndLoadDoesNotClamp) {
  const auto &store = registered<SettingsSaveRecord>(1);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.keys("Stripizator"),
            (Strings{"BackColor", "ForeColor", "Max Radius", "Moving Stripes", "Stripes Width"}));
  EXPECT_EQ(host.settings.get("Stripizator", "Max Radius"), host::SettingValue(7.0));
  EXPECT_EQ(host.settings.get("Stripizator", "Moving Stripes"), host::SettingValue(int64_t{1}));
  EXPECT_EQ(host.settings.get("Stripizator", "ForeColor")->asColor().packed(), kFore);
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(std::tuple(settings().foreColor, settings().backColor), std::tuple(kBack, kFore));
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);  // crossed twice: back as it was
  EXPECT_EQ(std::tuple(settings().foreColor, settings().backColor), std::tuple(kFore, kBack));

  host.settings.set("Stripizator", "Max Radius", 250.0);
  host.settings.set("Stripizator", "Stripes Width", 0.0);
  host.settings.set("Stripizator", "Moving Stripes", false);
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(std::tuple(settings().maxRadius, settings().stripesWidth, settings().movingStripes),
            std::tuple(250.0f, 0.0f, uint8_t{0}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing) + store.save(nullptr, host.settings.table()), 0u);
}

// The image is asked for as one byte a pixel, and the request's own
// descriptor says ARGB8888 afterwards, whatever it said before.
TEST_F(StripizatorModuleTest, RequestsAOneByteImageThenTheControllersAtTheRequestTime) {
  TestImage output(4, 3, kPixelFormatARGB8888), greyOutput(4, 3, kPixelFormatPlanar8);
  const RequestInputFn logging = host.portApi.RequestInput;
  host.portApi.RequestInput = &RecordFormat;
  requestedFormats.clear();
  for (TestImage *image : {&greyOutput, &output}) {
    image->descriptor().time = 2.75;
    request = host.outputRequest(*image);
    HostEvent event = FakeHost::event(&request);
    ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
    EXPECT_EQ(static_cast<const ImageDescriptor *>(request.parameter)->pixelFormat, 2u);
  }
  EXPECT_EQ(requestedFormats, (std::vector<uint32_t>{0, 0}));
  HostEvent event = FakeHost::event(&request);
  host.portApi.RequestInput = logging;
  host.log.clear();
  ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].args[0], 0u);
  EXPECT_EQ(requests[0].args[5], Ptr(request.parameter));
  for (const size_t i : {1u, 2u}) {
    EXPECT_EQ((Args{requests[i].args[0], requests[i].args[3], requests[i].args[4]}),
              (Args{i + 1, request.stamp, FourCC("ctrl")}));
    EXPECT_EQ(requests[i].reals, std::vector<double>{2.75});
  }
  host.requestResults[0] = 0;  // the image cannot come: the controllers are not asked
  host.log.clear();
  EXPECT_EQ(host.send(kOutputRequested, &event), 1u);
  EXPECT_EQ(host.log.functions(), Strings{"RequestInput"});

  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 3u);
  EXPECT_EQ((std::vector{cancels[0].args, cancels[1].args, cancels[2].args}),
            (std::vector{Args{0, 0, Ptr(&request)}, Args{2, 0, Ptr(&request)}, Args{3, 0, Ptr(&request)}}));
}

TEST_F(StripizatorModuleTest, CopiesWhenDisabledAndFailsWithoutWritingWhenAPieceIsMissing) {
  TestImage input(5, 3, kPixelFormatPlanar8), output(5, 3, kPixelFormatARGB8888);
  input.fill([](uint32_t x, uint32_t y) { return 40 * x + y; });
  host.deliverImage(0, input), host.deliverControl(2, 0.0f), host.deliverControl(3, 1.0f);
  ASSERT_EQ(render(output), 1u);  // not enabled yet: the controllers are not read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "LockImage", "CopyImage"}));
  EXPECT_EQ(host.log.named("CopyImage")[0].args,
            (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));

  enable();
  host.lockFails = true;
  EXPECT_EQ(render(output), 0u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "LockImage"}));
  host.lockFails = false, host.createFails = true;
  EXPECT_EQ(render(output), 0u);
  host.createFails = false;
  TestImage greyOutput(5, 3, kPixelFormatPlanar8);  // a one-byte output cannot take the stripes
  EXPECT_EQ(render(greyOutput), 0u);
  EXPECT_TRUE(greyOutput.pixel(4, 2) == 0 && greyOutput.paddingIntact());
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  input.descriptor().baseAddress = nullptr;  // a source without pixels
  EXPECT_EQ(render(output), 0u);
  host.deliverNothing(0);
  EXPECT_EQ(render(output), 0u);
  EXPECT_EQ(output.pixel(0, 0), 0u);
}

// Whole frames against the definitions with either engine: the tent when
// the library is there, the software blur when it is withheld, no blur for a
// radius factor of 0; radius 7 by default (wider than these images), 2 with
// a factor of 2/7. White shows where the engines differ: the tent keeps 255
// (alpha 0), the software blur's truncated weight gives 254 (alpha 1).
TEST_F(StripizatorModuleTest, RendersTheBlurAndStripeDefinitionsWithEitherEngine) {
  std::mt19937 random(11);
  for (const bool vImage : {true, false}) {
    TearDown(), start(vImage), enable();
    const struct {
      uint32_t format, width, height;
    } sizes[] = {{0, 13, 9}, {2, 11, 7}, {0, 5, 2}, {0, 1, 6}, {2, 2, 5}, {0, 23, 3}};
    for (const auto &size : sizes) {
      for (const std::optional<float> radius : {std::optional<float>(), std::optional<float>(2.0f / 7.0f),
                                                std::optional<float>(0.0f), std::optional<float>(-3.0f)}) {
        TestImage input(size.width, size.height, size.format), output(size.width, size.height, 2);
        input.fill([&](uint32_t, uint32_t) { return static_cast<uint32_t>(random()); });
        EXPECT_GE(renderAndFindCounter(input, radius, 1.0f, output), 0)
            << vImage << " " << size.width << "x" << size.height << " format " << size.format;
      }
    }
    TestImage white(13, 9, 0), output(13, 9, 2);
    white.fill([](uint32_t, uint32_t) { return 255u; });
    for (const std::optional<float> radius : {std::optional<float>(), std::optional<float>(0.0f)}) {
      ASSERT_GE(renderAndFindCounter(white, radius, 1.0f, output), 0);
      EXPECT_EQ(Alpha(output.pixel(6, 4)), !vImage && !radius ? 1u : 0u) << vImage;
    }
  }
}

// Each format's counter moves once per render of that format, empty frames
// included, while the stripes move, and not at all while they stand still.
TEST_F(StripizatorModuleTest, EachFormatsCounterMovesOncePerRender) {
  enable();
  for (const uint32_t format : {0u, 2u}) {
    TestImage input(23, 5, format), other(23, 5, 2 - format), output(23, 5, 2);
    input.fill([](uint32_t x, uint32_t y) { return x * 11 + y * 50; });
    const int64_t first = renderAndFindCounter(input, 0.0f, std::nullopt, output);  // width 7, period 14
    ASSERT_GE(first, 0) << format;
    EXPECT_EQ(renderAndFindCounter(input, 0.0f, 1.0f, output), (first + 1) % 14) << format;
    EXPECT_GE(renderAndFindCounter(other, 0.0f, 1.0f, output), 0);
    EXPECT_EQ(renderAndFindCounter(input, 0.0f, 1.0f, output), (first + 2) % 14) << format;
    TestImage empty(23, 0, 2);  // an empty frame counts too
    EXPECT_EQ(render(empty), 1u);
    EXPECT_EQ(renderAndFindCounter(input, 0.0f, 1.0f, output), (first + 4) % 14) << format;
    EXPECT_GE(renderAndFindCounter(input, 0.0f, 0.0f, output), 0);  // a width of 0 draws stripes of one pixel
    settings().movingStripes = 0;
    const int64_t still = renderAndFindCounter(input, 0.0f, 0.5f, output);  // width 3, period 6
    EXPECT_TRUE(still >= 0 && renderAndFindCounter(input, 0.0f, 0.5f, output) == still) << format;
    settings().movingStripes = 1;
  }
}

}  // namespace
}  // namespace tessivo
