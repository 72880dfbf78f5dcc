#include "flash/flash_kernel.h"
#include "flash/flash_settings.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "../module_test_support.h"

namespace tessivo::test {
namespace {

class FlashModuleTest : public ModuleTest<kFlashCode> {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    // Every channel value 0 to 255 appears once, with opaque alpha.
    input.fill([](uint32_t x, uint32_t y) { return 0xFF000000u | (y * 16 + x) * 0x010101u; });
    host.deliverImage(0, input);
  }
  uint32_t render() { return ModuleTest::render(output); }
  // The table the last render used, read back from the grey ramp.
  FlashTable shownTable() const {
    FlashTable table{};
    for (uint32_t v = 0; v < 256; ++v) table[v] = static_cast<uint8_t>(output.pixel(v % 16, v / 16));
    return table;
  }
  FlashSettings &settings() { return *static_cast<FlashSettings *>(registered<SettingsSaveRecord>(2).settings); }
  uint32_t runPanel() {
    const auto &dialog = registered<SettingsDialogRecord>(1);
    return dialog.build(dialog.settings, host.panel.table());
  }

  TestImage input{16, 16, kPixelFormatARGB8888}, output{16, 16, kPixelFormatARGB8888};
};

TEST_F(FlashModuleTest, RegistersItsRecordsInOrderWithoutKeyedParameters) {
  EXPECT_EQ(recordKeys(), (std::vector<RecordKey>{{FourCC("iinf"), kFlashCode, 1, 1},
                                                  {FourCC("isdl"), kFlashCode, 2, 1},
                                                  {FourCC("isav"), kFlashCode, 1, 1},
                                                  {FourCC("ctrl"), FourCC("iprm"), 2, 1}}));
  EXPECT_EQ(registered<InstanceInfoRecord>(0).layout->portCount, 3u);
  const auto &parameters = registered<ParameterRecord>(3);
  EXPECT_TRUE(parameters.settings == &settings() && parameters.set == nullptr && parameters.get == nullptr);
  EXPECT_EQ(host.classRecord.descriptor->code, kFlashCode);
}

// The first frame uses the constructor's table, every later one (phase + 2i)
// with the phase 0, 89, 178, ...; frames rendered while disabled are copies
// that still move the table on, and failed renders leave it alone.
TEST_F(FlashModuleTest, TableMovesOnEveryCompletedFrameEnabledOrNot) {
  setEnabled(true);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CreateImage", "LockImage"}));
  EXPECT_EQ(output.pixel(0, 0), 0xFF787878u);       // 0 -> 120
  EXPECT_EQ(output.pixel(4, 6), 0xFFDCDCDCu);       // 100 -> 220
  EXPECT_EQ(output.pixel(15, 15), 0xFF777777u);     // 255 -> 119
  EXPECT_EQ(shownTable(), InitialFlashTable());

  // Frame 2 disabled: a copy with the input's descriptor; frame 3 fails three ways.
  setEnabled(false);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  EXPECT_EQ(host.log.named("CopyImage")[0].args,
            (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));
  EXPECT_EQ(output.pixel(4, 6), input.pixel(4, 6));
  setEnabled(true);
  host.createFails = true;
  EXPECT_EQ(render(), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(), 0u);
  host.lockFails = false;
  host.deliverNothing(0);
  EXPECT_EQ(render(), 0u);
  HostEvent empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &empty), 0u);

  host.deliverImage(0, input);
  for (const uint32_t phase : {89u, 178u, 267u}) {
    ASSERT_EQ(render(), 1u);
    EXPECT_EQ(shownTable(), PhaseFlashTable(phase)) << phase;
  }
}

TEST_F(FlashModuleTest, BlendsByAlphaInBothFormats) {
  setEnabled(true);
  settings().blendAlpha = 1;
  input.fill([](uint32_t x, uint32_t) { return x < 8 ? 0x0064C8FFu : 0xFF0064FFu; });
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(std::tuple(output.pixel(0, 3), output.pixel(15, 3)), std::tuple(0x0064C8FFu, 0xFF77DB77u));

  TestImage grey(16, 16, kPixelFormatPlanar8), greyOut(16, 16, kPixelFormatPlanar8);
  grey.fill([](uint32_t x, uint32_t y) { return y * 16 + x; });
  host.deliverImage(0, grey);
  ASSERT_EQ(ModuleTest::render(greyOut), 1u);
  const FlashTable table = PhaseFlashTable(0);  // the second frame's
  for (const uint32_t v : {0u, 1u, 100u, 255u})
    EXPECT_EQ(greyOut.pixel(v % 16, v / 16), (v * (256 - v + table[v])) >> 8) << v;
  EXPECT_TRUE(greyOut.paddingIntact());
}

TEST_F(FlashModuleTest, RequestsAndCancelsOnlyTheImage) {
  for (const uint32_t answer : {1u, 0u}) {
    host.requestResults[0] = answer;
    host.log.clear();
    request = host.outputRequest(output);
    ASSERT_EQ(send(kOutputRequested), 1u);
    EXPECT_EQ(host.log.named("RequestInput").size(), 1u);
    EXPECT_EQ(host.log.named("RequestInput")[0].args[0], 0u);
    ASSERT_EQ(send(kRequestCancelled), 1u);
    EXPECT_EQ(host.log.named("CancelInput").size(), 1u);
    EXPECT_EQ(host.log.named("CancelInput")[0].args, (Args{0, 0, Ptr(&request)}));
  }
}

TEST_F(FlashModuleTest, SavesAndRestoresBlendAlpha) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  host.settings.set("Flash", "Blend Alpha", true);
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(settings().blendAlpha, 1u);
  host.settings.clear();
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Flash", "Blend Alpha"), host::SettingValue(true));
  settings().blendAlpha = 0;
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Flash", "Blend Alpha"), host::SettingValue(false));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);
}

TEST_F(FlashModuleTest, PanelShowsTheFlagAndStoresItOnlyOnOK) {
  host::CapturingPanel capture;  // cancels at once
  const auto &dialog = registered<SettingsDialogRecord>(1);
  settings().blendAlpha = 1;
  EXPECT_EQ(dialog.build(dialog.settings, capture.table()), 0u);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(std::tuple(panel.rect.width, panel.rect.height), std::tuple(200, 100));
  ASSERT_EQ(panel.controls.size(), 3u);
  const auto &box = panel.controls[0];
  EXPECT_EQ(std::tuple(box.kind, box.text, box.rect, box.value),
            std::tuple(host::ControlKind::CheckBox, std::string("Blend flash with Alpha"), host::PanelRect{20, 20, 160, 20},
                       int64_t{1}));
  EXPECT_EQ(std::tuple(panel.controls[1].text, panel.controls[1].item, panel.controls[1].rect),
            std::tuple(std::string("OK"), 1, host::PanelRect{120, 60, 60, 20}));
  EXPECT_EQ(std::tuple(panel.controls[2].text, panel.controls[2].item, panel.controls[2].rect),
            std::tuple(std::string("Cancel"), 2, host::PanelRect{40, 60, 60, 20}));

  host.panel.set("Blend flash with Alpha", "off").cancel();
  EXPECT_EQ(runPanel(), 0u);
  EXPECT_EQ(settings().blendAlpha, 1u);
  for (const size_t failing : {0u, 1u, 2u}) {
    host.panel.failControlCreation(failing);
    host.panel.set("Blend flash with Alpha", "off").ok();
    EXPECT_EQ(runPanel(), 0u) << failing;
    EXPECT_TRUE(!host.panel.model().shown && host.panel.model().closeCalls == 1u) << failing;
  }
  EXPECT_EQ(settings().blendAlpha, 1u);
  host::ScriptedPanel confirming;
  confirming.hit(9).set("Blend flash with Alpha", "off").ok();
  ASSERT_EQ(dialog.build(dialog.settings, confirming.table()), 1u);
  EXPECT_EQ(settings().blendAlpha, 0u);
}

}  // namespace
}  // namespace tessivo::test
