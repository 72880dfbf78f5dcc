#include "emboss/emboss_kernel.h"
#include "emboss/emboss_settings.h"

#include <gtest/gtest.h>

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

class EmbossModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kEmbossCode), 1u);
    ASSERT_EQ(host.registeredRecords().size(), 4u);
    records = host.registeredRecords();
    input.fill([](uint32_t x, uint32_t y) { return 0x3B1D0F07u * (x + 1) + 0x05110923u * y * y; });
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
    return *reinterpret_cast<const Record *>(records.at(index));
  }
  EmbossSettings &settings() { return *static_cast<EmbossSettings *>(registered<SettingsSaveRecord>(2).settings); }
  uint32_t runPanel(const PanelTable *table) {
    const auto &dialog = registered<SettingsDialogRecord>(1);
    return dialog.build(dialog.settings, table);
  }
  // The relief of the input with the current settings, as the kernel makes it.
  TestImage expectedRelief() {
    TestImage expected(input.width(), input.height(), input.format());
    Emboss({input.descriptor().baseAddress, input.descriptor().rowBytes, expected.descriptor().baseAddress,
            expected.descriptor().rowBytes, input.width(), input.height(), input.format()},
           settings().effect, settings().strongness, settings().direction);
    return expected;
  }
  void expectOutputIs(const TestImage &expected) {
    ASSERT_EQ(std::tuple(output.width(), output.height()), std::tuple(expected.width(), expected.height()));
    for (uint32_t y = 0; y < output.height(); ++y)
      for (uint32_t x = 0; x < output.width(); ++x)
        ASSERT_EQ(output.pixel(x, y), expected.pixel(x, y)) << x << "," << y;
    EXPECT_TRUE(output.paddingIntact());
  }

  FakeHost host;
  std::vector<const RecordHeader *> records;  // as registered at creation
  TestImage input{7, 5, kPixelFormatARGB8888}, output{7, 5, kPixelFormatARGB8888};
  ValueRecord request{};
};

TEST_F(EmbossModuleTest, RegistersItsFourRecordsAndFiveDeclaredPorts) {
  const struct {
    uint32_t kind, owner, version, count;
  } expected[] = {{FourCC("iinf"), kEmbossCode, 1, 1},
                  {FourCC("isdl"), kEmbossCode, 2, 1},
                  {FourCC("isav"), kEmbossCode, 1, 1},
                  {FourCC("ctrl"), FourCC("iprm"), 2, 1}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(std::tuple(records[i]->kind, records[i]->owner, uint32_t{records[i]->version},
                         uint32_t{records[i]->count}),
              std::tuple(expected[i].kind, expected[i].owner, expected[i].version, expected[i].count))
        << i;
  }
  const auto &parameters = registered<ParameterRecord>(3);
  EXPECT_TRUE(parameters.set == nullptr && parameters.get == nullptr);
  EXPECT_TRUE(parameters.settings == &settings() && registered<SettingsDialogRecord>(1).settings == &settings());
  EXPECT_EQ(std::tuple(settings().effect, settings().strongness, settings().direction, settings().hostCookie),
            std::tuple(1u, 1u, 0u, static_cast<void *>(&host)));

  const ModuleClassDescriptor *descriptor = host.classRecord.descriptor;
  const PortLayoutInfo *layout = registered<InstanceInfoRecord>(0).layout;
  ASSERT_TRUE(descriptor != nullptr && layout != nullptr);
  EXPECT_EQ(std::tuple(descriptor->code, descriptor->portCount, layout->portCount), std::tuple(kEmbossCode, 5u, 5u));
  EXPECT_EQ(std::string(layout->ports[2].longName), "Image Output");
  EXPECT_TRUE(layout->ports[3].longName == nullptr && layout->ports[4].shortName == nullptr &&
              descriptor->portTypes[4].type == 0 && layout->ports[4].x == 0);
}

// Enabled: the kernel with the stored settings over the output's size, in
// both formats; the input's descriptor is never read for the size.
TEST_F(EmbossModuleTest, RendersTheReliefOfTheStoredSettings) {
  enable();
  host.deliverImage(0, input);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CreateImage", "LockImage"}));
  expectOutputIs(expectedRelief());  // default: alpha relief, "Weak", lit from the top left

  settings() = {2, 3, 1, settings().hostCookie};
  host.deliverImage(0, input, FakeHost::Delivery::Later);  // from another thread
  ASSERT_EQ(render(), 1u);
  expectOutputIs(expectedRelief());

  input = TestImage(9, 4, kPixelFormatPlanar8, 3);
  output = TestImage(9, 4, kPixelFormatPlanar8, 5);
  input.fill([](uint32_t x, uint32_t y) { return (x * 37 + y * 101) & 0xFFu; });
  host.deliverImage(0, input);
  // Effect 3 and direction 4 (restored out of range) select no kernel: the
  // created output is left as it is, and the render still succeeds.
  for (const EmbossSettings chosen : {EmbossSettings{1, 4, 3}, EmbossSettings{2, 0, 2}, EmbossSettings{3, 1, 0},
                                      EmbossSettings{0, 1, 4}}) {
    settings() = {chosen.effect, chosen.strongness, chosen.direction, settings().hostCookie};
    ASSERT_EQ(render(), 1u);
    expectOutputIs(chosen.effect < 3 && chosen.direction < 4 ? expectedRelief() : TestImage(9, 4, 0));
  }
}

// An input smaller than the output is embossed only as far as it reaches,
// with its own last row and column as the border.
TEST_F(EmbossModuleTest, StaysInsideAnInputSmallerThanTheOutput) {
  enable();
  input = TestImage(3, 2, kPixelFormatARGB8888, 0);
  input.fill([](uint32_t x, uint32_t y) { return 0x40302010u * (x + 2 * y + 1); });
  host.deliverImage(0, input);
  settings().effect = 2;
  ASSERT_EQ(render(), 1u);
  const TestImage expected = expectedRelief();
  ASSERT_EQ(std::tuple(output.width(), output.height()), std::tuple(7u, 5u));
  for (uint32_t y = 0; y < 5; ++y)
    for (uint32_t x = 0; x < 7; ++x)
      ASSERT_EQ(output.pixel(x, y), x < 3 && y < 2 ? expected.pixel(x, y) : 0u) << x << "," << y;
}

// Disabled: a copy that passes the output's descriptor in the input's place.
TEST_F(EmbossModuleTest, CopiesWithTheOutputsDescriptorWhenDisabled) {
  host.deliverImage(0, input);
  ASSERT_EQ(render(), 1u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CopyImage"}));
  EXPECT_EQ(host.log.named("CopyImage")[0].args,
            (Args{Ptr(input.handle()), Ptr(request.destination), Ptr(output.handle()), Ptr(request.destination)}));
  EXPECT_EQ(output.pixel(6, 4), input.pixel(6, 4));
}

TEST_F(EmbossModuleTest, FailsWithoutWritingWhenAPieceIsMissing) {
  enable();
  EXPECT_EQ(render(), 0u);  // no input image
  host.deliverImage(0, input), host.createFails = true;
  EXPECT_EQ(render(), 0u);
  host.createFails = false, host.lockFails = true;
  EXPECT_EQ(render(), 0u);
  EXPECT_EQ(host.log.functions(), (Strings{"ReadInput", "CreateImage", "LockImage"}));
  host.lockFails = false;
  host.log.clear();
  (request = host.outputRequest(output)).destination = nullptr;
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  EXPECT_EQ(host.send(kRenderOutput, &event) + host.send(kRenderOutput, &empty), 0u);
  EXPECT_EQ(host.log.count("ReadInput"), 0u);  // nothing is read without an output descriptor
  (request = host.outputRequest(output)).data = nullptr;
  EXPECT_EQ(host.send(kRenderOutput, &event), 0u);
  EXPECT_TRUE(host.log.count("CopyImage") + host.log.count("CreateImage") == 0u && output.pixel(0, 0) == 0u);
}

TEST_F(EmbossModuleTest, RequestsAndCancelsOnlyTheImage) {
  request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request), empty = FakeHost::event(nullptr);
  for (const uint32_t answer : {1u, 0u, 7u}) {
    host.requestResults[0] = answer;
    EXPECT_EQ(host.send(kOutputRequested, &event), answer);  // the host's answer, passed on
  }
  EXPECT_EQ(host.send(kOutputRequested, &empty), 0u);
  const auto requests = host.log.named("RequestInput");
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));

  host.log.clear();
  ASSERT_EQ(host.send(kRequestCancelled, &event), 1u);
  EXPECT_EQ(host.log.functions(), Strings{"CancelInput"});
  EXPECT_EQ(host.log.named("CancelInput")[0].args, (Args{0, 0, Ptr(&request)}));
}

TEST_F(EmbossModuleTest, SavesThreeWordsAndRestoresTheirLowWordsUnchecked) {
  const auto &store = registered<SettingsSaveRecord>(2);
  EXPECT_EQ(store.load(store.settings, host.settings.table()), 0u);  // no group yet
  host.settings.set("Emboss", "Effect", int64_t{2});
  host.settings.set("Emboss", "Strongness", static_cast<int64_t>(0xFFFFFFFF00000009ull));
  host.settings.set("Emboss", "Direction", int64_t{0x100000003});
  ASSERT_EQ(store.load(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(std::tuple(settings().effect, settings().strongness, settings().direction), std::tuple(2u, 9u, 3u));

  settings() = {0xFFFFFFFEu, 4, 2, settings().hostCookie};
  host.settings.clear();
  ASSERT_EQ(store.save(store.settings, host.settings.table()), 1u);
  EXPECT_EQ(host.settings.get("Emboss", "Effect"), host::SettingValue(int64_t{0xFFFFFFFE}));
  EXPECT_EQ(host.settings.get("Emboss", "Strongness"), host::SettingValue(int64_t{4}));
  EXPECT_EQ(host.settings.get("Emboss", "Direction"), host::SettingValue(int64_t{2}));
  SettingsTable refusing = *host.settings.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_EQ(store.save(store.settings, &refusing), 0u);
}

TEST_F(EmbossModuleTest, PanelLaysOutThreePopupsAndStoresThemOnAcceptedOK) {
  settings() = {2, 3, 1, settings().hostCookie};
  host::CapturingPanel capture;  // cancels at once
  EXPECT_EQ(runPanel(capture.table()), 0u);
  const host::PanelModel &panel = capture.model();
  EXPECT_TRUE(panel.closeCalls == 1u && panel.owner == &host);
  EXPECT_EQ(panel.rect, (host::PanelRect{-32768, -32768, 280, 160}));
  using Entries = std::vector<host::PopupEntry>;
  using Kind = host::ControlKind;
  const struct {
    Kind kind;
    std::string text;
    host::PanelRect rect;
    int64_t value;
    Entries entries;
    int32_t item;
  } expected[] = {
      {Kind::StaticText, "Effect:", {20, 20, 100, 20}, 0, {}, 0},
      {Kind::StaticText, "Strongness:", {20, 50, 100, 20}, 0, {}, 0},
      {Kind::StaticText, "Direction:", {20, 80, 100, 20}, 0, {}, 0},
      {Kind::Popup, "", {140, 20, 120, 26}, 2,
       {{"Emboss", 0, 0, 0}, {"Emboss with alpha", 1, 0, 0}, {"Stonify", 2, 0, 1}}, 0},
      {Kind::Popup, "", {140, 50, 120, 26}, 3,
       {{"Very Weak", 0, 0, 0}, {"Weak", 1, 0, 0}, {"Normal", 2, 0, 1}, {"Strong", 3, 0, 2}, {"Very Strong", 4, 0, 3}},
       0},
      {Kind::Popup, "", {140, 80, 120, 26}, 1,
       {{"Top Left", 0, 0, 0}, {"Top Right", 1, 0, 0}, {"Bottom Left", 2, 0, 1}, {"Bottom Right", 3, 0, 2}}, 0},
      {Kind::Button, "OK", {200, 120, 60, 20}, 0, {}, 1},
      {Kind::Button, "Cancel", {120, 120, 60, 20}, 0, {}, 2},
  };
  ASSERT_EQ(panel.controls.size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); ++i) {
    const host::PanelControlModel &control = panel.controls[i];
    const auto &want = expected[i];
    EXPECT_EQ(std::tuple(control.kind, control.text, control.rect, control.item, control.value, control.entries),
              std::tuple(want.kind, want.text, want.rect, want.item, want.value, want.entries))
        << i;
  }
  EXPECT_EQ(settings().effect, 2u);  // cancelled: unchanged

  // The host's dialog check refuses the first OK: the panel waits for the next.
  host.panel.set("Effect", "Emboss").set("Strongness", "Very Strong").set("Direction", "Bottom Left").ok();
  host.panel.hit(9).ok().checkAnswers({1});
  ASSERT_EQ(runPanel(host.panel.table()), 1u);
  EXPECT_EQ(host.panel.model().checkCalls, 2u);
  EXPECT_EQ(std::tuple(settings().effect, settings().strongness, settings().direction), std::tuple(0u, 4u, 2u));
  EXPECT_EQ(host.panel.model().closeCalls, 1u);
}

TEST_F(EmbossModuleTest, PanelCancelOrAFailedControlKeepsTheSettings) {
  settings() = {2, 3, 1, settings().hostCookie};
  host::ScriptedPanel cancelling;
  cancelling.set("Effect", "Emboss").cancel();
  EXPECT_TRUE(runPanel(cancelling.table()) == 0u && cancelling.model().closeCalls == 1u);
  // Each popup and each button in turn: never shown, always closed.
  for (const size_t failing : {3u, 4u, 5u, 6u, 7u}) {
    host::ScriptedPanel failed;
    failed.ok();
    failed.failControlCreation(failing);
    EXPECT_EQ(runPanel(failed.table()), 0u) << failing;
    EXPECT_TRUE(!failed.model().shown && failed.model().closeCalls == 1u) << failing;
  }
  host::ScriptedPanel noDialog;
  noDialog.failDialogCreation();
  EXPECT_EQ(runPanel(noDialog.table()), 0u);
  EXPECT_EQ(std::tuple(settings().effect, settings().strongness, settings().direction), std::tuple(2u, 3u, 1u));
}

}  // namespace
}  // namespace tessivo
