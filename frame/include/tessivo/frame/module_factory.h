// Builds the module instance for a class code after acquiring the host's
// bitmap service; unknown codes are reported to the host.
#pragma once

#include "tessivo/frame/module_instance.h"

namespace tessivo {

ModuleInstance *ModuleFactory(HostCall *call, ModuleClassRecord *classRecord);

}  // namespace tessivo
