// SettingsStore: typed groups and the SettingsTable that serves them to the bundle.
#include <exception>

#include "settings/settings_store_internal.h"

namespace tessivo::host {

struct SettingsStore::Impl {
  SettingsTable table{};
  SettingsGroups groups;

  SettingsGroupData *groupFromHandle(SettingsGroup *handle) {
    for (auto &[name, group] : groups)
      if (reinterpret_cast<SettingsGroup *>(&group) == handle) return &group;
    return nullptr;
  }

  static Impl &from(void *cookie) { return *static_cast<Impl *>(cookie); }

  static SettingsGroup *openForWriting(void *cookie, const char *name) noexcept {
    if (cookie == nullptr || name == nullptr) return nullptr;
    try {
      auto &group = from(cookie).groups[std::string(name)];
      return reinterpret_cast<SettingsGroup *>(&group);
    } catch (...) {
      return nullptr;
    }
  }

  static SettingsGroup *openForReading(void *cookie, const char *name) noexcept {
    if (cookie == nullptr || name == nullptr) return nullptr;
    auto &groups = from(cookie).groups;
    const auto found = groups.find(std::string_view(name));
    return found == groups.end() ? nullptr : reinterpret_cast<SettingsGroup *>(&found->second);
  }

  static CFTypeRef getValue(void *cookie, SettingsGroup *handle, const char *key) noexcept {
    if (cookie == nullptr || key == nullptr) return nullptr;
    try {
      SettingsGroupData *group = from(cookie).groupFromHandle(handle);
      if (group == nullptr) return nullptr;
      const auto found = group->find(std::string_view(key));
      if (found == group->end()) return nullptr;
      const SettingsEntry &entry = found->second;
      if (!entry.handedOut) entry.handedOut.reset(makeCFValue(entry.value));
      return entry.handedOut.get();
    } catch (...) {
      return nullptr;
    }
  }

  static std::uint32_t setValue(void *cookie, SettingsGroup *handle, const char *key, CFTypeRef value) noexcept {
    const CFReference taken(value);  // ours now, whatever happens
    if (cookie == nullptr || key == nullptr) return 0;
    try {
      SettingsGroupData *group = from(cookie).groupFromHandle(handle);
      if (group == nullptr) return 0;
      std::optional<SettingValue> converted = settingValueFromCF(value);
      if (!converted) return 0;
      SettingsEntry &entry = (*group)[std::string(key)];
      entry.value = std::move(*converted);
      entry.handedOut.reset();
      return 1;
    } catch (...) {
      return 0;
    }
  }
};

SettingsStore::SettingsStore() : impl_(std::make_unique<Impl>()) {
  impl_->table.cookie = impl_.get();
  impl_->table.OpenGroupForWriting = &Impl::openForWriting;
  impl_->table.OpenGroupForReading = &Impl::openForReading;
  impl_->table.GetValue = &Impl::getValue;
  impl_->table.SetValue = &Impl::setValue;
}

SettingsStore::~SettingsStore() = default;

const SettingsTable *SettingsStore::table() const noexcept { return &impl_->table; }

std::vector<std::string> SettingsStore::groups() const {
  std::vector<std::string> names;
  for (const auto &[name, group] : impl_->groups) names.push_back(name);
  return names;
}

bool SettingsStore::hasGroup(std::string_view group) const { return impl_->groups.contains(group); }

std::vector<std::string> SettingsStore::keys(std::string_view group) const {
  std::vector<std::string> names;
  const auto found = impl_->groups.find(group);
  if (found != impl_->groups.end())
    for (const auto &[key, entry] : found->second) names.push_back(key);
  return names;
}

std::optional<SettingValue> SettingsStore::get(std::string_view group, std::string_view key) const {
  const auto foundGroup = impl_->groups.find(group);
  if (foundGroup == impl_->groups.end()) return std::nullopt;
  const auto found = foundGroup->second.find(key);
  if (found == foundGroup->second.end()) return std::nullopt;
  return found->second.value;
}

void SettingsStore::set(std::string_view group, std::string_view key, SettingValue value) {
  SettingsEntry &entry = impl_->groups[std::string(group)][std::string(key)];
  entry.value = std::move(value);
  entry.handedOut.reset();
}

void SettingsStore::removeGroup(std::string_view group) {
  const auto found = impl_->groups.find(group);
  if (found != impl_->groups.end()) impl_->groups.erase(found);
}

void SettingsStore::markPackedColor(std::string_view group, std::string_view key) {
  const auto foundGroup = impl_->groups.find(group);
  if (foundGroup == impl_->groups.end()) return;
  const auto found = foundGroup->second.find(key);
  if (found != foundGroup->second.end()) found->second.packedColor = true;
}

bool SettingsStore::isPackedColor(std::string_view group, std::string_view key) const {
  const auto foundGroup = impl_->groups.find(group);
  if (foundGroup == impl_->groups.end()) return false;
  const auto found = foundGroup->second.find(key);
  return found != foundGroup->second.end() && found->second.packedColor;
}

void SettingsStore::clear() { impl_->groups.clear(); }

void SettingsStore::fromJson(const nlohmann::json &document, std::string_view source) {
  impl_->groups = settingsGroupsFromJson(document, source);
}

}  // namespace tessivo::host
