// Pixxicato: pixelates the input image (UpperLeft, Center) or replaces each
// pixel by the mean, maximum or minimum of a window around it, the block or
// window size following the X and Y inputs.
#pragma once

#include "pixxicato_kernel.h"
#include "pixxicato_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class PixxicatoModule : public ModuleInstance {
 public:
  PixxicatoModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  PixxicatoSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  double requestTime_ = 0.0;    // the time the X and Y requests point at
  PixxicatoScratch scratch_;    // window rows, reused from frame to frame
};

}  // namespace tessivo
