#include "kagami/kagami_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "kagami_definition.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/test/fake_host.h"

namespace tessivo {
namespace {

using test::DirectMirror;
using test::FakeHost;
using test::TestImage;
using Strings = std::vector<std::string>;
using Args = std::vector<uintptr_t>;

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

class KagamiModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kKagamiCode), 1u);
    for (TestImage *image : {&input, &grey})
      image->fill([](uint32_t x, uint32_t y) { return 0xFF000000u | (x * 37 + y * 101) * 0x010203u; });
  }
  void TearDown() override { host.destroy(), host.unload(); }

  void enable() {
    host.requestResults[1] = 0;  // nothing can deliver On/Off, so the module runs
    HostEvent event = FakeHost::event(nullptr);
    host.send(kInputsConnected, &event);
  }
  uint32_t render(TestImage &to) {
    host.log.clear();
    request = host.outputRequest(to);
    HostEvent event = FakeHost::event(&request);
    return host.send(kRenderOutput, &event);
  }
  // Every output pixel is the definition's sample of the input, or 0.
  void expectMirrored(const TestImage &from, const TestImage &to, float strength) {
    const DirectMirror direct{to.width(), to.height(), strength};
    for (uint32_t y = 0; y < to.height(); ++y)
      for (uint32_t x = 0; x < to.width(); ++x) {
        const test::DirectSample s = direct.at(x, y);
        ASSERT_EQ(to.pixel(x, y), s.inside ? from.pixel(s.column, s.row) : 0u) << x << "," << y << " " << strength;
      }
    EXPECT_TRUE(to.paddingIntact());
  }
  template <typename Record>
  const Record &registered(size_t index) {
    return *reinterpret_cast<const Record *>(host.registeredRecords().at(index));
  }
  KagamiSettings &settings() { return *static_cast<KagamiSettings *>(registered<SettingsSaveRecord>(2).settings); }
  uint32_t runPanel(const PanelTable *table) {
    const auto &dialog = registered<SettingsDialogRecord>(1);
    return dialog.build(dialog.settings, table);
  }

  FakeHost host;
  TestImage input{23, 17, kPixelFormatARGB8888}, output{23, 17, kPixelFormatARGB8888};
  TestImage grey{23, 17, kPixelFormatPlanar8, 5}, greyOutput{23, 17, kPixelFormatPlanar8, 7};
  ValueRecord request{};
};

// Four records, in order, with the kinds, owners and versions the host reads.
TEST_F(KagamiModuleTest, RegistersItsFourRecords) {
  const auto records = host.registeredRecords();
  ASSERT_EQ(records.size(), 4u);
  const std::tuple<uint32_t, uint32_t, uint16_t, uint16_t> expected[] = {
      {FourCC("iinf"), kKagamiCode, 1, 1},
      {FourCC("isdl"), kKagamiCode, 2, 1},
      {FourCC("isav"), kKagamiCode, 1, 1},
      {FourCC("ctrl"), FourCC("iprm"), 2, 1}};
  for (size_t i = 0; i < 4; ++i)
    EXPECT_EQ(std::tuple(records[i]->kind, records[i]->owner, records[i]->version, records[i]->count), expected[i]) << i;
  EXPECT_EQ(registered<InstanceInfoRecord>(0).layout->portCount, 4u);
  const auto &parameters = registered<ParameterRecord>(3);
  EXPECT_TRUE(parameters.settings == &settings() && parameters.set == nullptr && parameters.get == nullptr);
  EXPECT_EQ(registered<SettingsDialogRecord>(1).settings, &settings());
  EXPECT_TRUE(settings().mode == 0 && settings().direction == 0 && settings().hostCookie == &host);
}

// Enabled with a positive strength, both formats are mirrored per the
// definition; the unconnected strength is 0.5; the strength port is read first
// whatever the state.
TEST_F(KagamiModuleTest, MirrorsBothFormatsWithTheStrengthOrItsDefault) {
  enable();
  const struct {
    int delivery;  // 0: nothing, 1: present without a value, 2: the value
    float strength, expectedStrength;
  } cases[] = {{0, 0.0f, 0.5f}, {1, 0.0f, 0.5f}, {2, 0.3f, 0.3f}, {2, 5.25f, 5.25f}, {2, INFINITY, INFINITY}};
  for (const auto &c : cases) {
    c.delivery == 0 ? host.deliverNothing(2) : c.delivery == 1 ? host.deliverEmptyControl(2)
                                                               : host.deliverControl(2, c.strength);
    host.deliverImage(0, input);
    ASSERT_EQ(render(output), 1u);
    EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CreateImage", "LockImage"}));
    EXPECT_EQ(host.log.named("ReadInput")[1].args[0], 2u);
    expectMirrored(input, output, c.expectedStrength);
    host.deliverImage(0, grey, FakeHost::Delivery::Later);  // from another thread
    ASSERT_EQ(render(greyOutput), 1u);
    expectMirrored(grey, greyOutput, c.expectedStrength);
  }
}

TEST_F(KagamiModuleTest, CopiesWithTheInputsDescriptorWhenDisabledOrNotPositive) {
  host.deliverImage(0, input), host.deliverControl(2, 0.5f);
  ASSERT_EQ(render(output), 1u);  // not enabled yet: the strength is still read
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"}));
  enable();
  for (const float strength : {0.0f, -0.0f, -0.25f, -INFINITY, NAN}) {
    host.deliverControl(2, strength);
    ASSERT_EQ(render(output), 1u);
    ASSERT_EQ(host.log.functions(), (Strings{"ReadInput", "ReadInput", "CopyImage"})) << strength;
    EXPECT_EQ(host.log.named("CopyImage")[0].args,
              (Args{Ptr(input.handle()), Ptr(&input.descriptor()), Ptr(output.handle()), Ptr(request.destination)}));
    EXPECT_EQ(output.pixel(22, 16), input.pixel(22, 16));
  }
}

TEST_F(KagamiModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
  enable();
  host.deliverControl(2, 0.5f);
  EXPECT_EQ(render(output), 0u);  // no input image
  host.deliverImage(0, input), host.createFails = true;
  EXPECT_EQ(render(output), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(output), 0u);
  host.lockFails = false;
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  request = host.outputRequest(output), request.data = nullptr;
  EXPECT_EQ(host.send(kRenderOutput, &event), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") == 0u && output.pixel(0, 0) == 0u);
}

// The image request goes on even when port 0 refuses it; the strength is
// asked for at the request's time; cancels withdraw ports 0 and 2.
TEST_F(KagamiModuleTest, RequestsImageAndStrengthAndCancelsBoth) {
  output.descriptor().time = 7.25;
  host.requestResults[0] = 0;
  request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request);
  ASSERT_EQ(host.send(kOutputRequested, &event), 1u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  EXPECT_EQ((Args{requests[1].args[0], requests[1].args[3], requests[1].args[4]}),
            (Args{2, request.stamp, FourCC("ctrl")}));
  EXPECT_EQ(requests[1].reals, std::vector<double>{7.25});
  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  const auto cancels = host.log.named("CancelInput");
  ASSERT_EQ(cancels.size(), 2u);
  EXPECT_EQ((std::vector{cancels[0].args, cancels[1].args}),
            (std::vector{Args{0, 0, Ptr(&request)}, Args{2, 0, Ptr(&request)}}));
  host.log.clear();
  HostEvent empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kOutputRequested, &empty) + host.send(kRequestCancelled, &empty), 0u);
  EXPECT_TRUE(host.log.named("RequestInput").empty() && host.log.named("CancelInput").empty());
}

// Mode and direction persist as 64-bit integers whose low words are kept as
// they come, and change nothing in the picture.
TEST_F(KagamiModuleTest, PersistsModeAndDirectionWhichTheMirrorIgnores) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  host.settings.set("Kagami", "Mode", int64_t{0x700000001});
  host.settings.set("Kagami", "Direction", int64_t{-3});
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_TRUE(settings().mode == 1 && settings().direction == -3);
  host.settings.clear();
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Kagami", "Mode"), host::SettingValue(int64_t{1}));
  EXPECT_EQ(host.settings.get("Kagami", "Direction"), host::SettingValue(int64_t{0xFFFFFFFD}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);

  enable();
  KagamiSettings &kept = settings();  // rendering clears the log of registrations
  std::vector<uint32_t> pictures[2];
  for (int i = 0; i < 2; ++i) {
    kept.mode = i, kept.direction = 2 * i;
    host.deliverImage(0, input), host.deliverControl(2, 0.4f);
    ASSERT_EQ(render(output), 1u);
    for (uint32_t y = 0; y < 17; ++y)
      for (uint32_t x = 0; x < 23; ++x) pictures[i].push_back(output.pixel(x, y));
  }
  EXPECT_EQ(pictures[0], pictures[1]);
}

TEST_F(KagamiModuleTest, PanelShowsBothPopupsAndStoresThemOnOK) {
  settings().mode = 1, settings().direction = 2;
  host::CapturingPanel capture;  // cancels at once
  EXPECT_EQ(runPanel(capture.table()), 0u);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(std::tuple(panel.rect.width, panel.rect.height), std::tuple(240, 130));
  ASSERT_EQ(panel.controls.size(), 6u);
  using host::ControlKind;
  using host::PanelRect;
  const std::tuple<ControlKind, std::string, PanelRect, int64_t, int32_t> expected[] = {
      {ControlKind::StaticText, "Mode :", {20, 20, 60, 20}, 0, 0},
      {ControlKind::Popup, "", {100, 19, 120, 20}, 1, 0},
      {ControlKind::StaticText, "Direction :", {20, 50, 70, 20}, 0, 0},
      {ControlKind::Popup, "", {100, 49, 120, 20}, 2, 0},
      {ControlKind::Button, "OK", {120, 90, 60, 20}, 0, 1},
      {ControlKind::Button, "Cancel", {40, 90, 60, 20}, 0, 2}};
  for (size_t i = 0; i < 6; ++i) {
    const host::PanelControlModel &c = panel.controls[i];
    EXPECT_EQ(std::tuple(c.kind, c.text, c.rect, c.value, c.item), expected[i]) << i;
  }
  using Entries = std::vector<host::PopupEntry>;
  EXPECT_EQ(panel.controls[1].entries, (Entries{{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}}));
  EXPECT_EQ(panel.controls[3].entries, (Entries{{"X", 0, 0, 0}, {"Y", 1, 0, 0}, {"X and Y", 2, 1, 0}}));
  EXPECT_TRUE(settings().mode == 1 && settings().direction == 2);

  host.panel.hit(9).set("Mode", "Always").set("Direction", "Y").ok();
  ASSERT_EQ(runPanel(host.panel.table()), 1u);
  EXPECT_TRUE(settings().mode == 0 && settings().direction == 1 && host.panel.model().closeCalls == 1u);
}

TEST_F(KagamiModuleTest, PanelCancelOrAFailedControlKeepsTheSettings) {
  host.panel.set("Mode", "Realistic").cancel();
  EXPECT_TRUE(runPanel(host.panel.table()) == 0u && host.panel.model().closeCalls == 1u);
  // Fail each popup and button in turn: the other controls are still built,
  // then the panel closes unshown.
  for (const size_t failing : {1u, 3u, 4u, 5u}) {
    host.panel.failControlCreation(failing);
    EXPECT_EQ(runPanel(host.panel.table()), 0u) << failing;
    const host::PanelModel &panel = host.panel.model();
    EXPECT_TRUE(panel.controls.size() == 5u && !panel.shown && panel.closeCalls == 1u) << failing;
  }
  host.panel.failDialogCreation();
  EXPECT_EQ(runPanel(host.panel.table()), 0u);
  EXPECT_TRUE(settings().mode == 0 && settings().direction == 0);
}

}  // namespace
}  // namespace tessivo
