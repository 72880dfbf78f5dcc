#include "kagami_module.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kStrengthPort = 2;
constexpr float kUnconnectedStrength = 0.5f;

// The output's size and format over the two buffers.
MirrorImage MirrorRegion(const ImageDescriptor &output, const ImageDescriptor &source,
                         const ImageDescriptor &destination) {
  return {source.baseAddress, source.rowBytes, source.height, destination.baseAddress, destination.rowBytes,
          destination.height, output.width, output.height, output.pixelFormat};
}

}  // namespace

KagamiModule::KagamiModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{0, 0, InstanceCookie(call)},
      infoRecord_(MakeInstanceInfoRecord(kKagamiCode)),
      dialogRecord_(MakeSettingsDialogRecord(kKagamiCode, RunKagamiPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kKagamiCode, SaveKagamiSettings, LoadKagamiSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kKagamiCode);
}

uint32_t KagamiModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  RequestImage(call, kImagePort, request);  // the answer does not matter
  RequestControl(call, kStrengthPort, *request, &requestTime_);
  return 1;
}

uint32_t KagamiModule::cancelInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  CancelPorts(call, request, {kImagePort, kStrengthPort});
  return 1;
}

uint32_t KagamiModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  // The strength is read whether or not the mirror is on.
  PortRead input;
  PortRead strength;
  ReadPort(call, kImagePort, *request, input);
  ReadPort(call, kStrengthPort, *request, strength);
  WaitUntilRead({&input, &strength});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (outputDesc == nullptr || input.descriptor() == nullptr || output == nullptr || input.image() == nullptr) {
    return 0;
  }
  const float amount = strength.control().value_or(kUnconnectedStrength);
  // Only a strength that compares above zero mirrors (NaN copies).
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
  mirror_.run(MirrorRegion(*outputDesc, *source, *destination), amount);
  return 1;
}

}  // namespace tessivo
