// The settings store as the bundle sees it (SettingsTable) and as a file.
#include <CoreGraphics/CoreGraphics.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tessivo/host/error.h"
#include "tessivo/host/settings_store.h"

namespace fs = std::filesystem;
using namespace tessivo::host;

namespace {

class ScratchFolder {
public:
  ScratchFolder() {
    path_ = fs::temp_directory_path() / ("tessivo-settings-" + std::to_string(::getpid()) + "-" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(path_);
    fs::create_directories(path_);
  }
  ~ScratchFolder() { fs::remove_all(path_); }
  const fs::path &path() const { return path_; }

private:
  fs::path path_;
};

void writeText(const fs::path &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

std::string readText(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

CFTypeRef makeInt64(std::int64_t value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value); }

std::string loadError(const fs::path &path) {
  SettingsStore store;
  try {
    store.loadFile(path);
  } catch (const HostError &e) {
    return e.what();
  }
  return "no error";
}

}  // namespace

// What a module's save callback writes comes back unchanged through its load
// callback: integers beyond 32 bits and negative, doubles, booleans, colours.
TEST(SettingsTable, ValuesRoundTripThroughTheBundleView) {
  SettingsStore store;
  const SettingsTable *table = store.table();
  SettingsGroup *group = table->OpenGroupForWriting(table->cookie, "Fader");
  ASSERT_NE(group, nullptr);
  const std::int64_t big = (std::int64_t{1} << 40) + 7;
  EXPECT_EQ(table->SetValue(table->cookie, group, "Big", makeInt64(big)), 1u);
  EXPECT_EQ(table->SetValue(table->cookie, group, "Low word", makeInt64(0xFF00FF00)), 1u);
  EXPECT_EQ(table->SetValue(table->cookie, group, "Negative", makeInt64(-12)), 1u);
  const float fraction = 0.25f;
  EXPECT_EQ(table->SetValue(table->cookie, group, "Amount",
                            CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat32Type, &fraction)),
            1u);
  EXPECT_EQ(table->SetValue(table->cookie, group, "Flag", CFRetain(kCFBooleanTrue)), 1u);
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  const CGFloat components[4] = {1.0, 0.5019608, 0.0, 0.5019608};
  EXPECT_EQ(table->SetValue(table->cookie, group, "Color", CGColorCreate(rgb, components)), 1u);
  CGColorSpaceRelease(rgb);

  EXPECT_EQ(store.get("Fader", "Big")->asInteger(), big);
  EXPECT_EQ(store.get("Fader", "Low word")->asInteger(), 0xFF00FF00);
  EXPECT_EQ(store.get("Fader", "Amount")->asDouble(), 0.25);
  EXPECT_TRUE(store.get("Fader", "Flag")->asBoolean());
  EXPECT_EQ(store.get("Fader", "Color")->asColor().packed(), 0x80FF8000u);

  SettingsGroup *reading = table->OpenGroupForReading(table->cookie, "Fader");
  ASSERT_NE(reading, nullptr);
  std::int64_t number = 0;
  CFTypeRef value = table->GetValue(table->cookie, reading, "Negative");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(CFGetTypeID(value), CFNumberGetTypeID());
  EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number));
  EXPECT_EQ(number, -12);
  EXPECT_EQ(table->GetValue(table->cookie, reading, "Flag"), kCFBooleanTrue);
  value = table->GetValue(table->cookie, reading, "Color");
  ASSERT_EQ(CFGetTypeID(value), CGColorGetTypeID());
  ASSERT_EQ(CGColorGetNumberOfComponents(static_cast<CGColorRef>(const_cast<void *>(value))), 4u);
  EXPECT_EQ(CGColorGetComponents(static_cast<CGColorRef>(const_cast<void *>(value)))[1], components[1]);

  EXPECT_EQ(table->GetValue(table->cookie, reading, "Absent"), nullptr);
  EXPECT_EQ(table->OpenGroupForReading(table->cookie, "Emboss"), nullptr);
}

// SetValue takes over every reference: accepted or refused, none is left behind.
TEST(SettingsTable, SetValueReleasesWhatItIsGiven) {
  SettingsStore store;
  const SettingsTable *table = store.table();
  SettingsGroup *group = table->OpenGroupForWriting(table->cookie, "Jishin");

  CFTypeRef number = makeInt64(3);
  CFRetain(number);
  EXPECT_EQ(table->SetValue(table->cookie, group, "Mode", number), 1u);
  EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(number);

  CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();  // not a settings value
  CFRetain(space);
  EXPECT_EQ(table->SetValue(table->cookie, group, "Space", space), 0u);
  EXPECT_EQ(CFGetRetainCount(space), 1);
  CGColorSpaceRelease(space);
  EXPECT_FALSE(store.get("Jishin", "Space").has_value());

  CFTypeRef orphan = makeInt64(4);
  CFRetain(orphan);
  EXPECT_EQ(table->SetValue(table->cookie, nullptr, "Mode", orphan), 0u);
  EXPECT_EQ(CFGetRetainCount(orphan), 1);
  CFRelease(orphan);
}

// Every value type survives a save to disk and a load into a fresh store.
TEST(SettingsFile, SaveAndLoadKeepEveryType) {
  ScratchFolder folder;
  const fs::path file = folder.path() / "project.json";
  SettingsStore original;
  original.set("Fader", "Fade Color", std::int64_t{0xFF00FF00});
  original.set("Stripizator", "Max Radius", -(std::int64_t{1} << 35));
  original.set("Stripizator", "Stripes Width", 12.5);
  original.set("Stripizator", "Moving Stripes", true);
  original.set("Stripizator", "ForeColor", Color{{0.1, 0.2, 0.3, 0.4}});
  original.set("Blur", "Odd", std::nan(""));
  original.set("Blur", "Note", "hand written");
  original.saveFile(file);

  SettingsStore loaded;
  loaded.loadFile(file);
  EXPECT_EQ(loaded.groups(), original.groups());
  for (const std::string &group : original.groups()) {
    EXPECT_EQ(loaded.keys(group), original.keys(group));
    for (const std::string &key : original.keys(group)) {
      if (key == "Odd") continue;
      EXPECT_EQ(*loaded.get(group, key), *original.get(group, key)) << group << "/" << key;
    }
  }
  EXPECT_TRUE(std::isnan(loaded.get("Blur", "Odd")->asDouble()));

  // A string reaches the module as a CFString, so its own reader can complain.
  const SettingsTable *table = loaded.table();
  CFTypeRef note = table->GetValue(table->cookie, table->OpenGroupForReading(table->cookie, "Blur"), "Note");
  ASSERT_NE(note, nullptr);
  EXPECT_EQ(CFGetTypeID(note), CFStringGetTypeID());
}

// A failed save leaves what was there; nothing half-written is left behind.
TEST(SettingsFile, FailedSaveKeepsTheOldFile) {
  ScratchFolder folder;
  SettingsStore store;
  store.set("Flash", "Blend Alpha", false);
  EXPECT_THROW(store.saveFile(folder.path() / "missing" / "project.json"), HostError);

  const fs::path occupied = folder.path() / "occupied";
  fs::create_directory(occupied);
  writeText(occupied / "keep.txt", "keep");
  EXPECT_THROW(store.saveFile(occupied), HostError);
  EXPECT_EQ(readText(occupied / "keep.txt"), "keep");

  const fs::path file = folder.path() / "project.json";
  store.saveFile(file);
  const std::string before = readText(file);
  store.set("Flash", "Blend Alpha", true);
  store.saveFile(file);
  EXPECT_NE(readText(file), before);
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto &entry : fs::directory_iterator(folder.path())) ++entries;
  EXPECT_EQ(entries, 2u);  // the project file and the folder, no temporary file
}

// Broken files give one clear line naming the file and the faulty place, and
// the store is not changed by a failed load.
TEST(SettingsFile, CorruptFilesAreRefusedClearly) {
  ScratchFolder folder;
  const fs::path file = folder.path() / "bad.json";
  const std::string header = R"({"format":"tessivo-settings","version":1,"groups":)";

  EXPECT_NE(loadError(folder.path() / "absent.json").find("cannot open"), std::string::npos);

  writeText(file, header + R"({"Fader":{"Fade Color":{"type":"integer","val)");
  std::string message = loadError(file);
  EXPECT_NE(message.find("bad.json: invalid JSON"), std::string::npos) << message;
  EXPECT_EQ(message.find('\n'), std::string::npos);

  writeText(file, header + R"({"Fader":{"Fade Color":{"type":"integer","value":"12"}}}})");
  message = loadError(file);
  EXPECT_NE(message.find(R"(group "Fader" key "Fade Color": expected a 64-bit integer)"), std::string::npos)
      << message;

  writeText(file, header + R"({"Stripizator":{"ForeColor":{"type":"color","value":[1,0,0]}}}})");
  EXPECT_NE(loadError(file).find("expected a colour of 4 components"), std::string::npos);

  writeText(file, header + R"({"Fader":{"Fade Color":{"type":"integer","value":9223372036854775808}}}})");
  EXPECT_NE(loadError(file).find("expected a 64-bit integer"), std::string::npos);

  writeText(file, R"({"format":"something else","version":1,"groups":{}})");
  EXPECT_NE(loadError(file).find("not a settings file"), std::string::npos);

  SettingsStore store;
  store.set("Emboss", "Mode", 2);
  writeText(file, header + R"({"Fader":{"Fade Color":{"type":"blob","value":5}}}})");
  EXPECT_THROW(store.loadFile(file), HostError);
  EXPECT_EQ(store.groups(), std::vector<std::string>{"Emboss"});
  EXPECT_EQ(store.get("Emboss", "Mode")->asInteger(), 2);
}
