// The settings project file: {"format":"tessivo-settings","version":1,"groups":{...}}.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tessivo/host/error.h"
#include "tessivo/host/input_file.h"
#include "tessivo/host/output_file.h"
#include "settings/settings_store_internal.h"
#include "settings/value_text.h"

namespace tessivo::host {

namespace {

using nlohmann::json;

constexpr std::string_view kFormat = "tessivo-settings";
constexpr int kVersion = 1;

// Doubles that JSON cannot hold are written as these strings.
json doubleToJson(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

json valueToJson(const SettingValue &value, bool packedColor) {
  json entry{{"type", valueTypeName(value.type())}};
  switch (value.type()) {
    case ValueType::Integer: {
      const std::int64_t number = value.asInteger();
      if (packedColor && number >= 0 && number <= std::int64_t{0xFFFFFFFF})
        entry["value"] = formatColor(static_cast<std::uint32_t>(number));
      else
        entry["value"] = number;
      break;
    }
    case ValueType::Double: entry["value"] = doubleToJson(value.asDouble()); break;
    case ValueType::Boolean: entry["value"] = value.asBoolean(); break;
    case ValueType::Color: {
      // A colour that a packed word gives exactly is written as its text; others keep their components.
      const Color &color = value.asColor();
      if (color.components.size() == 4 && Color::fromPacked(color.packed()) == color) {
        entry["value"] = formatColor(color.packed());
        break;
      }
      json components = json::array();
      for (double component : color.components) components.push_back(doubleToJson(component));
      entry["value"] = components;
      break;
    }
    case ValueType::String: entry["value"] = value.asString(); break;
  }
  return entry;
}

std::string clipped(std::string text, std::size_t chars) {
  if (text.size() > chars) text = text.substr(0, chars) + "...";
  return text;
}

// A short, one-line view of a value for a message: at most two levels of
// nesting and about sixty characters, so a hostile value (nested thousands
// deep or megabytes long) neither floods the message nor exhausts the stack.
void appendExcerpt(std::string &out, const json &value, int depth) {
  constexpr std::size_t kMaxChars = 60;
  if (out.size() >= kMaxChars) return;
  if (value.is_array() || value.is_object()) {
    const bool array = value.is_array();
    out += array ? '[' : '{';
    if (!value.empty() && depth >= 2) {
      out += "...";
    } else {
      bool first = true;
      for (auto item = value.begin(); item != value.end(); ++item, first = false) {
        if (out.size() >= kMaxChars) {
          out += "...";
          break;
        }
        if (!first) out += ',';
        if (!array) out += clipped(json(item.key()).dump(), kMaxChars) + ':';
        appendExcerpt(out, item.value(), depth + 1);
      }
    }
    out += array ? ']' : '}';
    return;
  }
  out += clipped(value.dump(), kMaxChars);
}

std::string excerpt(const json &value) {
  std::string out;
  appendExcerpt(out, value, 0);
  return out;
}

class Reader {
public:
  explicit Reader(std::string_view source) : source_(source) {}

  [[noreturn]] void fail(const std::string &where, const std::string &what) const {
    throw HostError(std::string(source_) + ": " + (where.empty() ? "" : where + ": ") + what);
  }

  double readDouble(const json &value, const std::string &where) const {
    if (value.is_number()) return value.get<double>();
    if (value.is_string()) {
      const auto &text = value.get_ref<const std::string &>();
      if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
      if (text == "inf") return std::numeric_limits<double>::infinity();
      if (text == "-inf") return -std::numeric_limits<double>::infinity();
    }
    fail(where, "expected a number, found " + excerpt(value));
  }

  SettingsEntry readEntry(const json &entry, const std::string &where) const {
    SettingsEntry read;
    const auto value = entry.is_object() ? entry.find("value") : entry.end();
    const auto type = entry.is_object() ? entry.find("type") : entry.end();
    // Packed colours held by integer settings may be written as colour text.
    if (type != entry.end() && *type == "integer" && value != entry.end() && value->is_string()) {
      const auto colour = parseColor(value->get_ref<const std::string &>());
      if (!colour || value->get_ref<const std::string &>().rfind('#', 0) != 0)
        fail(where, "expected a 64-bit integer or a colour #RRGGBB or #RRGGBBAA, found " + excerpt(*value));
      read.value = SettingValue(std::int64_t{colour->argb});
      read.packedColor = true;
      return read;
    }
    read.value = readValue(entry, where);
    return read;
  }

  SettingValue readValue(const json &entry, const std::string &where) const {
    if (!entry.is_object()) fail(where, "expected an object with \"type\" and \"value\"");
    const auto type = entry.find("type");
    const auto value = entry.find("value");
    if (type == entry.end() || !type->is_string()) fail(where, "missing \"type\"");
    if (value == entry.end()) fail(where, "missing \"value\"");
    const auto &name = type->get_ref<const std::string &>();
    if (name == "integer") {
      if (value->is_number_integer() && !(value->is_number_unsigned() &&
                                          value->get<std::uint64_t>() > std::uint64_t{INT64_MAX}))
        return SettingValue(value->get<std::int64_t>());
      fail(where, "expected a 64-bit integer, found " + excerpt(*value));
    }
    if (name == "double") return SettingValue(readDouble(*value, where));
    if (name == "boolean") {
      if (value->is_boolean()) return SettingValue(value->get<bool>());
      fail(where, "expected true or false, found " + excerpt(*value));
    }
    if (name == "color") return SettingValue(readColor(*value, where));
    if (name == "string") {
      if (value->is_string()) {
        // Modules take strings as C strings: a NUL would cut the text short.
        if (value->get_ref<const std::string &>().find('\0') != std::string::npos)
          fail(where, "a string may not contain a NUL character (\\u0000)");
        return SettingValue(value->get<std::string>());
      }
      fail(where, "expected a string, found " + excerpt(*value));
    }
    fail(where, "unknown type \"" + name + "\" (expected integer, double, boolean, color or string)");
  }

  Color readColor(const json &value, const std::string &where) const {
    if (value.is_string()) {
        if (const auto colour = parseColor(value.get_ref<const std::string &>())) return Color::fromPacked(colour->argb);
      fail(where, "expected a colour #RRGGBB or #RRGGBBAA, found " + excerpt(value));
    }
    if (!value.is_array() || (value.size() != 4 && value.size() != 2))
      fail(where, "expected a colour #RRGGBBAA, 4 components (red, green, blue, alpha) or 2 (grey, alpha), found " +
                      excerpt(value));
    Color color{{}};
    for (const json &component : value) color.components.push_back(readDouble(component, where));
    return color;
  }

  SettingsGroups readDocument(const json &document) const {
    if (!document.is_object()) fail("", "expected a JSON object");
    const auto format = document.find("format");
    if (format == document.end() || *format != kFormat)
      fail("", "not a settings file (\"format\" must be \"" + std::string(kFormat) + "\")");
    const auto version = document.find("version");
    if (version == document.end() || !version->is_number_integer() || version->get<std::int64_t>() != kVersion)
      fail("", "unsupported version (expected " + std::to_string(kVersion) + ")");
    const auto groups = document.find("groups");
    if (groups == document.end() || !groups->is_object()) fail("", "\"groups\" must be an object");
    SettingsGroups result;
    for (const auto &[groupName, group] : groups->items()) {
      const std::string groupWhere = "group \"" + groupName + "\"";
      if (!group.is_object()) fail(groupWhere, "expected an object of keys");
      SettingsGroupData &data = result[groupName];
      for (const auto &[key, entry] : group.items())
        data[key] = readEntry(entry, groupWhere + " key \"" + key + "\"");
    }
    return result;
  }

private:
  std::string_view source_;
};

std::string sourceName(const std::filesystem::path &path) { return "settings file " + path.string(); }

}  // namespace

SettingsGroups settingsGroupsFromJson(const nlohmann::json &document, std::string_view source) {
  return Reader(source).readDocument(document);
}

nlohmann::json SettingsStore::toJson() const {
  json groups = json::object();
  for (const std::string &group : this->groups()) {
    json keys = json::object();
    for (const std::string &key : this->keys(group))
      keys[key] = valueToJson(*get(group, key), isPackedColor(group, key));
    groups[group] = std::move(keys);
  }
  return json{{"format", kFormat}, {"version", kVersion}, {"groups", std::move(groups)}};
}

void SettingsStore::saveFile(const std::filesystem::path &path) const {
  writeOutputFile(path, toJson().dump(2) + "\n");
}

nlohmann::json readJsonFile(const std::filesystem::path &path, const std::string &source, std::string_view what) {
  std::string contents;
  try {
    contents = readInputFile(path, kMaxTextFileBytes, std::string(what));
  } catch (const HostError &error) {
    // readInputFile names the path; the caller's source name ("settings file x") replaces it.
    std::string message = error.what();
    const std::string name = inputName(path);
    if (message.rfind(name + ": ", 0) == 0) message.erase(0, name.size() + 2);
    throw HostError(source + ": " + message);
  }
  try {
    return json::parse(contents);
  } catch (const json::parse_error &e) {
    std::string message = e.what();
    if (const auto bracket = message.find("] "); bracket != std::string::npos) message.erase(0, bracket + 2);
    throw HostError(source + ": invalid JSON: " + message);
  } catch (const json::out_of_range &) {
    throw HostError(source + ": a number is too large to be held");  // the only range error parse reports
  } catch (const json::exception &) {
    throw HostError(source + ": invalid JSON");
  }
}

void SettingsStore::loadFile(const std::filesystem::path &path) {
  const std::string source = sourceName(path);
  fromJson(readJsonFile(path, source, "a settings file"), source);
}

}  // namespace tessivo::host
