#include "pixxicato/pixxicato_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "tessivo/frame/module_codes.h"
#include "tessivo/test/fake_host.h"

namespace tessivo {
namespace {

using test::FakeHost;
using test::TestImage;
using Strings = std::vector<std::string>;
using Args = std::vector<uintptr_t>;

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

class PixxicatoModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kPixxicatoCode), 1u);
    settings_ = static_cast<PixxicatoSettings *>(registered<SettingsSaveRecord>(2).settings);
    // Every pixel different, so any other sample or window shows.
    input.fill([](uint32_t x, uint32_t y) { return 0x01020304u * (x + 1) + 0x10305070u * y; });
  }
  void TearDown() override { host.destroy(), host.unload(); }

  void enable() {
    host.requestResults[1] = 0;  // nothing can deliver On/Off, so the module runs
    HostEvent event = FakeHost::event(nullptr);
    host.send(kInputsConnected, &event);
  }
  uint32_t render() {
    host.log.clear();
    request = host.outputRequest(output);
    HostEvent event = FakeHost::event(&request);
    return host.send(kRenderOutput, &event);
  }
  template <typename Record>
  const Record &registered(size_t index) {
    return *reinterpret_cast<const Record *>(host.registeredRecords().at(index));
  }
  PixxicatoSettings &settings() { return *settings_; }
  uint32_t runPanel() {
    const auto &dialog = registered<SettingsDialogRecord>(1);
    return dialog.build(dialog.settings, host.panel.table());
  }
  // The module's output against the kernel run directly with the given factors.
  ::testing::AssertionResult rendersAs(float x, float y) {
    TestImage expected(output.width(), output.height(), output.format());  // as CreateImage leaves it: zero
    const PixxicatoImage image{input.descriptor().baseAddress, input.descriptor().rowBytes,
                               expected.descriptor().baseAddress, expected.descriptor().rowBytes,
                               input.width(), input.height(), input.format()};
    PixxicatoScratch scratch;
    Pixxicate(image, settings().mode, x, y, scratch);
    for (uint32_t py = 0; py < output.height(); ++py)
      for (uint32_t px = 0; px < output.width(); ++px)
        if (output.pixel(px, py) != expected.pixel(px, py))
          return ::testing::AssertionFailure() << "differs at " << px << "," << py;
    return ::testing::AssertionSuccess();
  }

  FakeHost host;
  TestImage input{23, 9, kPixelFormatARGB8888}, output{23, 9, kPixelFormatARGB8888};
  ValueRecord request{};
  PixxicatoSettings *settings_ = nullptr;
};

TEST_F(PixxicatoModuleTest, RegistersFourRecordsAndStartsInCenterMode) {
  const auto records = host.registeredRecords();
  ASSERT_EQ(records.size(), 4u);
  const uint32_t expected[][4] = {{FourCC("iinf"), kPixxicatoCode, 1, 1},
                                  {FourCC("isdl"), kPixxicatoCode, 2, 1},
                                  {FourCC("isav"), kPixxicatoCode, 1, 1},
                                  {FourCC("ctrl"), FourCC("iprm"), 2, 1}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ((std::vector<uint32_t>{records[i]->kind, records[i]->owner, records[i]->version, records[i]->count}),
              (std::vector<uint32_t>(expected[i], expected[i] + 4)))
        << i;
  }
  const auto &parameters = registered<ParameterRecord>(3);
  EXPECT_TRUE(parameters.settings == &settings() && parameters.set == nullptr && parameters.get == nullptr);
  EXPECT_EQ(registered<SettingsDialogRecord>(1).settings, &settings());
  EXPECT_EQ(settings().mode, 1u);
  EXPECT_EQ(settings().hostCookie, &host);
}

// The factors each connection pattern gives: both 0.1 with nothing connected,
// the missing axis 0 when one input delivers, an empty delivery counting as none.
TEST_F(PixxicatoModuleTest, FactorsFollowWhichControllersDeliver) {
  enable();
  const struct {
    int x, y;  // -1: nothing; -2: present without a value; else the value in tenths
    float fx, fy;
  } cases[] = {
      {-1, -1, 0.1f, 0.1f}, {-2, -2, 0.1f, 0.1f}, {5, -1, 0.5f, 0.0f},
      {-1, 7, 0.0f, 0.7f},  {3, -2, 0.3f, 0.0f},  {10, 4, 1.0f, 0.4f},
  };
  for (const uint32_t mode : {kPixxicatoCenter, kPixxicatoMean, kPixxicatoMinimum}) {
    settings().mode = mode;
    for (const auto &c : cases) {
      const auto deliver = [&](uint32_t port, int what) {
        what == -1 ? host.deliverNothing(port)
        : what == -2 ? host.deliverEmptyControl(port)
                     : host.deliverControl(port, static_cast<float>(what) / 10.0f);
      };
      deliver(2, c.x), deliver(3, c.y);
      host.deliverImage(0, input);
      ASSERT_EQ(render(), 1u);
      ASSERT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "CreateImage", "LockImage"}));
      EXPECT_EQ((Args{host.log.calls()[0].args[0], host.log.calls()[1].args[0], host.log.calls()[2].args[0]}),
                (Args{0, 2, 3}));
      EXPECT_TRUE(rendersAs(c.fx, c.fy)) << mode << ": " << c.x << " " << c.y;
      EXPECT_TRUE(output.paddingIntact());
    }
  }
  // Reads that finish on another thread are waited for.
  host.deliverImage(0, input, FakeHost::Delivery::Later);
  host.deliverControl(2, 1.0f, FakeHost::Delivery::Later);
  host.deliverControl(3, 1.0f, FakeHost::Delivery::Later);
  ASSERT_EQ(render(), 1u);
  EXPECT_TRUE(rendersAs(1.0f, 1.0f));
}

TEST_F(PixxicatoModuleTest, CopiesWithTheInputsDescriptorWhenDisabledOrBothFactorsAreZero) {
  host.deliverImage(0, input), host.deliverControl(2, 0.5f), host.deliverControl(3, 0.5f);
  ASSERT_EQ(render(), 1u);  // not enabled yet: the controllers are not read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  enable();
  for (const auto &[x, y] : {std::pair{0.0f, 0.0f}, std::pair{-0.0f, 0.0f}, std::pair{0.0f, NAN}}) {
    host.deliverControl(2, x);
    std::isnan(y) ? host.deliverNothing(3) : host.deliverControl(3, y);  // X = 0 alone makes Y 0
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "CopyImage"})) << x << " " << y;
    EXPECT_EQ(host.log.named("CopyImage")[0].args,
              (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));
    EXPECT_EQ(output.pixel(22, 8), input.pixel(22, 8));
  }
}

TEST_F(PixxicatoModuleTest, FailsWithoutWritingWhenAPieceIsMissingAndIgnoresUnknownModesAndFormats) {
  enable();
  host.deliverControl(2, 0.5f);
  EXPECT_EQ(render(), 0u);  // no input image
  host.deliverImage(0, input), host.createFails = true;
  EXPECT_EQ(render(), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(), 0u);
  host.lockFails = false;
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  host.log.clear();
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  EXPECT_EQ(host.log.count("ReadInput"), 0u);  // nothing is read for a request that cannot be served
  (request = host.outputRequest(output)).data = nullptr;
  EXPECT_EQ(host.send(kRenderOutput, &event), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(0, 0) == 0u);

  // Mode 7 (a corrupted setting) and a third pixel format: 1, nothing written.
  settings().mode = 7;
  EXPECT_EQ(render(), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "ReadInput", "CreateImage", "LockImage"}));
  settings().mode = kPixxicatoMean;
  output.descriptor().pixelFormat = 1;
  EXPECT_EQ(render(), 1u);
  EXPECT_TRUE(output.pixel(0, 0) == 0u && output.pixel(22, 8) == 0u && output.paddingIntact());
}

TEST_F(PixxicatoModuleTest, RequestsTheImageAsIsAndBothControllersAtTheRequestTime) {
  output.descriptor().time = 12.5;
  request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request);
  ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  for (const size_t i : {1u, 2u}) {
    EXPECT_EQ((Args{requests[i].args[0], requests[i].args[3], requests[i].args[4]}),
              (Args{i + 1, request.stamp, FourCC("ctrl")}));
    EXPECT_EQ(requests[i].reals, std::vector<double>{12.5});
  }
  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 3u);
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(cancels[i].args, (Args{i == 0 ? 0u : i + 1, 0, Ptr(&request)}));

  host.log.clear();
  request.parameter = nullptr;  // no payload: nothing requested
  EXPECT_EQ(host.send(kOutputRequested, &event), 0u);
  EXPECT_EQ(host.log.count("RequestInput"), 0u);
}

TEST_F(PixxicatoModuleTest, SavesAndRestoresTheMode) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  EXPECT_EQ(settings().mode, 1u);
  host.settings.set("Pixxicato", "Mode", int64_t{3});
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(settings().mode, 3u);
  host.settings.set("Pixxicato", "Mode", "Mean");  // a wrongly typed value keeps the mode
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(settings().mode, 3u);
  settings().mode = 4;
  host.settings.clear();
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Pixxicato", "Mode"), host::SettingValue(int64_t{4}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);
}

TEST_F(PixxicatoModuleTest, PanelOffersTheFiveModesAndStoresTheChoiceOnceTheCheckPasses) {
  settings().mode = kPixxicatoMean;
  host::CapturingPanel capture;  // cancels at once
  const auto &dialog = registered<SettingsDialogRecord>(1);
  EXPECT_EQ(dialog.build(dialog.settings, capture.table()), 0u);
  EXPECT_EQ(settings().mode, 2u);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(std::tuple(panel.rect.width, panel.rect.height), std::tuple(200, 100));
  ASSERT_EQ(panel.controls.size(), 4u);  // label, popup, OK, Cancel
  EXPECT_EQ(std::tuple(panel.controls[0].kind, panel.controls[0].text), std::tuple(host::ControlKind::StaticText, "Mode :"));
  const host::PanelControlModel &popup = panel.controls[1];
  EXPECT_EQ(std::tuple(popup.kind, popup.value, popup.caption), std::tuple(host::ControlKind::Popup, int64_t{2}, "Mode"));
  EXPECT_EQ(popup.entries, (std::vector<host::PopupEntry>{
                               {"UpperLeft", 0}, {"Center", 1}, {"Mean", 2}, {"Maximum", 3}, {"Minimum", 4}}));
  EXPECT_EQ(std::tuple(panel.controls[2].text, panel.controls[2].item, panel.controls[3].text, panel.controls[3].item),
            std::tuple("OK", 1, "Cancel", 2));
  for (const auto &control : panel.controls) {
    EXPECT_TRUE(control.rect.x >= 0 && control.rect.y >= 0 && control.rect.x + control.rect.width <= 200 &&
                control.rect.y + control.rect.height <= 100);
  }

  // OK is held back while the host's check objects, twice here.
  host.panel.set("Mode", "Maximum").ok().ok().ok().checkAnswers({1, 1});
  ASSERT_EQ(runPanel(), 1u);
  EXPECT_EQ(settings().mode, 3u);
  EXPECT_EQ(std::tuple(host.panel.model().checkCalls, host.panel.model().closeCalls), std::tuple(size_t{3}, size_t{1}));
}

TEST_F(PixxicatoModuleTest, PanelCancelOrAFailedControlKeepsTheMode) {
  settings().mode = kPixxicatoMinimum;
  host.panel.set("Mode", "UpperLeft").cancel();
  EXPECT_TRUE(runPanel() == 0u && host.panel.model().closeCalls == 1u);
  // Fail each control in turn: never shown, always closed.
  for (const size_t failing : {0u, 1u, 2u, 3u}) {
    host.panel.failControlCreation(failing);
    EXPECT_EQ(runPanel(), 0u) << failing;
    EXPECT_TRUE(!host.panel.model().shown && host.panel.model().closeCalls == 1u) << failing;
  }
  host.panel.failDialogCreation();
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(settings().mode, 4u);
}

}  // namespace
}  // namespace tessivo
