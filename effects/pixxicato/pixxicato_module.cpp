#include "pixxicato_module.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

#include <algorithm>
#include <optional>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kXPort = 2;
constexpr uint32_t kYPort = 3;
constexpr float kUnconnectedFactor = 0.1f;

// A factor from its own input, else 0 when only the other input delivers (that
// axis is left alone), else the default of an unconnected module.
float Factor(std::optional<float> own, std::optional<float> other) {
  return own.value_or(other ? 0.0f : kUnconnectedFactor);
}

// The output's size and format, cut down to what both buffers hold, so that
// sizes and row bytes the host reports inconsistently never reach past them.
PixxicatoImage Region(const ImageDescriptor &output, const ImageDescriptor &source,
                      const ImageDescriptor &destination) {
  const uint32_t pixelBytes = output.pixelFormat == kPixelFormatARGB8888 ? 4 : 1;
  const uint32_t width = std::min({output.width, source.width, destination.width, source.rowBytes / pixelBytes,
                                   destination.rowBytes / pixelBytes});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes,
          width, height, output.pixelFormat};
}

}  // namespace

PixxicatoModule::PixxicatoModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{InstanceCookie(call), kPixxicatoCenter},
      infoRecord_(MakeInstanceInfoRecord(kPixxicatoCode)),
      dialogRecord_(MakeSettingsDialogRecord(kPixxicatoCode, RunPixxicatoPanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kPixxicatoCode, SavePixxicatoSettings, LoadPixxicatoSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  PublishDescriptor(classRecord, kPixxicatoCode);
}

uint32_t PixxicatoModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr || request->parameter == nullptr) {
    return 0;  // no payload: nothing to ask for
  }
  RequestImage(call, kImagePort, request);
  RequestControl(call, kXPort, *request, &requestTime_);
  RequestControl(call, kYPort, *request, &requestTime_);
  return 1;
}

uint32_t PixxicatoModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort, kXPort, kYPort});
  return 1;
}

uint32_t PixxicatoModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr || OutputImage(*request) == nullptr || OutputDescriptor(*request) == nullptr) {
    return 0;
  }
  PortRead input;
  PortRead x;
  PortRead y;
  ReadPort(call, kImagePort, *request, input);
  if (enabled) {
    ReadPort(call, kXPort, *request, x);
    ReadPort(call, kYPort, *request, y);
  } else {
    SkipPort(x);
    SkipPort(y);
  }
  WaitUntilRead({&input, &x, &y});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (input.descriptor() == nullptr || input.image() == nullptr) {
    return 0;
  }
  const float factorX = Factor(x.control(), y.control());
  const float factorY = Factor(y.control(), x.control());
  if (!enabled || (factorX == 0.0f && factorY == 0.0f)) {
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
  return Pixxicate(Region(*outputDesc, *source, *destination), settings_.mode, factorX, factorY, scratch_) ? 1 : 0;
}

}  // namespace tessivo
