// Irisation: a colour fringe. Red is displaced one way and blue the other by
// the X and Y controllers; green and alpha stay. No settings and no panel.
#pragma once

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class IrisationModule : public ModuleInstance {
 public:
  IrisationModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  InstanceInfoRecord infoRecord_;
  double requestTime_ = 0.0;  // the time the controllers' requests point at
};

}  // namespace tessivo
