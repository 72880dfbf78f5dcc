#include "diffusion/diffusion_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "../module_test_support.h"

namespace tessivo::test {
namespace {

class DiffusionModuleTest : public ModuleTest<kDiffusionCode> {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    input.fill([](uint32_t x, uint32_t y) { return 0x11223344u * (x + 1) ^ 0x0F1E2D3Cu * (y + 3); });
    host.deliverImage(0, input);
  }
  // The mean of one pixel's neighbours below, channel by channel.
  static uint32_t RisingMean(const TestImage &in, uint32_t x, uint32_t y) {
    uint32_t value = 0;
    for (uint32_t shift = 0; shift < 8 * in.bytesPerPixel(); shift += 8) {
      const auto c = [&](uint32_t sx, uint32_t sy) { return (in.pixel(sx, sy) >> shift) & 0xFF; };
      value |= ((c(x, y + 1) + c(x - 1, y + 2) + c(x, y + 2) + c(x + 1, y + 2)) >> 2) << shift;
    }
    return value;
  }
  void expectDiffused(const TestImage &in, const TestImage &out) {
    for (uint32_t y = 0; y + 2 < out.height(); ++y)
      for (uint32_t x = 1; x + 1 < out.width(); ++x) ASSERT_EQ(out.pixel(x, y), RisingMean(in, x, y)) << x << "," << y;
    EXPECT_TRUE(out.paddingIntact());
  }
  DiffusionSettings &settings() {
    return *static_cast<DiffusionSettings *>(registered<SettingsSaveRecord>(2).settings);
  }

  TestImage input{9, 6, kPixelFormatARGB8888}, output{9, 6, kPixelFormatARGB8888};
};

TEST_F(DiffusionModuleTest, IsBuiltByCodeAndRegistersItsRecordsInOrder) {
  const ModuleRegistry *registry = host.pluginRecord.registry;
  for (uint32_t i = 0; i < registry->count; ++i) EXPECT_NE(registry->entries[i].code, kDiffusionCode);
  EXPECT_EQ(recordKeys(), (std::vector<RecordKey>{{FourCC("iinf"), kDiffusionCode, 1, 1},
                                                  {FourCC("isdl"), kDiffusionCode, 2, 1},
                                                  {FourCC("isav"), kDiffusionCode, 1, 1},
                                                  {FourCC("ctrl"), FourCC("iprm"), 2, 1}}));
  EXPECT_EQ(registered<InstanceInfoRecord>(0).layout->portCount, 4u);
  const auto &parameters = registered<ParameterRecord>(3);
  EXPECT_TRUE(parameters.settings == &settings() && parameters.set == nullptr && parameters.get == nullptr);
  EXPECT_EQ(host.classRecord.descriptor->code, kDiffusionCode);
}

// The strength only gates the effect: missing means 0.5, any value above 0
// runs the same kernel, 0, negatives and NaN copy with the input's descriptor.
TEST_F(DiffusionModuleTest, StrengthGatesTheEffect) {
  ASSERT_EQ(render(output), 1u);  // not enabled: a copy, yet the strength is read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"}));
  EXPECT_EQ(host.log.named("ReadInput")[1].args[0], 2u);
  enable();
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  for (const float amount : {0.0f, -0.0f, -0.5f, -inf, nan}) {
    host.deliverControl(2, amount);
    ASSERT_EQ(render(output), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"})) << amount;
    EXPECT_EQ(host.log.named("CopyImage")[0].args,
              (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));
  }
  std::vector<uint32_t> first;
  for (const int strength : {0, 1, 2, 3, 4}) {
    strength == 0   ? host.deliverNothing(2)
    : strength == 1 ? host.deliverEmptyControl(2)
                    : host.deliverControl(2, strength == 2 ? 0.01f : strength == 3 ? 1000.0f : inf);
    ASSERT_EQ(render(output), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"})) << strength;
    expectDiffused(input, output);
  }
}

// A one-byte image is diffused byte by byte and never read past its rows.
TEST_F(DiffusionModuleTest, DiffusesOneByteImagesByteByByte) {
  enable();
  TestImage grey(13, 5, kPixelFormatPlanar8, 0), greyOut(13, 5, kPixelFormatPlanar8, 0);
  grey.fill([](uint32_t x, uint32_t y) { return (x * 37 + y * 101) & 0xFF; });
  host.deliverImage(0, grey);
  ASSERT_EQ(render(greyOut), 1u);
  expectDiffused(grey, greyOut);
}

TEST_F(DiffusionModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
  enable();
  host.createFails = true;
  EXPECT_EQ(render(output), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(output), 0u);
  host.lockFails = false;
  host.deliverImageWithoutDescriptor(0, input);
  EXPECT_EQ(render(output), 0u);
  host.deliverNothing(0);
  EXPECT_EQ(render(output), 0u);
  host.deliverImage(0, input);
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(1, 0) == 0u);
}

TEST_F(DiffusionModuleTest, RequestsTheImageAndTheStrengthAtTheRequestTime) {
  output.descriptor().time = 7.5;
  request = host.outputRequest(output);
  host.requestResults[0] = 0;  // the strength is requested even so
  ASSERT_EQ(send(kOutputRequested), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  EXPECT_EQ((Args{requests[1].args[0], requests[1].args[3], requests[1].args[4]}),
            (Args{2, request.stamp, FourCC("ctrl")}));
  EXPECT_EQ(requests[1].reals, std::vector<double>{7.5});
  host.log.clear();
  ASSERT_EQ(send(kRequestCancelled), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 2u);
  EXPECT_EQ((std::vector{cancels[0].args, cancels[1].args}),
            (std::vector{Args{0, 0, Ptr(&request)}, Args{2, 0, Ptr(&request)}}));
}

TEST_F(DiffusionModuleTest, SavesAndRestoresModeAndDirectionAsLowWords) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  host.settings.set("Diffusion", "Mode", int64_t{0x100000001});
  host.settings.set("Diffusion", "Direction", int64_t{9});  // out of range, kept
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(std::tuple(settings().mode, settings().direction), std::tuple(1u, 9u));
  host.settings.clear();
  settings().direction = 2;
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Diffusion", "Mode"), host::SettingValue(int64_t{1}));
  EXPECT_EQ(host.settings.get("Diffusion", "Direction"), host::SettingValue(int64_t{2}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);
}

// The panel edits both settings; the picture does not follow them.
TEST_F(DiffusionModuleTest, PanelEditsSettingsThatLeaveThePictureAlone) {
  const auto &dialog = registered<SettingsDialogRecord>(1);
  DiffusionSettings &kept = settings();
  kept.mode = 1, kept.direction = 2;
  host::CapturingPanel capture;  // cancels at once
  EXPECT_EQ(dialog.build(dialog.settings, capture.table()), 0u);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(std::tuple(panel.rect.width, panel.rect.height), std::tuple(240, 130));
  ASSERT_EQ(panel.controls.size(), 6u);
  using R = host::PanelRect;
  const std::vector<std::tuple<std::string, R, int32_t>> layout = {
      {"Mode :", R{20, 20, 60, 20}, 0},     {"", R{100, 19, 120, 20}, 0}, {"Direction :", R{20, 50, 70, 20}, 0},
      {"", R{100, 49, 120, 20}, 0},         {"OK", R{120, 90, 60, 20}, 1}, {"Cancel", R{40, 90, 60, 20}, 2}};
  for (size_t i = 0; i < layout.size(); ++i)
    EXPECT_EQ(std::tuple(panel.controls[i].text, panel.controls[i].rect, panel.controls[i].item), layout[i]) << i;
  using E = host::PopupEntry;
  EXPECT_EQ(panel.controls[1].entries, (std::vector<E>{{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}}));
  EXPECT_EQ(panel.controls[3].entries, (std::vector<E>{{"X", 0, 0, 0}, {"Y", 1, 0, 0}, {"X and Y", 2, 0, 1}}));
  EXPECT_EQ(std::tuple(panel.controls[1].value, panel.controls[3].value), std::tuple(1, 2));

  // A popup or button that cannot be created closes the panel unshown.
  for (const size_t failing : {1u, 3u, 4u, 5u}) {
    host::ScriptedPanel failingPanel;
    failingPanel.failControlCreation(failing);
    failingPanel.set("Mode", "Always").ok();
    EXPECT_EQ(dialog.build(dialog.settings, failingPanel.table()), 0u) << failing;
    EXPECT_TRUE(!failingPanel.model().shown && failingPanel.model().closeCalls == 1u) << failing;
  }
  host::ScriptedPanel cancelling;
  cancelling.set("Mode", "Always").cancel();
  EXPECT_EQ(dialog.build(dialog.settings, cancelling.table()), 0u);
  EXPECT_EQ(std::tuple(kept.mode, kept.direction), std::tuple(1u, 2u));

  enable();
  ASSERT_EQ(render(output), 1u);
  TestImage before = output;
  host::ScriptedPanel confirming;
  confirming.hit(5).set("Mode", "Always").set("Direction", "Y").ok();
  ASSERT_EQ(dialog.build(dialog.settings, confirming.table()), 1u);
  EXPECT_EQ(std::tuple(kept.mode, kept.direction), std::tuple(0u, 1u));
  ASSERT_EQ(render(output), 1u);
  for (uint32_t y = 0; y < 6; ++y)
    for (uint32_t x = 0; x < 9; ++x) ASSERT_EQ(output.pixel(x, y), before.pixel(x, y));
}

}  // namespace
}  // namespace tessivo::test
