#include "tessivo/test/memory_settings.h"

namespace tessivo::test {

MemorySettings::MemorySettings(CallLog &log) : log_(log) {
  table_.cookie = this;
  table_.OpenGroupForWriting = &OpenForWriting;
  table_.OpenGroupForReading = &OpenForReading;
  table_.GetValue = &GetValue;
  table_.SetValue = &SetValue;
}

MemorySettings::~MemorySettings() {
  for (auto &[name, group] : groups_) {
    for (auto &[key, value] : group) {
      if (value != nullptr) CFRelease(value);
    }
  }
}

CFTypeRef MemorySettings::value(const std::string &group, const std::string &key) const {
  auto found = groups_.find(group);
  if (found == groups_.end()) return nullptr;
  auto entry = found->second.find(key);
  return entry == found->second.end() ? nullptr : entry->second;
}

void MemorySettings::set(const std::string &group, const std::string &key, CFTypeRef value) {
  CFTypeRef &slot = groups_[group][key];
  if (slot != nullptr) CFRelease(slot);
  slot = value;
}

SettingsGroup *MemorySettings::OpenForWriting(void *cookie, const char *group) {
  auto &self = *static_cast<MemorySettings *>(cookie);
  self.log_.add({"OpenGroupForWriting", {}, {group}, {}});
  if (self.refuseGroups) return nullptr;
  return reinterpret_cast<SettingsGroup *>(&self.groups_[group]);
}

SettingsGroup *MemorySettings::OpenForReading(void *cookie, const char *group) {
  auto &self = *static_cast<MemorySettings *>(cookie);
  self.log_.add({"OpenGroupForReading", {}, {group}, {}});
  auto found = self.groups_.find(group);
  if (self.refuseGroups || found == self.groups_.end()) return nullptr;
  return reinterpret_cast<SettingsGroup *>(&found->second);
}

CFTypeRef MemorySettings::GetValue(void *cookie, SettingsGroup *group, const char *key) {
  auto &self = *static_cast<MemorySettings *>(cookie);
  self.log_.add({"GetValue", {}, {key}, {}});
  auto &values = *reinterpret_cast<Group *>(group);
  auto found = values.find(key);
  return found == values.end() ? nullptr : found->second;
}

uint32_t MemorySettings::SetValue(void *cookie, SettingsGroup *group, const char *key, CFTypeRef value) {
  auto &self = *static_cast<MemorySettings *>(cookie);
  self.log_.add({"SetValue", {reinterpret_cast<uintptr_t>(value)}, {key}, {}});
  CFTypeRef &slot = (*reinterpret_cast<Group *>(group))[key];
  if (slot != nullptr) CFRelease(slot);
  slot = value;
  return 1;
}

}  // namespace tessivo::test
