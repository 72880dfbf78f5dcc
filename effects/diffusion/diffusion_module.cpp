#include "diffusion_module.h"

#include "diffusion_kernel.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

#include <algorithm>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kStrengthPort = 2;
constexpr float kUnconnectedStrength = 0.5f;

// The output's size, cut only where a row would reach past either buffer's
// row bytes or a row beyond either height would be touched. A one-byte image
// is diffused byte by byte; every other format as 32-bit words.
DiffusionImage DiffusionRegion(const ImageDescriptor &output, const ImageDescriptor &source,
                               const ImageDescriptor &destination) {
  const uint32_t pixelBytes = output.pixelFormat == kPixelFormatPlanar8 ? 1 : 4;
  const uint32_t width = std::min({output.width, source.rowBytes / pixelBytes, destination.rowBytes / pixelBytes});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes,
          width, height, pixelBytes};
}

}  // namespace

DiffusionModule::DiffusionModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{0, 0, InstanceCookie(call)},
      infoRecord_(MakeInstanceInfoRecord(kDiffusionCode)),
      dialogRecord_(MakeSettingsDialogRecord(kDiffusionCode, RunDiffusionPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kDiffusionCode, SaveDiffusionSettings, LoadDiffusionSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kDiffusionCode);
}

uint32_t DiffusionModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  RequestImage(call, kImagePort, request);
  RequestControl(call, kStrengthPort, *request, &requestTime_);
  return 1;
}

uint32_t DiffusionModule::cancelInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  CancelPorts(call, request, {kImagePort, kStrengthPort});
  return 1;
}

uint32_t DiffusionModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  // The strength is read whether or not the module is enabled.
  PortRead input;
  PortRead strength;
  ReadPort(call, kImagePort, *request, input);
  ReadPort(call, kStrengthPort, *request, strength);
  WaitUntilRead({&input, &strength});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (outputDesc == nullptr || output == nullptr || input.descriptor() == nullptr || input.image() == nullptr) {
    return 0;
  }
  // The strength only gates the effect; a NaN is not above 0 and copies.
  const float amount = strength.control().value_or(kUnconnectedStrength);
  if (!enabled || !(amount > 0.0f)) {
    CopyImage(bitmapService, input.image(), input.descriptor(), output, outputDesc);
    return 1;
  }
  ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
  if (destination == nullptr) {
    return 0;
  }
  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (source == nullptr) {
    return 0;
  }
  Diffuse(DiffusionRegion(*outputDesc, *source, *destination));
  return 1;
}

}  // namespace tessivo
