// Flash: passes every colour channel through a table that moves after each
// frame, so the picture flickers through false colours.
#pragma once

#include "flash_kernel.h"
#include "flash_settings.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class FlashModule : public ModuleInstance {
 public:
  FlashModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  // After every frame that got past its input checks, enabled or not.
  void advanceTable();

  FlashSettings settings_;
  FlashTable table_;
  uint32_t phase_ = 0;
  InstanceInfoRecord infoRecord_;
  SettingsDialogRecord dialogRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
};

}  // namespace tessivo
