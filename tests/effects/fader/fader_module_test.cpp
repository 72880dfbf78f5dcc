#include "fader/fader_settings.h"

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

class FaderModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kFaderCode), 1u);
    input.fill([](uint32_t x, uint32_t y) { return 0x80402010u * (x + 1) + 0x01030507u * y; });
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
  FaderSettings &settings() { return *static_cast<FaderSettings *>(registered<SettingsSaveRecord>(2).settings); }
  uint32_t runPanel() {
    const auto &dialog = registered<SettingsDialogRecord>(1);
    return dialog.build(dialog.settings, host.panel.table());
  }

  FakeHost host;
  TestImage input{5, 3, kPixelFormatARGB8888}, output{5, 3, kPixelFormatARGB8888};
  ValueRecord request{};
};

// Unconnected Fade input: amount 0.5 towards the default transparent black;
// a NaN amount runs the kernel with weight 0.
TEST_F(FaderModuleTest, FadesHalfwayWhenTheAmountIsMissingAndNotAtAllForNan) {
  enable();
  for (const int fade : {0, 1, 2}) {
    fade == 0 ? host.deliverNothing(2) : fade == 1 ? host.deliverEmptyControl(2) : host.deliverControl(2, NAN);
    host.deliverImage(0, input);
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"}));
    EXPECT_EQ(host.log.named("ReadInput")[1].args[0], 2u);
    for (uint32_t y = 0; y < 3; ++y)
      for (uint32_t x = 0; x < 5; ++x)
        ASSERT_EQ(output.pixel(x, y), fade == 2 ? input.pixel(x, y) : (input.pixel(x, y) >> 1) & 0x7F7F7F7Fu) << fade;
    EXPECT_TRUE(output.paddingIntact());
  }
  host.deliverImage(0, input, FakeHost::Delivery::Later);  // from another thread
  host.deliverControl(2, 1.0f, FakeHost::Delivery::Later);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(output.pixel(2, 1), 0u);  // all the way to the default colour
}

TEST_F(FaderModuleTest, CopiesWithTheInputsDescriptorWhenDisabledOrTheAmountIsNotPositive) {
  host.deliverImage(0, input), host.deliverControl(2, 0.5f);
  ASSERT_EQ(render(), 1u);  // not enabled yet: port 2 is not read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  enable();
  for (const float amount : {0.0f, -0.0f, -0.25f, -INFINITY}) {
    host.deliverControl(2, amount);
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"})) << amount;
    EXPECT_EQ(host.log.named("CopyImage")[0].args,
              (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));
    EXPECT_EQ(output.pixel(4, 2), input.pixel(4, 2));
  }
}

TEST_F(FaderModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
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
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(0, 0) == 0u);
}

TEST_F(FaderModuleTest, RequestsTheImageAsIsAndTheFadeAtTheRequestTime) {
  output.descriptor().time = 12.5;
  request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request);
  ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  EXPECT_EQ((Args{requests[1].args[0], requests[1].args[3], requests[1].args[4]}),
            (Args{2, request.stamp, FourCC("ctrl")}));
  EXPECT_EQ(requests[1].reals, std::vector<double>{12.5});

  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 2u);
  EXPECT_EQ((std::vector{cancels[0].args, cancels[1].args}),
            (std::vector{Args{0, 0, Ptr(&request)}, Args{2, 0, Ptr(&request)}}));
}

TEST_F(FaderModuleTest, SavesAndRestoresTheFadeColourAsLowWord) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  host.settings.set("Fader", "Fade Color", static_cast<int64_t>(0xFFFFFFFF80C4117Eull));
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(settings().fadeColor, 0x80C4117Eu);
  host.settings.clear();
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Fader", "Fade Color"), host::SettingValue(int64_t{0x80C4117E}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);
}

TEST_F(FaderModuleTest, PanelShowsTheColourAndStoresColourAndAlphaOnOK) {
  settings().fadeColor = 0x40ABCDEFu;
  host::CapturingPanel capture;  // cancels at once
  const auto &dialog = registered<SettingsDialogRecord>(1);
  EXPECT_EQ(dialog.build(dialog.settings, capture.table()), 0u);
  EXPECT_EQ(settings().fadeColor, 0x40ABCDEFu);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  ASSERT_EQ(panel.controls.size(), 6u);  // two labels, colour, alpha, OK, Cancel
  EXPECT_EQ(std::tuple(panel.controls[2].kind, panel.controls[2].value, panel.controls[3].value),
            std::tuple(host::ControlKind::ColorButton, int64_t{0xABCDEF}, int64_t{0x40}));
  EXPECT_EQ(std::tuple(panel.controls[4].item, panel.controls[5].item), std::tuple(1, 2));

  host.panel.hit(7).set("Fade color", "#123456").set("Fade alpha", "127").ok();
  ASSERT_EQ(runPanel(), 1u);
  EXPECT_TRUE(settings().fadeColor == 0x7F123456u && host.panel.model().closeCalls == 1u);
}

TEST_F(FaderModuleTest, PanelCancelOrAFailedControlKeepsTheColour) {
  settings().fadeColor = 0x40ABCDEFu;
  host.panel.set("Fade alpha", "1").cancel();
  EXPECT_TRUE(runPanel() == 0u && host.panel.model().closeCalls == 1u);
  // Fail the colour button, the number field and each button in turn: never shown, always closed.
  for (const size_t failing : {2u, 3u, 4u, 5u}) {
    host.panel.failControlCreation(failing);
    EXPECT_EQ(runPanel(), 0u) << failing;
    EXPECT_TRUE(!host.panel.model().shown && host.panel.model().closeCalls == 1u) << failing;
  }
  host.panel.failDialogCreation();
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(settings().fadeColor, 0x40ABCDEFu);
}

}  // namespace
}  // namespace tessivo
