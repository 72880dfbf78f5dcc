#include "stripizator_module.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "blur/box_blur.h"
#include "stripizator_kernel.h"
#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"
#include "tessivo/frame/vimage.h"

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kRadiusPort = 2;
constexpr uint32_t kWidthPort = 3;

// Process-wide frame counters, one per input format, shared by every
// instance; they only ever grow and wrap at 2^32.
uint32_t argbFrameCounter = 0;
uint32_t planar8FrameCounter = 0;

// Stripizator keeps no state per output (its counters are process-wide):
// there is nothing to create or release, and the cache is passed on as given.
void *NoOutputCache(void *, void *, uintptr_t) { return nullptr; }
void *PassOnOutputCache(void *cache, void *, uintptr_t) { return cache; }

// The blur's source and destination, cut down to what both buffers hold.
struct BlurPlan {
  const uint8_t *source;
  uint32_t sourceRowBytes;
  uint8_t *destination;
  uint32_t destinationRowBytes;  // whole pixels: the widened rows are ARGB
  uint32_t width;
  uint32_t height;
  bool planar;  // one byte a pixel in, widened in place afterwards
};

BlurPlan PlanBlur(const ImageDescriptor &output, const ImageDescriptor &source, const ImageDescriptor &destination) {
  const bool planar = source.pixelFormat == kPixelFormatPlanar8;
  const uint32_t sourcePixelBytes = planar ? 1 : 4;
  const uint32_t sourceRowBytes = planar ? source.rowBytes : source.rowBytes & ~3u;
  const uint32_t destinationRowBytes = destination.rowBytes & ~3u;
  const uint32_t width = std::min(
      {output.width, source.width, destination.width, sourceRowBytes / sourcePixelBytes, destinationRowBytes / 4});
  const uint32_t height = std::min({output.height, source.height, destination.height});
  return {static_cast<const uint8_t *>(source.baseAddress),
          sourceRowBytes,
          static_cast<uint8_t *>(destination.baseAddress),
          destinationRowBytes,
          width,
          height,
          planar};
}

// A 1 x 1 tent, and the software blur at radius 0, leave every pixel as it is.
void CopyRows(const BlurPlan &plan) {
  const size_t rowLength = size_t{plan.width} * (plan.planar ? 1 : 4);
  for (uint32_t y = 0; y < plan.height; ++y) {
    std::memmove(plan.destination + size_t{y} * plan.destinationRowBytes, plan.source + size_t{y} * plan.sourceRowBytes,
                 rowLength);
  }
}

// The widest tent the filter takes is 2 * 16383 + 1; wider radii use it.
// The software blur clamps any radius of a quarter of the side or more to
// half the side, so for sides up to 65532 pixels it gives the same there.
constexpr uint32_t kWidestRadius = (kTentKernelMaxSize - 1) / 2;

// Blurs the source into the destination with a (2 radius + 1)-square tent,
// edges extended, or with the software box blur of that radius in both
// directions where the tent filter is absent. False when the filter refuses.
// The filter's scratch is kept between frames and grows only for a larger
// frame or kernel.
bool Blur(const BlurPlan &plan, uint32_t radius, std::vector<uint8_t> &tentScratch, BoxBlurScratch &boxScratch) {
  if (plan.width == 0 || plan.height == 0) {
    return true;
  }
  if (radius == 0) {
    CopyRows(plan);
    return true;
  }
  radius = std::min(radius, kWidestRadius);
  const uint32_t kernel = 2 * radius + 1;
  const VImageFunctions &vImage = VImage();
  const vImage_Buffer source{const_cast<uint8_t *>(plan.source), plan.height, plan.width, plan.sourceRowBytes};
  const vImage_Buffer destination{plan.destination, plan.height, plan.width, plan.destinationRowBytes};
  const auto tent = [&](void *scratch, vImage_Flags flags) -> vImage_Error {
    if (plan.planar) {
      return vImage.tentConvolvePlanar8(&source, &destination, scratch, 0, 0, kernel, kernel, 0, flags);
    }
    const Pixel_8888 background{};
    return vImage.tentConvolveARGB8888(&source, &destination, scratch, 0, 0, kernel, kernel, background, flags);
  };
  if (plan.planar ? vImage.tentConvolvePlanar8 == nullptr : vImage.tentConvolveARGB8888 == nullptr) {
    const BlurImage image{plan.source, plan.sourceRowBytes, plan.destination,     plan.destinationRowBytes,
                          plan.width,  plan.height,         plan.planar ? 0u : 2u};
    const auto amount = static_cast<float>(radius);
    TwoDimensionalBoxBlur(image, {amount, amount, true}, &boxScratch);
    return true;
  }
  const vImage_Error scratchSize = tent(nullptr, kvImageEdgeExtend | kvImageGetTempBufferSize);
  if (scratchSize < 0) {
    return false;
  }
  void *scratch = nullptr;  // without one the filter makes its own
  try {
    if (tentScratch.size() < static_cast<size_t>(scratchSize)) {
      std::vector<uint8_t>().swap(tentScratch);
      tentScratch.resize(static_cast<size_t>(scratchSize));
    }
    scratch = scratchSize > 0 ? tentScratch.data() : nullptr;
  } catch (const std::bad_alloc &) {
  }
  return tent(scratch, kvImageEdgeExtend) == kvImageNoError;
}

}  // namespace

StripizatorModule::StripizatorModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      infoRecord_(MakeInstanceInfoRecord(kStripizatorCode)),
      saveRecord_(
          MakeSettingsSaveRecord(kStripizatorCode, SaveStripizatorSettings, LoadStripizatorSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_, SetStripizatorParameter, GetStripizatorParameter)),
      cacheRecord_(MakeOutputCacheRecord(kStripizatorCode, this, NoOutputCache, NoOutputCache, PassOnOutputCache,
                                         PassOnOutputCache)) {
  settings_.hostCookie = InstanceCookie(call);
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  RegisterRecord(call, &cacheRecord_);
  PublishDescriptor(classRecord, kStripizatorCode);
}

// The image is asked for as one byte a pixel; the output stays ARGB8888.
uint32_t StripizatorModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr || request->parameter == nullptr) {
    return 0;
  }
  auto *wanted = static_cast<ImageDescriptor *>(request->parameter);
  ValueRecord image = *request;
  wanted->pixelFormat = kPixelFormatPlanar8;
  const uint32_t placed = RequestImage(call, kImagePort, &image);
  wanted->pixelFormat = kPixelFormatARGB8888;
  if (placed == 0) {
    return 1;
  }
  RequestControl(call, kRadiusPort, *request, &requestTime_);
  RequestControl(call, kWidthPort, *request, &requestTime_);
  return 1;
}

uint32_t StripizatorModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort, kRadiusPort, kWidthPort});
  return 1;
}

uint32_t StripizatorModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  PortRead input;
  PortRead radiusFactor;
  PortRead widthFactor;
  ReadPort(call, kImagePort, *request, input);
  if (enabled) {
    ReadPort(call, kRadiusPort, *request, radiusFactor);
    ReadPort(call, kWidthPort, *request, widthFactor);
  } else {
    SkipPort(radiusFactor);
    SkipPort(widthFactor);
  }
  WaitUntilRead({&input, &radiusFactor, &widthFactor});

  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (output == nullptr || input.image() == nullptr || input.descriptor() == nullptr || outputDesc == nullptr) {
    return 0;
  }
  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (source == nullptr) {
    return 0;
  }
  if (!enabled) {
    CopyImage(bitmapService, input.image(), input.descriptor(), output, outputDesc);
    return 1;
  }
  ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
  // The stripes are 32-bit pixels: an output of another format cannot take them.
  if (destination == nullptr || destination->pixelFormat != kPixelFormatARGB8888) {
    return 0;
  }

  const uint32_t radius = StripeRadius(radiusFactor.control().value_or(1.0f), settings_.maxRadius);
  const uint32_t width = StripeWidth(widthFactor.control().value_or(1.0f), settings_.stripesWidth);
  const BlurPlan plan = PlanBlur(*outputDesc, *source, *destination);
  const bool empty = plan.width == 0 || plan.height == 0;
  if ((!empty && (plan.source == nullptr || plan.destination == nullptr)) || !Blur(plan, radius, tentScratch_, boxScratch_)) {
    return 0;
  }
  uint32_t &counter = plan.planar ? planar8FrameCounter : argbFrameCounter;
  const StripeImage image{plan.destination, plan.destinationRowBytes, plan.width,
                          plan.height,      outputDesc->width,        outputDesc->height};
  const Stripes stripes{settings_.foreColor, settings_.backColor, width, counter};
  if (plan.planar) {
    DrawStripesPlanar8InPlace(image, stripes);
  } else {
    DrawStripesArgb(image, stripes);
  }
  if (settings_.movingStripes != 0) {
    ++counter;
  }
  return 1;
}

}  // namespace tessivo
