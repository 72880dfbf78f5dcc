#include "jishin_module.h"

#include "jishin_kernel.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kStrengthPort = 2;
constexpr float kUnconnectedStrength = 0.5f;

}  // namespace

JishinModule::JishinModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{kJishinAlways, kJishinX, InstanceCookie(call)},
      infoRecord_(MakeInstanceInfoRecord(kJishinCode)),
      dialogRecord_(MakeSettingsDialogRecord(kJishinCode, RunJishinPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kJishinCode, SaveJishinSettings, LoadJishinSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kJishinCode);
}

uint32_t JishinModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  RequestImage(call, kImagePort, request);  // a refusal does not stop the Strength request
  RequestControl(call, kStrengthPort, *request, &requestTime_);
  return 1;
}

uint32_t JishinModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort, kStrengthPort});
  return 1;
}

uint32_t JishinModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  // Strength is read even while disabled.
  PortRead input;
  PortRead strengthInput;
  ReadPort(call, kImagePort, *request, input);
  ReadPort(call, kStrengthPort, *request, strengthInput);
  WaitUntilRead({&input, &strengthInput});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (outputDesc == nullptr || input.descriptor() == nullptr || output == nullptr || input.image() == nullptr) {
    return 0;
  }
  const float strength =
      ShakeStrength(strengthInput.control().value_or(kUnconnectedStrength), settings_.mode, RequestTime(*request));
  if (!enabled || !(strength > 0.0f)) {
    CopyImage(bitmapService, input.image(), input.descriptor(), output, outputDesc);
    return 1;
  }
  const ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (destination == nullptr || source == nullptr) {
    return 0;
  }
  const ShakeOffset offset = DrawShakeOffset(strength, destination->width, destination->height, settings_.direction);
  ShakeImage(bitmapService, *destination, *source, offset);
  return 1;
}

}  // namespace tessivo
