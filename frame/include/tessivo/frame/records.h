// Filling and registering a module's registration records.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

// The callback that returns its argument unchanged.
void *PassThrough(void *argument);

InstanceInfoRecord MakeInstanceInfoRecord(uint32_t moduleCode);
SettingsSaveRecord MakeSettingsSaveRecord(uint32_t moduleCode, SettingsCallbackFn save, SettingsCallbackFn load,
                                          void *settings);
ParameterRecord MakeParameterRecord(void *settings, SetParameterFn set = nullptr, GetParameterFn get = nullptr);
SettingsDialogRecord MakeSettingsDialogRecord(uint32_t moduleCode, PanelBuilderFn build, void *settings);
OutputCacheRecord MakeOutputCacheRecord(uint32_t moduleCode, void *instance, OutputCacheFn create,
                                        OutputCacheFn destroy, OutputCacheFn begin, OutputCacheFn end);

// Hands a record to the host with RegisterRecord.
void RegisterRecord(HostCall *call, const void *record);
// Stores the module's class descriptor in the host's class record.
void PublishDescriptor(ModuleClassRecord *classRecord, uint32_t moduleCode);
// The instance cookie modules keep in their settings block (the portApi's cookie).
void *InstanceCookie(const HostCall *call);

}  // namespace tessivo
