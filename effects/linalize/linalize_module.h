// Linalize: paints the input, stroke by stroke, onto a canvas that persists
// from frame to frame in the host's cache image of the output request.
#pragma once

#include "linalize_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class LinalizeModule : public ModuleInstance {
 public:
  LinalizeModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  LinalizeSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  OutputCacheRecord cacheRecord_;
  double requestTime_ = 0.0;  // the time the Speed input's request points at
};

}  // namespace tessivo
