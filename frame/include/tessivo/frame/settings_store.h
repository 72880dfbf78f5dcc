// A module's settings group in the host's store, for its save and load callbacks.
#pragma once

#include <marlix/settings.h>

#include <cstdint>

namespace tessivo {

class SettingsWriter {
 public:
  // Opens (creating) the group; false when the host cannot.
  SettingsWriter(const SettingsTable *store, const char *group);
  explicit operator bool() const { return group_ != nullptr; }

  void writeInt64(const char *key, int64_t value) const;
  // A 32-bit field as a 64-bit integer whose high word is 0.
  void writeUInt32(const char *key, uint32_t value) const;
  void writeDouble(const char *key, double value) const;
  void writeBoolean(const char *key, bool value) const;
  void writePackedColor(const char *key, uint32_t argb) const;

 private:
  const SettingsTable *store_;
  SettingsGroup *group_;
};

class SettingsReader {
 public:
  // Opens the group; false when there is none.
  SettingsReader(const SettingsTable *store, const char *group);
  explicit operator bool() const { return group_ != nullptr; }

  // The stored value, or null.
  CFTypeRef value(const char *key) const;
  int64_t readInt64(const char *key, int64_t fallback) const;
  // The low 32 bits of a 64-bit integer, as stored.
  uint32_t readUInt32(const char *key, uint32_t fallback) const;
  double readDouble(const char *key, double fallback) const;
  bool readBoolean(const char *key, bool fallback) const;
  uint32_t readPackedColor(const char *key, uint32_t fallback) const;

 private:
  const SettingsTable *store_;
  SettingsGroup *group_;
};

}  // namespace tessivo
