// Builds the module instance for a class code after acquiring the host's
// bitmap service; unknown codes are reported to the host.
#pragma once

#include "tessivo/frame/module_instance.h"

namespace tessivo {

ModuleInstance *ModuleFactory(HostCall *call, ModuleClassRecord *classRecord);

// Constructs the module for a class code, or returns null for a code the bundle
// does not implement. Defined on the effects' side (effects/modules.cpp), so the
// frame knows no effect by name.
ModuleInstance *ConstructModule(uint32_t code, HostCall *call, ModuleClassRecord *classRecord,
                                BitmapService *service);

}  // namespace tessivo
