#include "fader_module.h"

#include "fader_kernel.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

#include <algorithm>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kFadePort = 2;
constexpr float kUnconnectedAmount = 0.5f;

// The output's size and format. Only what would reach past a buffer is cut:
// rows longer than either buffer's row bytes, and rows beyond either height.
FadeImage FadeRegion(const ImageDescriptor &output, const ImageDescriptor &source, const ImageDescriptor &destination) {
  const uint32_t pixelBytes = output.pixelFormat == kPixelFormatARGB8888 ? 4 : 1;
  const uint32_t width = std::min({output.width, source.rowBytes / pixelBytes, destination.rowBytes / pixelBytes});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes,
          width, height, output.pixelFormat};
}

}  // namespace

FaderModule::FaderModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{0, InstanceCookie(call)},
      infoRecord_(MakeInstanceInfoRecord(kFaderCode)),
      dialogRecord_(MakeSettingsDialogRecord(kFaderCode, RunFaderPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kFaderCode, SaveFaderSettings, LoadFaderSettings, &settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  PublishDescriptor(classRecord, kFaderCode);
}

uint32_t FaderModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  RequestImage(call, kImagePort, request);
  RequestControl(call, kFadePort, *request, requestTimes_.next());
  return 1;
}

uint32_t FaderModule::cancelInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  CancelPorts(call, request, {kImagePort, kFadePort});
  return 1;
}

uint32_t FaderModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  PortRead input;
  PortRead fade;
  ReadPort(call, kImagePort, *request, input);
  if (enabled) {
    ReadPort(call, kFadePort, *request, fade);
  } else {
    SkipPort(fade);
  }
  WaitUntilRead({&input, &fade});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (outputDesc == nullptr || input.descriptor() == nullptr || output == nullptr || input.image() == nullptr) {
    return 0;
  }
  const float amount = fade.control().value_or(kUnconnectedAmount);
  // A NaN amount fades too: only a comparison that holds copies.
  if (!enabled || amount <= 0.0f) {
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
  Fade(FadeRegion(*outputDesc, *source, *destination), settings_.fadeColor, amount);
  return 1;
}

}  // namespace tessivo
