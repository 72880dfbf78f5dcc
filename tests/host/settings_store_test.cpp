// The settings store as the bundle sees it (SettingsTable) and as a JSON file.
#include <CoreGraphics/CoreGraphics.h>

#include <cmath>

#include "host_test_support.h"
#include "tessivo/host/instance.h"
#include "tessivo/host/settings_store.h"

namespace tessivo::host {
namespace {

using testing::errorOf;
using testing::ScratchFolder;
using testing::writeText;

CFTypeRef makeInt64(std::int64_t value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value); }

// What a module's save callback writes comes back through its load callback;
// SetValue takes over every reference, accepted or refused.
TEST(SettingsTable, ValuesRoundTripAndReferencesAreTakenOver) {
  SettingsStore store;
  const SettingsTable *t = store.table();
  SettingsGroup *group = t->OpenGroupForWriting(t->cookie, "Fader");
  ASSERT_NE(group, nullptr);
  const std::int64_t big = (std::int64_t{1} << 40) + 7;
  const float fraction = 0.25f;
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat components[4] = {1.0, 0.5019608, 0.0, 0.5019608};
  CFTypeRef number = CFRetain(makeInt64(-12));
  EXPECT_EQ(t->SetValue(t->cookie, group, "Big", makeInt64(big)) + t->SetValue(t->cookie, group, "Negative", number) +
                t->SetValue(t->cookie, group, "Amount", CFNumberCreate(nullptr, kCFNumberFloat32Type, &fraction)) +
                t->SetValue(t->cookie, group, "Flag", CFRetain(kCFBooleanTrue)) +
                t->SetValue(t->cookie, group, "Color", CGColorCreate(rgb, components)), 5u);
  EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(number);
  EXPECT_EQ(t->SetValue(t->cookie, group, "Space", CFRetain(rgb)), 0u);  // not a settings value: refused, and released
  EXPECT_EQ(CFGetRetainCount(rgb), 1);
  CGColorSpaceRelease(rgb);
  EXPECT_EQ(t->SetValue(t->cookie, nullptr, "Mode", makeInt64(4)), 0u);  // ASan: the value is not leaked

  EXPECT_EQ(store.keys("Fader"), (std::vector<std::string>{"Amount", "Big", "Color", "Flag", "Negative"}));
  EXPECT_EQ(std::tuple(store.get("Fader", "Big")->asInteger(), store.get("Fader", "Amount")->asDouble(),
                       store.get("Fader", "Color")->asColor().packed()), std::tuple(big, 0.25, 0x80FF8000u));
  SettingsGroup *reading = t->OpenGroupForReading(t->cookie, "Fader");
  std::int64_t read = 0;
  auto value = static_cast<CFNumberRef>(reading ? t->GetValue(t->cookie, reading, "Negative") : nullptr);
  ASSERT_TRUE(value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID());
  EXPECT_TRUE(CFNumberGetValue(value, kCFNumberSInt64Type, &read) && read == -12);
  EXPECT_EQ(t->GetValue(t->cookie, reading, "Flag"), kCFBooleanTrue);
  auto color = static_cast<CGColorRef>(const_cast<void *>(t->GetValue(t->cookie, reading, "Color")));
  ASSERT_TRUE(CFGetTypeID(color) == CGColorGetTypeID() && CGColorGetNumberOfComponents(color) == 4u);
  EXPECT_EQ(CGColorGetComponents(color)[1], components[1]);
  EXPECT_TRUE(t->GetValue(t->cookie, reading, "Absent") == nullptr && t->OpenGroupForReading(t->cookie, "Emboss") == nullptr);
}

// The real Fader's colour goes out through its save callback, into a file with
// values of every other type, and back into a fresh Fader, which saves the same value.
TEST(SettingsFile, FaderAndEveryTypeRoundTripThroughTheFile) {
  ScratchFolder folder;
  auto bundle = testing::loadBundle();
  SettingsStore start, saved, loaded, again;
  start.set("Fader", "Fade Color", std::int64_t{0xFF00FF80});
  auto fader = Instance::create(*bundle, FourCC("fadr"));
  ASSERT_TRUE(fader->load(start.table()) && fader->save(saved.table()));
  saved.markPackedColor("Fader", "Fade Color"), saved.set("Stripizator", "BackColor", Color::fromPacked(0x80FF8800));
  saved.set("Stripizator", "Max Radius", -(std::int64_t{1} << 35)), saved.set("Stripizator", "Stripes Width", 12.5);
  saved.set("Stripizator", "Moving Stripes", true), saved.set("Stripizator", "ForeColor", Color{{0.1, 0.2, 0.3, 0.4}});
  saved.set("Blur", "Odd", std::nan("")), saved.set("Blur", "Note", "hand written");
  EXPECT_THROW(saved.saveFile(folder / "missing" / "project.json"), HostError);
  saved.saveFile(folder / "project.json");
  loaded.loadFile(folder / "project.json");
  // Colours a packed word gives exactly are written as "#RRGGBBAA"; the integer one stays an integer to the module.
  const std::string text = testing::readText(folder / "project.json");
  for (const char *shown : {R"("value": "#00FF80FF")", R"("value": "#FF880080")", "0.1"})
    EXPECT_NE(text.find(shown), std::string::npos) << shown;
  EXPECT_TRUE(loaded.isPackedColor("Fader", "Fade Color") && !loaded.isPackedColor("Stripizator", "Max Radius"));
  auto fresh = Instance::create(*bundle, FourCC("fadr"));
  ASSERT_TRUE(fresh->load(loaded.table()) && fresh->save(again.table()));
  EXPECT_EQ(again.get("Fader", "Fade Color"), SettingValue(std::int64_t{0xFF00FF80}));
  EXPECT_EQ(loaded.groups(), saved.groups());
  for (const std::string &group : saved.groups()) {
    EXPECT_EQ(loaded.keys(group), saved.keys(group));
    for (const std::string &key : saved.keys(group))
      EXPECT_TRUE(key == "Odd" || *loaded.get(group, key) == *saved.get(group, key)) << group << "/" << key;
  }
  EXPECT_TRUE(std::isnan(loaded.get("Blur", "Odd")->asDouble()));
  // A string reaches the module as a CFString, so its own reader can complain.
  const SettingsTable *t = loaded.table();
  CFTypeRef note = t->GetValue(t->cookie, t->OpenGroupForReading(t->cookie, "Blur"), "Note");
  EXPECT_TRUE(note != nullptr && CFGetTypeID(note) == CFStringGetTypeID());

  // A save over a folder fails and leaves it; a save over the file replaces it, leaving no temporary file.
  std::filesystem::create_directory(folder / "occupied");
  writeText(folder / "occupied" / "keep.txt", "keep");
  EXPECT_THROW(saved.saveFile(folder / "occupied"), HostError);
  EXPECT_EQ(testing::readText(folder / "occupied" / "keep.txt"), "keep");
  saved.set("Blur", "Note", "changed");
  saved.saveFile(folder / "project.json");
  loaded.loadFile(folder / "project.json");
  EXPECT_EQ(loaded.get("Blur", "Note")->asString(), "changed");
  const auto entries = std::distance(std::filesystem::directory_iterator(folder.path), {});
  EXPECT_EQ(entries, 2);
}

// Broken files give one clear line naming the file and the faulty place, and
// the store is not changed by a failed load.
TEST(SettingsFile, CorruptFilesAreRefusedClearly) {
  ScratchFolder folder;
  const std::string header = R"({"format":"tessivo-settings","version":1,"groups":)";
  const std::pair<std::string, std::string> cases[] = {
      {header + R"({"Fader":{"Fade Color":{"type":"integer","val)", "bad.json: invalid JSON"},
      {header + R"({"Fader":{"Fade Color":{"type":"integer","value":"12"}}}})",
       R"(bad.json: group "Fader" key "Fade Color": expected a 64-bit integer or a colour)"},
      {header + R"({"Fader":{"Fade Color":{"type":"integer","value":1e400}}}})", "bad.json: a number is too large"},
      {header + R"({"Fader":{"Fade Color":{"type":"integer","value":9223372036854775808}}}})",
       "expected a 64-bit integer"},
      {header + R"({"Fader":{"Fade Color":{"type":"integer","value":1.5}}}})", "expected a 64-bit integer"},
      {header + R"({"Stripizator":{"ForeColor":{"type":"color","value":[1,0,0]}}}})",
       "4 components (red, green, blue, alpha) or 2"},
      {header + R"({"Fader":{"Fade Color":{"type":"blob","value":5}}}})", "Fade Color"},
      {R"({"format":"something else","version":1,"groups":{}})", "not a settings file"},
      {header + R"({"Fader":{"Note":{"type":"string","value":"a\u0000b"}}}})", "may not contain a NUL"},
      // A value nested far too deep for a recursive dump is shown as a short excerpt.
      {header + R"({"Fader":{"Note":{"type":"string","value":)" + std::string(200000, '[') +
           std::string(200000, ']') + "}}}}",
       R"(expected a string, found [[[...]]])"},
      {header + R"({"Fader":{"Note":{"type":"boolean","value":{"a":[1,2],"b":")" + std::string(5000, 'x') +
           R"("}}}}})",
       R"(expected true or false, found {"a":[1,2],"b":"xxxxx)"}};
  SettingsStore store;
  store.set("Emboss", "Mode", 2);
  for (const auto &[text, expected] : cases) {
    writeText(folder / "bad.json", text);
    const std::string message = errorOf([&] { store.loadFile(folder / "bad.json"); });
    EXPECT_NE(message.find(expected), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    EXPECT_LT(message.size(), 300u) << message;
  }
  EXPECT_NE(errorOf([&] { store.loadFile(folder / "absent.json"); }).find("cannot open"), std::string::npos);
  EXPECT_TRUE(store.groups() == std::vector<std::string>{"Emboss"} && store.get("Emboss", "Mode")->asInteger() == 2);
}

}  // namespace
}  // namespace tessivo::host
