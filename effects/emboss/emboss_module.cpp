#include "emboss_module.h"

#include "emboss_kernel.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

#include <algorithm>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;

// The output's size and format, cut down to what both buffers hold, so that
// sizes and row bytes the host reports inconsistently never reach past them.
EmbossImage EmbossRegion(const ImageDescriptor &output, const ImageDescriptor &source,
                         const ImageDescriptor &destination) {
  const uint32_t pixelBytes = output.pixelFormat == kPixelFormatARGB8888 ? 4 : 1;
  const uint32_t width = std::min({output.width, source.width, destination.width, source.rowBytes / pixelBytes,
                                   destination.rowBytes / pixelBytes});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes,
          width, height, output.pixelFormat};
}

}  // namespace

EmbossModule::EmbossModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{1, 1, 0, InstanceCookie(call)},
      infoRecord_(MakeInstanceInfoRecord(kEmbossCode)),
      dialogRecord_(MakeSettingsDialogRecord(kEmbossCode, RunEmbossPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kEmbossCode, SaveEmbossSettings, LoadEmbossSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kEmbossCode);
}

uint32_t EmbossModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  return RequestImage(call, kImagePort, request);
}

uint32_t EmbossModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort});
  return 1;
}

uint32_t EmbossModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr || OutputDescriptor(*request) == nullptr) {
    return 0;
  }
  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  PortRead input;
  ReadPort(call, kImagePort, *request, input);
  WaitUntilRead({&input});

  HostImage *output = OutputImage(*request);
  if (output == nullptr || input.image() == nullptr) {
    return 0;
  }
  if (!enabled) {
    // The output's descriptor stands in for the input's: the input's own
    // descriptor is never consulted by this module.
    CopyImage(bitmapService, input.image(), outputDesc, output, outputDesc);
    return 1;
  }
  ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (destination == nullptr || source == nullptr) {
    return 0;
  }
  Emboss(EmbossRegion(*outputDesc, *source, *destination), settings_.effect, settings_.strongness,
         settings_.direction);
  return 1;
}

}  // namespace tessivo
