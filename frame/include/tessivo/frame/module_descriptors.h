// The constant descriptions of every module class, and the registry and size
// table the host reads at load.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

// A module class's descriptor followed by its port layout.
struct ModuleDescription {
  ModuleClassDescriptor descriptor;
  PortLayoutInfo layout;
};

// The description of a class code, or null for an unknown code.
const ModuleDescription *FindModuleDescription(uint32_t code);

ModuleRegistry *GetModuleRegistry();
const ModuleSizeTable *GetModuleSizeTable();

}  // namespace tessivo
