// The registry and size table the host reads at load, and the GlobalInfo
// record that points at them.
#include "global_info.h"

#include <new>

#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/module_descriptors.h"
#include "tessivo/frame/records.h"

namespace tessivo {
namespace {

constexpr uint32_t kRegisteredModuleCount = 10;

constexpr ModuleSizeEntry SizeEntry(uint32_t width, uint32_t height, uint32_t extra) {
  ModuleSizeEntry entry{};
  entry.width = width;
  entry.height = height;
  entry.extra = extra;
  return entry;
}

// Registry order. Kagami's 30 against everyone else's 20 is intended.
constexpr ModuleSizeEntry kSizeEntries[kRegisteredModuleCount] = {
    SizeEntry(96, 75, 20), SizeEntry(96, 40, 20), SizeEntry(96, 75, 20), SizeEntry(96, 60, 20),
    SizeEntry(96, 40, 20), SizeEntry(96, 75, 20), SizeEntry(96, 60, 20), SizeEntry(96, 60, 20),
    SizeEntry(96, 75, 20), SizeEntry(96, 60, 30),
};

constexpr ModuleSizeTable kSizeTable = {kRegisteredModuleCount, 0, kSizeEntries};

constexpr ModuleRegistryEntry RegistryEntry(uint32_t code) {
  ModuleRegistryEntry entry{};
  entry.code = code;
  return entry;
}

// Diffusion is deliberately not listed: hosts only get it by asking for its code.
ModuleRegistryEntry gRegistryEntries[kRegisteredModuleCount] = {
    RegistryEntry(kBlurCode),      RegistryEntry(kEmbossCode),   RegistryEntry(kPixxicatoCode),
    RegistryEntry(kFaderCode),     RegistryEntry(kFlashCode),    RegistryEntry(kIrisationCode),
    RegistryEntry(kLinalizeCode),  RegistryEntry(kJishinCode),   RegistryEntry(kStripizatorCode),
    RegistryEntry(kKagamiCode),
};

ModuleRegistry gRegistry = {nullptr, kCreatorCode, 22, 1, kRegisteredModuleCount, gRegistryEntries};

constexpr const char *kDisplayNames[kRegisteredModuleCount] = {
    "Blur", "Emboss", "Pixxicato", "Fader", "Flash", "Irisation", "Linalize", "Jishin", "Stripizator", "Kagami",
};

// Runs once when the bundle is loaded, before the host's first call.
struct RegistryNames {
  RegistryNames() {
    gRegistry.category = "Tessivo";
    for (uint32_t i = 0; i < kRegisteredModuleCount; ++i) gRegistryEntries[i].name = kDisplayNames[i];
  }
};
const RegistryNames gRegistryNames;

}  // namespace

ModuleRegistry *GetModuleRegistry() { return &gRegistry; }

const ModuleSizeTable *GetModuleSizeTable() { return &kSizeTable; }

GlobalInfo *NewGlobalInfo() {
  auto *info = new (std::nothrow) GlobalInfo{};
  if (info == nullptr) return nullptr;
  info->kind = kGlobalInfoKind;
  info->creator = kCreatorCode;
  info->version = 1;
  info->count = 1;
  info->passThrough = &PassThrough;
  info->sizeTable = &kSizeTable;
  return info;
}

void DeleteGlobalInfo(GlobalInfo *info) { delete info; }

}  // namespace tessivo
