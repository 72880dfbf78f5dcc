#include "flash_module.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

#include <algorithm>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kPhaseStep = 89;

// The output's size and format. Only what would reach past a buffer is cut:
// rows longer than either buffer's row bytes, and rows beyond either height.
FlashImage FlashRegion(const ImageDescriptor &output, const ImageDescriptor &source,
                       const ImageDescriptor &destination) {
  const uint32_t pixelBytes = output.pixelFormat == kPixelFormatARGB8888 ? 4 : 1;
  const uint32_t width = std::min({output.width, source.rowBytes / pixelBytes, destination.rowBytes / pixelBytes});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes,
          width, height, output.pixelFormat};
}

}  // namespace

FlashModule::FlashModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{0, InstanceCookie(call)},
      table_(InitialFlashTable()),
      infoRecord_(MakeInstanceInfoRecord(kFlashCode)),
      dialogRecord_(MakeSettingsDialogRecord(kFlashCode, RunFlashPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kFlashCode, SaveFlashSettings, LoadFlashSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kFlashCode);
}

uint32_t FlashModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  RequestImage(call, kImagePort, request);
  return 1;
}

uint32_t FlashModule::cancelInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  CancelPorts(call, request, {kImagePort});
  return 1;
}

uint32_t FlashModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  PortRead input;
  ReadPort(call, kImagePort, *request, input);
  WaitUntilRead({&input});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (outputDesc == nullptr || input.descriptor() == nullptr || output == nullptr || input.image() == nullptr) {
    return 0;
  }
  if (enabled) {
    ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
    if (destination == nullptr) {
      return 0;
    }
    const ImageDescriptor *source = LockImage(bitmapService, input.image());
    if (source == nullptr) {
      return 0;
    }
    Flash(FlashRegion(*outputDesc, *source, *destination), table_, settings_.blendAlpha != 0);
  } else {
    CopyImage(bitmapService, input.image(), input.descriptor(), output, outputDesc);
  }
  advanceTable();
  return 1;
}

void FlashModule::advanceTable() {
  table_ = PhaseFlashTable(phase_);
  phase_ += kPhaseStep;
}

}  // namespace tessivo
