// The host's settings store in memory: groups of CoreFoundation values.
#pragma once

#include <marlix/settings.h>

#include <map>
#include <string>

#include "tessivo/test/call_log.h"

namespace tessivo::test {

class MemorySettings {
 public:
  explicit MemorySettings(CallLog &log);
  ~MemorySettings();
  MemorySettings(const MemorySettings &) = delete;
  MemorySettings &operator=(const MemorySettings &) = delete;

  const SettingsTable *table() const { return &table_; }

  // When set, both open functions answer null.
  bool refuseGroups = false;

  bool hasGroup(const std::string &group) const { return groups_.count(group) != 0; }
  // The stored value (still owned by the store), or null.
  CFTypeRef value(const std::string &group, const std::string &key) const;
  // Stores value, taking over the reference; creates the group.
  void set(const std::string &group, const std::string &key, CFTypeRef value);

 private:
  using Group = std::map<std::string, CFTypeRef>;
  static SettingsGroup *OpenForWriting(void *cookie, const char *group);
  static SettingsGroup *OpenForReading(void *cookie, const char *group);
  static CFTypeRef GetValue(void *cookie, SettingsGroup *group, const char *key);
  static uint32_t SetValue(void *cookie, SettingsGroup *group, const char *key, CFTypeRef value);

  CallLog &log_;
  SettingsTable table_{};
  std::map<std::string, Group> groups_;
};

}  // namespace tessivo::test
