// Blur: box blurs along X, Y or both, by amounts from its settings scaled by
// the X and Y inputs. Type 0 runs the software box blurs; Type 1 asks for the
// input at half size, blurs it with the tent filter and scales it back up.
#pragma once

#include "blur_settings.h"
#include "box_blur.h"

#include "tessivo/frame/module_instance.h"

namespace tessivo {

class BlurModule : public ModuleInstance {
 public:
  BlurModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service);
  ~BlurModule() override;

  uint32_t startRendering(HostCall *call, void *target) override;
  uint32_t stopRendering(HostCall *call, void *target) override;
  uint32_t requestInputs(HostCall *call, void *target) override;
  uint32_t cancelInputs(HostCall *call, void *target) override;
  uint32_t render(HostCall *call, void *target) override;

  const BlurSettings &settings() const { return settings_; }

  // The working buffers between startRendering and stopRendering (tests look).
  const void *tempBuffer() const { return tempBuffer_; }
  const void *halfBuffer() const { return halfBuffer_; }
  const void *fullBuffer() const { return fullBuffer_; }
  size_t tempBufferSize() const { return tempBufferSize_; }
  uint32_t halfWidth() const { return halfWidth_; }
  uint32_t halfHeight() const { return halfHeight_; }
  uint32_t fullWidth() const { return fullWidth_; }
  uint32_t fullHeight() const { return fullHeight_; }

 private:
  void freeBuffers();
  // The half-size tent blur scaled up to the output; false when it cannot run
  // (no tent filter or scaler, a one-byte image, a kernel the filter refuses).
  bool tentFastPath(const ImageDescriptor &output, const ImageDescriptor &source, const ImageDescriptor &destination,
                    float x, float y);
  // The fast path's fall-back: the input stretched to the output's size, then
  // the software blur with the same amounts as Type 0.
  void softwareFromHalfSize(const ImageDescriptor &output, const ImageDescriptor &source,
                            const ImageDescriptor &destination, float x, float y);

  BlurSettings settings_;
  SettingsSaveRecord saveRecord_;
  ParameterRecord parameterRecord_;
  OutputCacheRecord cacheRecord_;
  InstanceInfoRecord infoRecord_;

  double requestTime_ = 0.0;         // the time the controller requests point at
  ImageDescriptor halfRequest_{};    // the half-size image request on the fast path
  void *tempBuffer_ = nullptr;       // scratch of the tent filter and the scaler
  size_t tempBufferSize_ = 0;
  void *halfBuffer_ = nullptr;       // the blurred half-size ARGB image
  void *fullBuffer_ = nullptr;       // the stretched input when the tent filter is absent
  size_t fullBufferSize_ = 0;
  uint32_t halfWidth_ = 0;
  uint32_t halfHeight_ = 0;
  uint32_t fullWidth_ = 0;
  uint32_t fullHeight_ = 0;
  BoxBlurScratch boxScratch_;        // the software blur's row sums, kept between frames
};

}  // namespace tessivo
