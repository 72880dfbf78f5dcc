// Kagami: a kaleidoscope. Every output pixel is taken to polar coordinates
// about the centre, its angle folded into one mirrored wedge and turned by
// the Strength input, and the input is sampled there.
#pragma once

#include "kagami_kernel.h"
#include "kagami_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class KagamiModule : public ModuleInstance {
 public:
  KagamiModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  KagamiSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  double requestTime_ = 0.0;  // the time the Strength input's request points at
  MirrorKernel mirror_;       // keeps its per-size tables between frames
};

}  // namespace tessivo
