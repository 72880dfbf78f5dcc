// Per-module settings groups of typed values, served to the bundle through a
// SettingsTable and persisted as a JSON project file.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "marlix/settings.h"

namespace tessivo::host {

// A colour as the bundle exchanges it: device RGB components red, green, blue,
// alpha in [0, 1]. A two-component colour (grey, alpha) is kept too so that a
// hand-edited file can hand a module a colour of the wrong format.
struct Color {
  std::vector<double> components{0.0, 0.0, 0.0, 0.0};

  // From and to the packed 0xAARRGGBB word the modules use.
  static Color fromPacked(std::uint32_t argb);
  std::uint32_t packed() const;  // requires 4 components; rounds to nearest
  bool operator==(const Color &) const = default;
};

enum class ValueType { Integer, Double, Boolean, Color, String };

std::string_view valueTypeName(ValueType type);  // "integer", "double", ...

// One stored setting.
class SettingValue {
public:
  using Storage = std::variant<std::int64_t, double, bool, Color, std::string>;

  SettingValue() = default;
  SettingValue(std::int64_t v) : value_(v) {}
  SettingValue(int v) : value_(std::int64_t{v}) {}
  SettingValue(double v) : value_(v) {}
  SettingValue(bool v) : value_(v) {}
  SettingValue(Color v) : value_(std::move(v)) {}
  SettingValue(std::string v) : value_(std::move(v)) {}
  SettingValue(const char *v) : value_(std::string(v)) {}

  ValueType type() const { return static_cast<ValueType>(value_.index()); }
  const Storage &storage() const { return value_; }

  // Typed access; throws HostError naming the actual type on mismatch.
  std::int64_t asInteger() const;
  double asDouble() const;
  bool asBoolean() const;
  const Color &asColor() const;
  const std::string &asString() const;

  // Human-readable form: 42, 0.5, true, #RRGGBBAA (or component list), "text".
  std::string toString() const;

  bool operator==(const SettingValue &) const = default;

private:
  Storage value_{std::int64_t{0}};
};

// Conversions to and from the CoreFoundation values the bundle exchanges.
// makeCFValue returns a new reference (booleans: the shared constants) that the
// caller owns; null if the object cannot be made.
CFTypeRef makeCFValue(const SettingValue &value);
// The typed value of a CFNumber (integer or floating), CFBoolean, CFString or
// CGColor (2 or 4 components); nullopt for anything else. Does not release.
std::optional<SettingValue> settingValueFromCF(CFTypeRef value);

class SettingsStore {
public:
  SettingsStore();
  ~SettingsStore();
  SettingsStore(const SettingsStore &) = delete;
  SettingsStore &operator=(const SettingsStore &) = delete;

  // The table handed to the bundle's save and load callbacks. Values returned
  // by its GetValue stay alive until they are replaced or the store is destroyed.
  const SettingsTable *table() const noexcept;

  std::vector<std::string> groups() const;
  bool hasGroup(std::string_view group) const;
  std::vector<std::string> keys(std::string_view group) const;  // empty if no such group
  std::optional<SettingValue> get(std::string_view group, std::string_view key) const;
  void set(std::string_view group, std::string_view key, SettingValue value);
  void removeGroup(std::string_view group);
  // An integer setting that holds a packed colour: files show it as "#RRGGBBAA"
  // (reading such a file marks it again). No effect on a missing key.
  void markPackedColor(std::string_view group, std::string_view key);
  bool isPackedColor(std::string_view group, std::string_view key) const;
  void clear();

  // The whole store as {"format":"tessivo-settings","version":1,"groups":{...}}.
  nlohmann::json toJson() const;
  // Replaces the contents with a validated document; on error throws
  // HostError "<source>: <what is wrong>" and leaves the store unchanged.
  void fromJson(const nlohmann::json &document, std::string_view source);

  // Writes atomically (temporary file in the same folder, then rename).
  void saveFile(const std::filesystem::path &path) const;
  // Reads and validates; throws with a one-line message naming the file.
  void loadFile(const std::filesystem::path &path);

private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessivo::host
