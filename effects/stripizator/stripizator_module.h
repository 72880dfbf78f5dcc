// Stripizator: diagonal two-colour stripes over the picture, opaque where
// the blurred input is dark and clear where it is bright, moving one pixel
// of phase per rendered frame.
#pragma once

#include <cstdint>
#include <vector>

#include "blur/box_blur.h"
#include "stripizator_settings.h"
#include "tessivo/frame/module_instance.h"

namespace tessivo {

class StripizatorModule : public ModuleInstance {
 public:
  StripizatorModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);

  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

 private:
  StripizatorSettings settings_;
  InstanceInfoRecord infoRecord_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  OutputCacheRecord cacheRecord_;
  double requestTime_ = 0.0;          // the time the controllers' requests point at
  std::vector<uint8_t> tentScratch_;  // the tent filter's scratch, kept between frames
  BoxBlurScratch boxScratch_;         // the box blur's, when the tent filter is absent
};

}  // namespace tessivo
