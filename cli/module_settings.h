// Changing one setting of a live instance, the way a host does: by key through
// the module's parameter record when it has one, else by writing the value into
// its settings group and letting the module load the group.
#pragma once

#include <tessivo/host/instance.h>
#include <tessivo/host/module_discovery.h>

namespace tessivo::cli {

// Throws CliError when the module refuses the value.
void applySetting(host::Instance& instance, const host::SettingsDescription& settings,
                  const host::SettingAssignment& assignment);

}  // namespace tessivo::cli
