// The base of every effect module: one object per module box, driven by the
// host through these virtual operations (their order is the host's).
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

class ModuleInstance {
 public:
  ModuleInstance(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);
  ModuleInstance(const ModuleInstance &) = delete;
  ModuleInstance &operator=(const ModuleInstance &) = delete;

  virtual ~ModuleInstance();
  virtual uint32_t startRendering(HostCall *call, void *target);
  virtual uint32_t onMessage3201(HostCall *call, void *target);
  virtual uint32_t stopRendering(HostCall *call, void *target);
  virtual uint32_t onMessage3300(HostCall *call, void *target);
  // Asks for the On/Off input; runs at once when nothing can deliver it.
  virtual uint32_t probeEnableInput(HostCall *call, void *target);
  virtual uint32_t onMessage3302(HostCall *call, void *target);
  virtual uint32_t requestInputs(HostCall *call, void *target) = 0;
  virtual uint32_t cancelInputs(HostCall *call, void *target) = 0;
  virtual uint32_t render(HostCall *call, void *target) = 0;
  // Follows the values arriving on the On/Off input.
  virtual uint32_t receiveInput(HostCall *call, void *target);

  bool isEnabled() const { return enabled != 0; }

 protected:
  BitmapService *bitmapService;
  uint8_t enabled = 0;
};

}  // namespace tessivo
