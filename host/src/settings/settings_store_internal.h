// The store's data, shared by its table callbacks and its JSON persistence.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "tables/cf_reference.h"
#include "tessivo/host/settings_store.h"

namespace tessivo::host {

struct SettingsEntry {
  SettingValue value;
  // An integer that holds a packed colour: the file shows it as "#RRGGBBAA".
  bool packedColor = false;
  // The CF object last handed out by GetValue; kept alive for the bundle.
  mutable CFReference handedOut;
};

using SettingsGroupData = std::map<std::string, SettingsEntry, std::less<>>;
using SettingsGroups = std::map<std::string, SettingsGroupData, std::less<>>;

// Reads and parses a JSON file of at most 64 MiB; throws HostError "<source>: <reason>".
nlohmann::json readJsonFile(const std::filesystem::path &path, const std::string &source, std::string_view what);

SettingsGroups settingsGroupsFromJson(const nlohmann::json &document, std::string_view source);

}  // namespace tessivo::host
