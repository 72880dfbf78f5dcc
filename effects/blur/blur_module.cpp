#include "blur_module.h"

#include "box_blur.h"

#include "tessivo/frame/conversions.h"
#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"
#include "tessivo/frame/vimage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kXPort = 2;
constexpr uint32_t kYPort = 3;
constexpr uint32_t kFastPathType = 1;

// The per-output cache: the parameters of the last render, set so that the
// first render never matches.
void *CreateCache(void *instance, void * /*request*/, uintptr_t flag) {
  if (instance == nullptr || flag == 0) return nullptr;
  return new (std::nothrow) OutputCache{-10.0f, -10.0f, 0, {}, 0};
}

void *DestroyCache(void *instance, void *cache, uintptr_t flag) {
  if (instance != nullptr && flag != 0) delete static_cast<OutputCache *>(cache);
  return nullptr;
}

void *PassCache(void *cache, void * /*request*/, uintptr_t /*flag*/) { return cache; }

uint32_t BytesPerPixel(uint32_t format) { return format == kPixelFormatARGB8888 ? 4 : 1; }

// The output's size and format, cut down to what both buffers hold, so that
// sizes and row bytes the host reports inconsistently never reach past them.
BlurImage Region(const ImageDescriptor &output, const void *source, uint32_t sourceRowBytes, uint32_t sourceWidth,
                 uint32_t sourceHeight, const ImageDescriptor &destination) {
  const uint32_t bytes = BytesPerPixel(output.pixelFormat);
  const uint32_t width = std::min({output.width, sourceWidth, destination.width, sourceRowBytes / bytes,
                                   destination.rowBytes / bytes});
  const uint32_t height = std::min({output.height, sourceHeight, destination.height});
  return {source, sourceRowBytes, destination.baseAddress, destination.rowBytes, width, height, output.pixelFormat};
}

// A tent kernel side from an amount: pixels, or a fraction of half the size,
// made odd by clearing the lowest bit and adding one.
uint32_t KernelSize(float amount, uint32_t size, bool isNumberOfPixels) {
  const uint32_t n = isNumberOfPixels ? TruncateToUInt32(amount)
                                      : TruncateToUInt32(amount * static_cast<float>(size) * 0.5f);
  return (n & ~1u) + 1;
}

// The half-size image's row bytes: (width + 3) * 4 rounded down to 16.
size_t HalfRowBytes(uint32_t halfWidth) { return ((size_t{halfWidth} + 3) * 4) & ~size_t{15}; }

}  // namespace

BlurModule::BlurModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{0, 0.2f, 0.0f, 0, InstanceCookie(call)},
      saveRecord_(MakeSettingsSaveRecord(kBlurCode, SaveBlurSettings, LoadBlurSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_, SetBlurParameter, GetBlurParameter)),
      cacheRecord_(MakeOutputCacheRecord(kBlurCode, this, CreateCache, DestroyCache, PassCache, PassCache)),
      infoRecord_(MakeInstanceInfoRecord(kBlurCode)) {
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  RegisterRecord(call, &cacheRecord_);
  RegisterRecord(call, &infoRecord_);
  PublishDescriptor(classRecord, kBlurCode);
}

BlurModule::~BlurModule() { freeBuffers(); }

void BlurModule::freeBuffers() {
  std::free(tempBuffer_);
  std::free(halfBuffer_);
  std::free(fullBuffer_);
  tempBuffer_ = halfBuffer_ = fullBuffer_ = nullptr;
  tempBufferSize_ = fullBufferSize_ = 0;
}

uint32_t BlurModule::startRendering(HostCall * /*call*/, void * /*target*/) {
  if (settings_.type != kFastPathType) return 1;
  freeBuffers();
  const VImageFunctions &vImage = VImage();
  if (vImage.tentConvolveARGB8888 == nullptr || vImage.scaleARGB8888 == nullptr) {
    // No tent filter: the input still comes at half size, and is stretched
    // back to full size before the software blur.
    fullBufferSize_ = size_t{fullWidth_} * fullHeight_ * 4;
    fullBuffer_ = std::malloc(fullBufferSize_);
    if (fullBuffer_ == nullptr) fullBufferSize_ = 0;
    return 1;
  }
  // Sized from the settings alone and the half size; render later scales the
  // amounts by the controllers and works on the output's size.
  const bool pixels = settings_.isNumberOfPixels != 0;
  const uint32_t kernelWidth = KernelSize(settings_.amountX, halfWidth_, pixels);
  const uint32_t kernelHeight = KernelSize(settings_.amountY, halfHeight_, pixels);
  const vImage_Buffer half{nullptr, halfHeight_, halfWidth_, HalfRowBytes(halfWidth_)};
  const vImage_Buffer full{nullptr, fullHeight_, fullWidth_, size_t{fullWidth_} * 4};
  const vImage_Error tentSize = vImage.tentConvolveARGB8888(&half, &half, nullptr, 0, 0, kernelHeight, kernelWidth,
                                                            nullptr, kvImageGetTempBufferSize | kvImageEdgeExtend);
  const vImage_Error scaleSize = vImage.scaleARGB8888(&half, &full, nullptr, kvImageGetTempBufferSize);
  if (tentSize >= 0) {
    tempBufferSize_ = size_t(std::max(tentSize, scaleSize));
    tempBuffer_ = std::malloc(std::max<size_t>(tempBufferSize_, 1));
    if (tempBuffer_ == nullptr) tempBufferSize_ = 0;
  }
  if (scaleSize >= 0) halfBuffer_ = std::malloc(((size_t{halfWidth_} + 3) & ~size_t{3}) * halfHeight_ * 4);
  return 1;
}

uint32_t BlurModule::stopRendering(HostCall * /*call*/, void * /*target*/) {
  freeBuffers();
  return 1;
}

uint32_t BlurModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr || request->parameter == nullptr) return 0;
  auto *wanted = static_cast<ImageDescriptor *>(request->parameter);
  if (settings_.type != kFastPathType) {
    RequestImage(call, kImagePort, request);
  } else {
    ValueRecord half = *request;
    halfRequest_ = *wanted;
    halfRequest_.width >>= 1;
    halfRequest_.height >>= 1;
    half.parameter = &halfRequest_;
    RequestImage(call, kImagePort, &half);
    halfWidth_ = halfRequest_.width;
    halfHeight_ = halfRequest_.height;
    // An odd output size is rounded down to even.
    wanted->width = halfWidth_ * 2;
    wanted->height = halfHeight_ * 2;
  }
  fullWidth_ = wanted->width;
  fullHeight_ = wanted->height;
  RequestControl(call, kXPort, *request, &requestTime_);
  RequestControl(call, kYPort, *request, &requestTime_);
  return 1;
}

uint32_t BlurModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort, kXPort, kYPort});
  return 1;
}

uint32_t BlurModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) return 0;
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

  auto *cache = static_cast<OutputCache *>(request->cache);
  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  HostImage *output = OutputImage(*request);
  if (cache == nullptr || input.image() == nullptr || output == nullptr || outputDesc == nullptr) return 0;
  if (!enabled) {
    CopyImage(bitmapService, input.image(), outputDesc, output, outputDesc);
    return 1;
  }

  // A controller that delivers scales its amount; when only the other one
  // delivers, this axis is not blurred.
  const std::optional<float> xValue = x.control();
  const std::optional<float> yValue = y.control();
  const float amountX = xValue ? settings_.amountX * *xValue : (yValue ? 0.0f : settings_.amountX);
  const float amountY = yValue ? settings_.amountY * *yValue : (xValue ? 0.0f : settings_.amountY);
  const uint8_t pixels = settings_.isNumberOfPixels;
  const uint32_t stamp = ImageStamp(bitmapService, input.image());
  if (cache->lastX == amountX && cache->lastY == amountY && cache->lastMode == pixels && cache->lastStamp == stamp)
    return 1;
  auto remember = [&] {
    cache->lastX = amountX;
    cache->lastY = amountY;
    cache->lastMode = pixels;
    cache->lastStamp = stamp;
  };
  if (amountX == 0.0f && amountY == 0.0f) {
    CopyImage(bitmapService, input.image(), outputDesc, output, outputDesc);
    remember();
    return 1;
  }

  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (source == nullptr) return 0;
  ImageDescriptor *destination = CreateImage(bitmapService, output, outputDesc);
  if (destination == nullptr) return 0;
  PrepareDestination(bitmapService, destination, outputDesc);

  if (settings_.type != kFastPathType) {
    SoftwareBoxBlur(Region(*outputDesc, source->baseAddress, source->rowBytes, source->width, source->height,
                           *destination),
                    {amountX, amountY, pixels != 0}, &boxScratch_);
  } else if (!tentFastPath(*outputDesc, *source, *destination, amountX, amountY)) {
    softwareFromHalfSize(*outputDesc, *source, *destination, amountX, amountY);
  }
  remember();
  return 1;
}

bool BlurModule::tentFastPath(const ImageDescriptor &output, const ImageDescriptor &source,
                              const ImageDescriptor &destination, float x, float y) {
  const VImageFunctions &vImage = VImage();
  if (vImage.tentConvolveARGB8888 == nullptr || vImage.scaleARGB8888 == nullptr ||
      output.pixelFormat != kPixelFormatARGB8888 || source.pixelFormat != kPixelFormatARGB8888)
    return false;
  if (halfBuffer_ == nullptr &&
      (halfBuffer_ = std::malloc(((size_t{halfWidth_} + 3) & ~size_t{3}) * halfHeight_ * 4)) == nullptr)
    return false;
  const bool pixels = settings_.isNumberOfPixels != 0;
  const uint32_t kernelWidth = KernelSize(x, output.width, pixels);
  const uint32_t kernelHeight = KernelSize(y, output.height, pixels);
  // The input as the half size it was asked for, cut to what it really holds.
  const uint32_t width = std::min({halfWidth_, source.width, source.rowBytes / 4});
  const uint32_t height = std::min(halfHeight_, source.height);
  // Scaled to the output as created: fullWidth x fullHeight when the host took
  // up the even size asked for, every pixel of an odd one when it did not.
  const uint32_t outWidth = std::min({output.width, destination.width, destination.rowBytes / 4});
  const uint32_t outHeight = std::min(output.height, destination.height);
  if (width == 0 || height == 0 || outWidth == 0 || outHeight == 0) return false;

  const vImage_Buffer in{source.baseAddress, height, width, source.rowBytes};
  const vImage_Buffer half{halfBuffer_, height, width, HalfRowBytes(halfWidth_)};
  const vImage_Buffer out{destination.baseAddress, outHeight, outWidth, destination.rowBytes};
  // The scratch serves when it is as big as these sizes need; else vImage makes its own.
  auto scratchFor = [&](vImage_Error needed) { return needed >= 0 && size_t(needed) <= tempBufferSize_ ? tempBuffer_ : nullptr; };
  const vImage_Error tentNeeds = vImage.tentConvolveARGB8888(&in, &half, nullptr, 0, 0, kernelHeight, kernelWidth,
                                                             nullptr, kvImageGetTempBufferSize | kvImageEdgeExtend);
  if (tentNeeds < 0 || vImage.tentConvolveARGB8888(&in, &half, scratchFor(tentNeeds), 0, 0, kernelHeight, kernelWidth,
                                                   nullptr, kvImageEdgeExtend) != kvImageNoError)
    return false;
  const vImage_Error scaleNeeds = vImage.scaleARGB8888(&half, &out, nullptr, kvImageGetTempBufferSize);
  return scaleNeeds >= 0 &&
         vImage.scaleARGB8888(&half, &out, scratchFor(scaleNeeds), kvImageEdgeExtend) == kvImageNoError;
}

// The fast path without the tent filter (or with a kernel it refuses): the
// half-size input is stretched back to the output's size, pixel by pixel, and
// blurred there by the software blur with the same amounts as Type 0, so the
// user gets the full-size blur the amounts describe.
void BlurModule::softwareFromHalfSize(const ImageDescriptor &output, const ImageDescriptor &source,
                                      const ImageDescriptor &destination, float x, float y) {
  const uint32_t format = output.pixelFormat;
  if (format != 0 && format != kPixelFormatARGB8888) return;
  const uint32_t bytes = BytesPerPixel(format);
  const uint32_t outWidth = std::min({output.width, destination.width, destination.rowBytes / bytes});
  const uint32_t outHeight = std::min(output.height, destination.height);
  const uint32_t inWidth = std::min(source.width, source.rowBytes / bytes);
  const uint32_t inHeight = source.height;
  if (outWidth == 0 || outHeight == 0 || inWidth == 0 || inHeight == 0 || source.baseAddress == nullptr ||
      size_t{outWidth} * bytes > UINT32_MAX)
    return;
  const size_t needed = size_t{outWidth} * outHeight * bytes;
  if (fullBuffer_ == nullptr || fullBufferSize_ < needed) {
    std::free(fullBuffer_);
    fullBuffer_ = std::malloc(needed);
    fullBufferSize_ = fullBuffer_ != nullptr ? needed : 0;
    if (fullBuffer_ == nullptr) return;
  }
  auto *stretched = static_cast<uint8_t *>(fullBuffer_);
  const auto *in = static_cast<const uint8_t *>(source.baseAddress);
  const size_t inStride = source.rowBytes / bytes * bytes;
  for (uint32_t row = 0; row < outHeight; ++row) {
    const uint8_t *from = in + inStride * (uint64_t{row} * inHeight / outHeight);
    uint8_t *to = stretched + size_t{outWidth} * bytes * row;
    for (uint32_t column = 0; column < outWidth; ++column)
      std::memcpy(to + size_t{column} * bytes, from + (uint64_t{column} * inWidth / outWidth) * bytes, bytes);
  }
  SoftwareBoxBlur({stretched, outWidth * bytes, destination.baseAddress, destination.rowBytes, outWidth, outHeight,
                   format},
                  {x, y, settings_.isNumberOfPixels != 0}, &boxScratch_);
}

}  // namespace tessivo
