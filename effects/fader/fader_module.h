// Fader: cross-fades the input image towards one colour by the amount on its
// Fade input (0 keeps the image, 1 gives the colour).
#pragma once

#include "fader_settings.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_instance.h"

namespace tessivo {

class FaderModule : public ModuleInstance {
 public:
  FaderModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

  const FaderSettings &settings() const { return settings_; }

 private:
  FaderSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  RequestTimeSlots requestTimes_;  // the times the Fade input's requests point at
};

}  // namespace tessivo
