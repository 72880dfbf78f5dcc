#include "fader/fader_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/module_descriptors.h"
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

// Unconnected Fade input, or a value without a pointer or with its valid flag
// clear: amount 0.5 towards the default transparent black; a NaN amount runs
// the kernel with weight 0.
TEST_F(FaderModuleTest, FadesHalfwayWhenTheAmountIsMissingAndNotAtAllForNan) {
  enable();
  for (const int fade : {0, 1, 2, 3}) {
    if (fade == 0) host.deliverNothing(2);
    if (fade == 1) host.deliverEmptyControl(2);
    if (fade == 2) host.deliverControl(2, NAN);
    if (fade == 3) host.deliverInvalidControl(2, 1.0f);
    host.deliverImage(0, input);
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"}));
    EXPECT_EQ(host.log.named("ReadInput")[1].args[0], 2u);
    for (uint32_t y = 0; y < 3; ++y)
      for (uint32_t x = 0; x < 5; ++x)
        ASSERT_EQ(output.pixel(x, y), fade == 2 ? input.pixel(x, y) : (input.pixel(x, y) >> 1) & 0x7F7F7F7Fu) << fade;
    EXPECT_TRUE(output.paddingIntact());
  }
  // Delivered from another thread; a locked input that reports fewer columns
  // than the output (its rows are long enough) still gives every column.
  input.descriptor().width = 2;
  host.deliverImage(0, input, FakeHost::Delivery::Later);
  host.deliverControl(2, 0.5f, FakeHost::Delivery::Later);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(output.pixel(4, 2), (input.pixel(4, 2) >> 1) & 0x7F7F7F7Fu);
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
  host.log.clear();
  HostEvent empty = FakeHost::event(nullptr);  // no request: nothing placed, withdrawn or read
  EXPECT_EQ(host.send(kOutputRequested, &empty) + host.send(kRequestCancelled, &empty) +
                host.send(kRenderOutput, &empty), 0u);
  EXPECT_TRUE(host.log.calls().empty());
  // No input image, no input descriptor, no output descriptor, no output image:
  // 0 before any image is touched, whether the amount would copy or fade.
  for (const float amount : {0.0f, 0.5f}) {
    for (const int missing : {0, 1, 2, 3}) {
      host.deliverControl(2, amount);
      if (missing == 0) host.deliverNothing(0);
      if (missing == 1) host.deliverImageWithoutDescriptor(0, input);
      if (missing >= 2) host.deliverImage(0, input);
      host.log.clear();
      request = host.outputRequest(output);
      if (missing == 2) request.destination = nullptr;
      if (missing == 3) request.data = nullptr;
      HostEvent event = FakeHost::event(&request);
      EXPECT_EQ(host.send(kRenderOutput, &event), 0u) << missing << " " << amount;
      EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput"})) << missing << " " << amount;
    }
  }
  host.deliverImage(0, input), host.createFails = true;
  EXPECT_EQ(render(), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(0, 0) == 0u);
}

// The Fader's own render wins over the frame's general order: an output of
// no columns or no rows is read for, created and locked, and succeeds.
TEST_F(FaderModuleTest, AnEmptyOutputStillReadsBothInputsAndSucceeds) {
  enable();
  host.deliverImage(0, input), host.deliverControl(2, 0.5f);
  for (const auto &[width, height] : {std::pair(0u, 3u), std::pair(5u, 0u)}) {
    TestImage empty(width, height, kPixelFormatARGB8888);
    host.log.clear();
    request = host.outputRequest(empty);
    HostEvent event = FakeHost::event(&request);
    EXPECT_EQ(host.send(kRenderOutput, &event), 1u) << width;
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"})) << width;
    EXPECT_TRUE(empty.paddingIntact());
  }
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
  // A second request keeps its own time; the first one's still reads as placed.
  output.descriptor().time = 20.0;
  ValueRecord second = host.outputRequest(output);
  HostEvent secondEvent = FakeHost::event(&second);
  ASSERT_EQ(host.send(kOutputRequested, &secondEvent), 1u);
  const auto time = [](const test::LoggedCall &call) { return *reinterpret_cast<const double *>(call.args[5]); };
  EXPECT_EQ(std::pair(time(requests[1]), time(host.log.named("RequestInput")[3])), std::pair(12.5, 20.0));

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

TEST_F(FaderModuleTest, RegistersInfoDialogAndSaveRecordsWithTheirHeaders) {
  const auto records = host.registeredRecords();
  ASSERT_EQ(records.size(), 3u);
  const std::tuple<uint32_t, uint16_t> kinds[] = {{FourCC("iinf"), 1}, {FourCC("isdl"), 2}, {FourCC("isav"), 1}};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(std::tuple(records[i]->kind, records[i]->owner, records[i]->version, records[i]->count),
              std::tuple(std::get<0>(kinds[i]), kFaderCode, std::get<1>(kinds[i]), uint16_t{1})) << i;
  }
  // The bundle's own description: the published descriptor, its layout right after it.
  const auto *description = reinterpret_cast<const ModuleDescription *>(host.classRecord.descriptor);
  const auto &info = registered<InstanceInfoRecord>(0);
  int probe = 0;
  EXPECT_TRUE(description->descriptor.code == kFaderCode && info.layout == &description->layout &&
              info.passThrough(&probe) == &probe);
  const auto &dialog = registered<SettingsDialogRecord>(1);
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_TRUE(dialog.settings == store.settings && dialog.build && store.save && store.load);
}

TEST_F(FaderModuleTest, PanelShowsTheColourAndStoresColourAndAlphaOnOK) {
  settings().fadeColor = 0x40ABCDEFu;
  host::CapturingPanel capture;  // cancels at once
  const auto &dialog = registered<SettingsDialogRecord>(1);
  EXPECT_EQ(dialog.build(dialog.settings, capture.table()), 0u);
  EXPECT_EQ(settings().fadeColor, 0x40ABCDEFu);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(panel.rect, (host::PanelRect{-32768, -32768, 200, 140}));
  // Each control: kind, text, rectangle, value, number range, step, digits, item.
  using K = host::ControlKind;
  using Control = std::tuple<K, std::string, int32_t, int32_t, int32_t, int32_t, int64_t, Args>;
  std::vector<Control> built;
  for (const host::PanelControlModel &c : panel.controls) {
    built.emplace_back(c.kind, c.text, c.rect.x, c.rect.y, c.rect.width, c.rect.height, c.value,
                       Args{uintptr_t(c.minimum), uintptr_t(c.maximum), uintptr_t(c.step), uintptr_t(c.digits),
                            uintptr_t(c.item)});
  }
  EXPECT_EQ(built, (std::vector<Control>{
                       {K::StaticText, "Fade color :", 20, 20, 100, 20, 0, {0, 0, 0, 0, 0}},
                       {K::StaticText, "Fade alpha :", 20, 50, 100, 20, 0, {0, 0, 0, 0, 0}},
                       {K::ColorButton, "Pick up a color", 120, 16, 32, 26, 0xABCDEF, {0, 0, 0, 0, 0}},
                       {K::NumberField, "", 120, 46, 40, 26, 0x40, {0, 255, 4, 0, 0}},
                       {K::Button, "OK", 120, 100, 60, 20, 0, {0, 0, 0, 0, 1}},
                       {K::Button, "Cancel", 40, 100, 60, 20, 0, {0, 0, 0, 0, 2}},
                   }));

  host.panel.hit(7).set("Fade color", "#123456").set("Fade alpha", "127").ok();
  ASSERT_EQ(runPanel(), 1u);
  EXPECT_TRUE(settings().fadeColor == 0x7F123456u && host.panel.model().closeCalls == 1u);
}

TEST_F(FaderModuleTest, PanelCancelOrAFailedControlKeepsTheColour) {
  settings().fadeColor = 0x40ABCDEFu;
  host.panel.set("Fade alpha", "1").cancel();
  EXPECT_TRUE(runPanel() == 0u && host.panel.model().closeCalls == 1u);
  // Fail the colour button, the number field and each button in turn: the
  // other controls are still built, then the panel closes unshown.
  for (const size_t failing : {2u, 3u, 4u, 5u}) {
    host.panel.failControlCreation(failing);
    EXPECT_EQ(runPanel(), 0u) << failing;
    const host::PanelModel &panel = host.panel.model();
    EXPECT_TRUE(panel.controls.size() == 5u && !panel.shown && panel.closeCalls == 1u) << failing;
  }
  host.panel.failDialogCreation();
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(settings().fadeColor, 0x40ABCDEFu);
}

}  // namespace
}  // namespace tessivo
