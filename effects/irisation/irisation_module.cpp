#include "irisation_module.h"

#include "irisation_kernel.h"

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

// 2 v - 1 in double, rounded to single.
float Factor(float value) { return static_cast<float>(2.0 * static_cast<double>(value) - 1.0); }

// The output's size, cut only where a row would reach past either buffer's
// row bytes or a row beyond either height would be touched.
IrisImage FringeRegion(const ImageDescriptor &output, const ImageDescriptor &source,
                       const ImageDescriptor &destination) {
  const uint32_t width = std::min({output.width, source.rowBytes / 4, destination.rowBytes / 4});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {source.baseAddress, source.rowBytes, destination.baseAddress, destination.rowBytes, width, height};
}

}  // namespace

IrisationModule::IrisationModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service), infoRecord_(MakeInstanceInfoRecord(kIrisationCode)) {
  RegisterRecord(call, &infoRecord_);
  PublishDescriptor(classRecord, kIrisationCode);
}

uint32_t IrisationModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  // Without the image the controllers are of no use.
  if (RequestImage(call, kImagePort, request) == 0) {
    return 1;
  }
  RequestControl(call, kXPort, *request, &requestTime_);
  RequestControl(call, kYPort, *request, &requestTime_);
  return 1;
}

uint32_t IrisationModule::cancelInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  CancelPorts(call, request, {kImagePort, kXPort, kYPort});
  return 1;
}

uint32_t IrisationModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
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
  // Every read is waited for, so the host never fills a record after render returned.
  WaitUntilRead({&input, &x, &y});

  HostImage *output = OutputImage(*request);
  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  if (output == nullptr || input.image() == nullptr || outputDesc == nullptr) {
    return 0;
  }
  // Every copy describes the input by the output's descriptor.
  const auto copy = [&] { CopyImage(bitmapService, input.image(), outputDesc, output, outputDesc); };
  if (!enabled) {
    copy();
    return 1;
  }
  // Nothing connected: half the largest horizontal split. Once Y delivers a
  // value, X starts from 0 instead; this asymmetry is intended.
  const std::optional<float> yValue = y.control();
  float fx = yValue ? 0.0f : 0.5f;
  const float fy = yValue ? Factor(*yValue) : 0.0f;
  if (const std::optional<float> xValue = x.control()) {
    fx = Factor(*xValue);
  }
  if (outputDesc->pixelFormat == kPixelFormatPlanar8 || (fx == 0.0f && fy == 0.0f)) {
    copy();
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
  if (outputDesc->pixelFormat == kPixelFormatARGB8888) {
    const int64_t s = fx != 0.0f ? IrisDisplacement(outputDesc->width / 2, fx) : 0;
    const int64_t t = fy != 0.0f ? IrisDisplacement(outputDesc->height / 2, fy) : 0;
    Irisate(FringeRegion(*outputDesc, *source, *destination), s, t);
  }
  return 1;
}

}  // namespace tessivo
