// Jishin: an earthquake shake that moves the whole image by a random offset
// each frame, up to a quarter of the Strength input times the image's size.
#pragma once

#include "jishin_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class JishinModule : public ModuleInstance {
 public:
  JishinModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  JishinSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  double requestTime_ = 0.0;  // the time the Strength input's request points at
};

}  // namespace tessivo
