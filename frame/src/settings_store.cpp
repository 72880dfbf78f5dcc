// Named values in a module's settings group, written with the Make* values
// and read back with the Read* conversions.
#include "tessivo/frame/settings_store.h"

#include "tessivo/frame/settings_values.h"

namespace tessivo {

SettingsWriter::SettingsWriter(const SettingsTable *store, const char *group)
    : store_(store),
      group_(store != nullptr && store->OpenGroupForWriting != nullptr
                 ? store->OpenGroupForWriting(store->cookie, group)
                 : nullptr) {}

namespace {

// Hands a new value to the host, which takes it over; values are only
// created once they have somewhere to go.
template <typename Make>
void Store(const SettingsTable *store, SettingsGroup *group, const char *key, Make make) {
  if (group == nullptr || store->SetValue == nullptr) return;
  store->SetValue(store->cookie, group, key, make());
}

}  // namespace

void SettingsWriter::writeInt64(const char *key, int64_t value) const {
  Store(store_, group_, key, [&] { return MakeInt64(value); });
}

void SettingsWriter::writeUInt32(const char *key, uint32_t value) const {
  Store(store_, group_, key, [&] { return MakeUInt32(value); });
}

void SettingsWriter::writeDouble(const char *key, double value) const {
  Store(store_, group_, key, [&] { return MakeDouble(value); });
}

void SettingsWriter::writeBoolean(const char *key, bool value) const {
  Store(store_, group_, key, [&] { return MakeBoolean(value ? 1 : 0); });
}

void SettingsWriter::writePackedColor(const char *key, uint32_t argb) const {
  Store(store_, group_, key, [&] { return static_cast<CFTypeRef>(MakePackedColor(argb)); });
}

SettingsReader::SettingsReader(const SettingsTable *store, const char *group)
    : store_(store),
      group_(store != nullptr && store->OpenGroupForReading != nullptr
                 ? store->OpenGroupForReading(store->cookie, group)
                 : nullptr) {}

CFTypeRef SettingsReader::value(const char *key) const {
  if (group_ == nullptr || store_->GetValue == nullptr) return nullptr;
  return store_->GetValue(store_->cookie, group_, key);
}

int64_t SettingsReader::readInt64(const char *key, int64_t fallback) const { return ReadInt64(value(key), fallback); }

uint32_t SettingsReader::readUInt32(const char *key, uint32_t fallback) const {
  return ReadUInt32(value(key), fallback);
}

double SettingsReader::readDouble(const char *key, double fallback) const { return ReadDouble(value(key), fallback); }

bool SettingsReader::readBoolean(const char *key, bool fallback) const {
  return ReadBoolean(value(key), fallback ? 1 : 0) != 0;
}

uint32_t SettingsReader::readPackedColor(const char *key, uint32_t fallback) const {
  return ReadPackedColor(value(key), fallback);
}

}  // namespace tessivo
