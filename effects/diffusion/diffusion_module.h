// Diffusion: the picture rises and softens like smoke while its Strength input
// is above 0. Built only when a host asks for its code: the registry does not list it.
#pragma once

#include "diffusion_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class DiffusionModule : public ModuleInstance {
 public:
  DiffusionModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  DiffusionSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  double requestTime_ = 0.0;  // the time the Strength input's request points at
};

}  // namespace tessivo
