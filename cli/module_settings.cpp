#include "module_settings.h"

#include "cli_common.h"

#include <tessivo/host/settings_store.h>

#include <CoreFoundation/CoreFoundation.h>
#include <fmt/format.h>

namespace tessivo::cli {

namespace {

// Releases a CoreFoundation object at scope exit.
struct CFHolder {
  CFTypeRef object = nullptr;
  ~CFHolder() {
    if (object != nullptr) CFRelease(object);
  }
};

}  // namespace

void applySetting(host::Instance& instance, const host::SettingsDescription& settings,
                  const host::SettingAssignment& assignment) {
  if (instance.hasParameters()) {
    CFHolder key{CFStringCreateWithCString(nullptr, assignment.key.c_str(), kCFStringEncodingUTF8)};
    CFHolder value{host::makeCFValue(assignment.value)};
    if (key.object == nullptr || value.object == nullptr)
      throw CliError(fmt::format("{}: cannot build the value of \"{}\"", instance.name(), assignment.key));
    if (!instance.setParameter(static_cast<CFStringRef>(key.object), value.object))
      throw CliError(fmt::format("{} refused {} for \"{}\"", instance.name(), assignment.value.toString(),
                                 assignment.key));
    return;
  }
  // The group holds every current value, so the module reloads all of them unchanged but the one key.
  host::SettingsStore scratch;
  if (!instance.save(scratch.table()) || settings.group.empty())
    throw CliError(fmt::format("{} does not save its settings, so \"{}\" cannot be set", instance.name(),
                               assignment.key));
  scratch.set(settings.group, assignment.key, assignment.value);
  if (!instance.load(scratch.table()))
    throw CliError(fmt::format("{} refused its settings group with \"{}\" = {}", instance.name(), assignment.key,
                               assignment.value.toString()));
}

}  // namespace tessivo::cli
