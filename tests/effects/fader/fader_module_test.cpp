#include "fader/fader_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tessivo/frame/module_codes.h"
#include "tessivo/test/fake_host.h"

namespace tessivo {
namespace {

using test::FakeHost;
using test::TestImage;
using Strings = std::vector<std::string>;

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

class FaderModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kFaderCode), 1u);
    input.fill([](uint32_t x, uint32_t y) { return 0x80402010u * (x + 1) + 0x01030507u * y; });
  }
  void TearDown() override {
    host.destroy();
    host.unload();
  }

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
  TestImage input{5, 3, kPixelFormatARGB8888};
  TestImage output{5, 3, kPixelFormatARGB8888};
  ValueRecord request{};
};

TEST_F(FaderModuleTest, RegistersInfoDialogAndSaveRecords) {
  const auto records = host.registeredRecords();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0]->kind, FourCC("iinf"));
  EXPECT_EQ(records[1]->kind, FourCC("isdl"));
  EXPECT_EQ(records[2]->kind, FourCC("isav"));
  EXPECT_EQ(registered<SettingsDialogRecord>(1).settings, &settings());
  EXPECT_EQ(settings().fadeColor, 0u);
}

// Unconnected Fade input: amount 0.5 towards the default transparent black.
TEST_F(FaderModuleTest, BlendsHalfwayWhenTheFadeInputDeliversNothing) {
  enable();
  for (const bool emptyPayload : {false, true}) {
    emptyPayload ? host.deliverEmptyControl(2) : host.deliverNothing(2);
    host.deliverImage(0, input);
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"}));
    EXPECT_EQ(host.log.named("ReadInput")[1].args[0], 2u);
    for (uint32_t y = 0; y < 3; ++y)
      for (uint32_t x = 0; x < 5; ++x) ASSERT_EQ(output.pixel(x, y), (input.pixel(x, y) >> 1) & 0x7F7F7F7Fu);
    EXPECT_TRUE(output.paddingIntact());
  }
}

TEST_F(FaderModuleTest, CopiesWhenDisabledOrTheAmountIsNotPositive) {
  host.deliverImage(0, input);
  ASSERT_EQ(render(), 1u);  // not enabled yet: port 2 is not read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  enable();
  for (const float amount : {0.0f, -0.0f, -0.25f, -INFINITY}) {
    host.deliverControl(2, amount);
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"})) << amount;
    EXPECT_EQ(host.log.named("CopyImage")[0].args,
              (std::vector<uintptr_t>{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()),
                                      Ptr(request.destination)}));
  }
}

TEST_F(FaderModuleTest, NanAmountRunsTheKernel) {
  enable();
  host.deliverImage(0, input);
  host.deliverControl(2, NAN);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(host.log.count("CreateImage"), 1u);
  EXPECT_EQ(output.pixel(4, 2), input.pixel(4, 2));  // its weight is 0
}

TEST_F(FaderModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
  enable();
  host.deliverControl(2, 0.5f);
  host.deliverNothing(0);
  EXPECT_EQ(render(), 0u);
  host.deliverImage(0, input);
  host.createFails = true;
  EXPECT_EQ(render(), 0u);
  host.createFails = false;
  host.lockFails = true;
  EXPECT_EQ(render(), 0u);
  host.lockFails = false;
  request = host.outputRequest(output);
  request.destination = nullptr;
  HostEvent event = FakeHost::event(&request);
  EXPECT_EQ(host.send(kRenderOutput, &event), 0u);
  HostEvent empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &empty), 0u);
  EXPECT_EQ(host.log.count("CopyImage"), 0u);
  EXPECT_EQ(output.pixel(0, 0), 0u);
}

TEST_F(FaderModuleTest, FadeInputsDeliveredFromAnotherThread) {
  enable();
  host.deliverImage(0, input, FakeHost::Delivery::Later);
  host.deliverControl(2, 1.0f, FakeHost::Delivery::Later);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(output.pixel(2, 1), 0u);  // all the way to the default colour
}

TEST_F(FaderModuleTest, RequestsTheImageAsIsAndTheFadeAtTheRequestTime) {
  output.descriptor().time = 12.5;
  request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request);
  ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].args, (std::vector<uintptr_t>{0, 0, Ptr(&request), request.stamp, FourCC("imag"),
                                                      Ptr(request.parameter)}));
  EXPECT_EQ(requests[1].args[0], 2u);
  EXPECT_EQ(requests[1].args[3], request.stamp);
  EXPECT_EQ(requests[1].args[4], FourCC("ctrl"));
  EXPECT_EQ(requests[1].reals, std::vector<double>{12.5});

  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 2u);
  EXPECT_EQ(cancels[0].args, (std::vector<uintptr_t>{0, 0, Ptr(&request)}));
  EXPECT_EQ(cancels[1].args, (std::vector<uintptr_t>{2, 0, Ptr(&request)}));
}

TEST_F(FaderModuleTest, SavesAndRestoresTheFadeColourAsLowWord) {
  const auto &store = registered<SettingsSaveRecord>(2);
  const int64_t stored = static_cast<int64_t>(0xFFFFFFFF80C4117Eull);
  host.settings.set("Fader", "Fade Color", CFNumberCreate(nullptr, kCFNumberSInt64Type, &stored));
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(settings().fadeColor, 0x80C4117Eu);
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  int64_t saved = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(host.settings.value("Fader", "Fade Color")), kCFNumberSInt64Type, &saved);
  EXPECT_EQ(saved, 0x80C4117Ell);

  host.settings.refuseGroups = true;
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);
  EXPECT_EQ(store.save(store.settings, host.settings.table()), 0u);
  EXPECT_EQ(settings().fadeColor, 0x80C4117Eu);
}

TEST_F(FaderModuleTest, PanelStoresColourAndAlphaOnOK) {
  settings().fadeColor = 0x40ABCDEFu;
  host.panel.hits = {7, 1};
  host.panel.answers = {{2, 0x123456}, {3, 0x7F}};
  ASSERT_EQ(runPanel(), 1u);
  EXPECT_EQ(settings().fadeColor, 0x7F123456u);
  EXPECT_EQ(host.panel.closed, 1);
  EXPECT_EQ((std::vector<int32_t>{host.panel.dialogX, host.panel.dialogY, host.panel.dialogWidth,
                                  host.panel.dialogHeight}),
            (std::vector<int32_t>{-32768, -32768, 200, 140}));
  const auto &controls = host.panel.controls;
  ASSERT_EQ(controls.size(), 6u);
  const Strings labels{"Fade color :", "Fade alpha :", "Pick up a color", "", "OK", "Cancel"};
  const std::vector<std::vector<int32_t>> places{{20, 20, 100, 20}, {20, 50, 100, 20}, {120, 16, 32, 26},
                                                 {120, 46, 40, 26}, {120, 100, 60, 20}, {40, 100, 60, 20}};
  for (size_t i = 0; i < controls.size(); ++i) {
    EXPECT_EQ(controls[i].label, labels[i]);
    EXPECT_EQ((std::vector<int32_t>{controls[i].x, controls[i].y, controls[i].width, controls[i].height}), places[i]);
  }
  EXPECT_EQ(controls[2].value, 0xABCDEF);
  EXPECT_EQ((std::vector<int64_t>{controls[3].value, controls[3].minimum, controls[3].maximum, controls[3].step,
                                  controls[3].digits}),
            (std::vector<int64_t>{0x40, 0, 255, 4, 0}));
  EXPECT_EQ(controls[4].item, 1);
  EXPECT_EQ(controls[5].item, 2);
}

TEST_F(FaderModuleTest, PanelCancelOrAFailedControlKeepsTheColour) {
  settings().fadeColor = 0x40ABCDEFu;
  host.panel.hits = {2};
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(host.panel.closed, 1);
  // Creations count across runs: fail the colour button, number field and each button in turn.
  for (const int failing : {2, 3, 4, 5}) {
    const int closedBefore = host.panel.closed;
    int created = 0;
    for (const auto &call : host.log.calls()) created += call.function.rfind("Add:", 0) == 0 ? 1 : 0;
    host.panel.failAtControl = created + failing;
    host.panel.hits = {1};
    EXPECT_EQ(runPanel(), 0u) << failing;
    EXPECT_EQ(host.panel.closed, closedBefore + 1) << failing;
    EXPECT_EQ(host.panel.shown, 1) << failing;
  }
  host.panel.refuseDialog = true;
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(settings().fadeColor, 0x40ABCDEFu);
}

}  // namespace
}  // namespace tessivo
