#include "linalize_module.h"

#include <cstring>

#include "linalize_kernel.h"

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/records.h"

namespace tessivo {
namespace {

constexpr uint32_t kImagePort = 0;
constexpr uint32_t kSpeedPort = 2;
constexpr float kUnconnectedSpeed = 0.5f;

// The canvas lives in the host's cache image, so the per-output cache holds
// nothing: create and destroy give null, begin and end pass the cache on.
void *NoCache(void *, void *, uintptr_t) { return nullptr; }
void *PassCache(void *cache, void *, uintptr_t) { return cache; }

HostImage *CacheImageOf(const BitmapService *service, const ValueRecord &request) {
  if (service == nullptr || service->CacheImage == nullptr) return nullptr;
  return service->CacheImage(service->cookie, &request);
}

// The cached canvas copied into the output, which it allocates; 0 on failure.
uint32_t CopyCacheToOutput(const BitmapService *service, HostImage *cache, HostImage *output,
                           const ImageDescriptor *desc) {
  if (service == nullptr || service->CopyCacheToOutput == nullptr) return 0;
  return service->CopyCacheToOutput(service->cookie, cache, output, desc);
}

ImageDescriptor *OpenForWriting(const BitmapService *service, HostImage *output) {
  if (service == nullptr || service->OpenForWriting == nullptr) return nullptr;
  return service->OpenForWriting(service->cookie, output);
}

// A fresh canvas: transparent black, every byte of every row.
void ClearRows(const ImageDescriptor &image) {
  auto *row = static_cast<uint8_t *>(image.baseAddress);
  if (row == nullptr) return;
  for (uint32_t y = 0; y < image.height; ++y, row += image.rowBytes) std::memset(row, 0, image.rowBytes);
}

}  // namespace

LinalizeModule::LinalizeModule(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service)
    : ModuleInstance(call, classRecord, service),
      settings_{InstanceCookie(call), 20, 1},
      infoRecord_(MakeInstanceInfoRecord(kLinalizeCode)),
      dialogRecord_(MakeSettingsDialogRecord(kLinalizeCode, RunLinalizePanel, &settings_)),
      saveRecord_(MakeSettingsSaveRecord(kLinalizeCode, SaveLinalizeSettings, LoadLinalizeSettings, &settings_)),
      parameterRecord_(MakeParameterRecord(&settings_)),
      cacheRecord_(MakeOutputCacheRecord(kLinalizeCode, this, NoCache, NoCache, PassCache, PassCache)) {
  RegisterRecord(call, &infoRecord_);
  RegisterRecord(call, &dialogRecord_);
  RegisterRecord(call, &saveRecord_);
  RegisterRecord(call, &parameterRecord_);
  RegisterRecord(call, &cacheRecord_);
  PublishDescriptor(classRecord, kLinalizeCode);
}

uint32_t LinalizeModule::requestInputs(HostCall *call, void *target) {
  ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  if (RequestImage(call, kImagePort, request) == 0) {
    return 1;  // no image to paint from: the Speed input is not asked either
  }
  RequestControl(call, kSpeedPort, *request, &requestTime_);
  return 1;
}

uint32_t LinalizeModule::cancelInputs(HostCall *call, void *target) {
  CancelPorts(call, EventValue(target), {kImagePort, kSpeedPort});
  return 1;
}

uint32_t LinalizeModule::render(HostCall *call, void *target) {
  const ValueRecord *request = EventValue(target);
  if (request == nullptr) {
    return 0;
  }
  PortRead input;
  PortRead speed;
  ReadPort(call, kImagePort, *request, input);
  if (enabled) {
    ReadPort(call, kSpeedPort, *request, speed);
  } else {
    SkipPort(speed);
  }
  WaitUntilRead({&input, &speed});

  HostImage *output = OutputImage(*request);
  const ImageDescriptor *outputDesc = OutputDescriptor(*request);
  if (output == nullptr || input.image() == nullptr || outputDesc == nullptr) {
    return 0;
  }
  HostImage *cache = CacheImageOf(bitmapService, *request);
  const ImageDescriptor *cached = cache != nullptr ? LockImage(bitmapService, cache) : nullptr;
  const ImageDescriptor *source = LockImage(bitmapService, input.image());
  if (source == nullptr) {
    return 0;
  }
  if (!enabled) {
    // The input passes through and becomes the canvas strokes resume on.
    CopyImage(bitmapService, input.image(), input.descriptor(), output, outputDesc);
    if (cache != nullptr) CopyImage(bitmapService, output, outputDesc, cache, outputDesc);
    return 1;
  }
  if (cached != nullptr) {
    if (CopyCacheToOutput(bitmapService, cache, output, outputDesc) == 0) {
      return 0;
    }
  } else {
    const ImageDescriptor *created = CreateImage(bitmapService, output, outputDesc);
    if (created == nullptr) {
      return 0;
    }
    ClearRows(*created);
  }
  const ImageDescriptor *canvas = OpenForWriting(bitmapService, output);
  if (canvas == nullptr) {
    return 0;
  }
  const uint32_t count = StrokeCount(speed.control().value_or(kUnconnectedSpeed));
  if (count > 0) {
    PaintStrokes(*canvas, *source, count, settings_.lineLength, settings_.lineWidth);
  }
  if (cache != nullptr) CopyImage(bitmapService, output, outputDesc, cache, outputDesc);
  return 1;
}

}  // namespace tessivo
