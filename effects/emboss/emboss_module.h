// Emboss: turns the input image into a relief lit from one of four corners,
// as "Emboss", "Emboss with alpha" or "Stonify", at five strengths.
#pragma once

#include "emboss_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class EmbossModule : public ModuleInstance {
 public:
  EmbossModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  EmbossSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
};

}  // namespace tessivo
