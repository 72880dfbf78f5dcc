// Requests, reads and image access through the host's port and bitmap tables.
// A table or function the host left out makes the call a no-op with result 0.
#include "tessivo/frame/host_api.h"

#include <cstring>

#include "tessivo/frame/module_codes.h"

namespace tessivo {
namespace {

HostPortApi *PortApi(const HostCall *call) { return call != nullptr ? call->portApi : nullptr; }

}  // namespace

ValueRecord *EventValue(void *target) {
  return target != nullptr ? static_cast<HostEvent *>(target)->value : nullptr;
}

uint32_t EventPort(void *target) {
  return target != nullptr ? static_cast<uint32_t>(static_cast<HostEvent *>(target)->port) : 0;
}

double RequestTime(const ValueRecord &request) {
  if (request.parameter == nullptr) return 0.0;
  return static_cast<const ImageDescriptor *>(request.parameter)->time;
}

uint32_t RequestImage(HostCall *call, uint32_t port, ValueRecord *request) {
  HostPortApi *api = PortApi(call);
  if (api == nullptr || api->RequestInput == nullptr) return 0;
  return api->RequestInput(api->cookie, port, 0, request);
}

uint32_t RequestControl(HostCall *call, uint32_t port, const ValueRecord &request, double *timeSlot) {
  HostPortApi *api = PortApi(call);
  if (api == nullptr || api->RequestInput == nullptr || timeSlot == nullptr) return 0;
  ValueRecord control = request;
  *timeSlot = RequestTime(request);
  control.type = kTypeControl;
  control.parameter = timeSlot;
  return api->RequestInput(api->cookie, port, 0, &control);
}

void CancelPorts(HostCall *call, ValueRecord *request, std::initializer_list<uint32_t> ports) {
  HostPortApi *api = PortApi(call);
  if (api == nullptr || api->CancelInput == nullptr) return;
  for (uint32_t port : ports) api->CancelInput(api->cookie, port, 0, request);
}

std::optional<float> PortRead::control() const {
  if (present == 0 || record.data == nullptr) return std::nullopt;
  float value = 0.0f;
  std::memcpy(&value, record.data, sizeof value);
  return value;
}

void ReadPort(HostCall *call, uint32_t port, const ValueRecord &request, PortRead &read) {
  read.record = ValueRecord{};
  read.record.stamp = request.stamp;
  read.record.type = request.type;
  read.record.word2 = request.word2;
  read.record.parameter = request.parameter;
  read.record.word4 = request.word4;
  read.done = 0;
  read.present = 0;
  HostPortApi *api = PortApi(call);
  if (api == nullptr || api->ReadInput == nullptr) {
    // Nothing can answer: the read is finished and empty, so no wait hangs on it.
    read.done = 1;
    return;
  }
  api->ReadInput(api->cookie, port, 0, &read.record, &read.done, &read.present);
}

void SkipPort(PortRead &read) { read.done = 1; }

void WaitUntilRead(std::initializer_list<const PortRead *> reads) {
  for (const PortRead *read : reads) {
    if (read == nullptr) continue;
    // The host may set the flag from another thread: acquire pairs with its
    // store, so the record it filled is visible once the flag is.
    while (__atomic_load_n(&read->done, __ATOMIC_ACQUIRE) == 0) {
    }
  }
}

uint32_t CopyImage(const BitmapService *service, HostImage *source, const ImageDescriptor *sourceDesc,
                   HostImage *destination, const ImageDescriptor *destinationDesc) {
  if (service == nullptr || service->CopyImage == nullptr) return 0;
  return service->CopyImage(service->cookie, source, sourceDesc, destination, destinationDesc);
}

ImageDescriptor *LockImage(const BitmapService *service, HostImage *image) {
  if (service == nullptr || service->LockImage == nullptr) return nullptr;
  return service->LockImage(service->cookie, image);
}

ImageDescriptor *CreateImage(const BitmapService *service, HostImage *image, const ImageDescriptor *desc) {
  if (service == nullptr || service->CreateImage == nullptr) return nullptr;
  return service->CreateImage(service->cookie, image, desc);
}

uint32_t ImageStamp(const BitmapService *service, HostImage *image) {
  if (service == nullptr || service->ImageStamp == nullptr) return 0;
  return service->ImageStamp(service->cookie, image);
}

uint32_t PrepareDestination(const BitmapService *service, ImageDescriptor *locked, const ImageDescriptor *desc) {
  if (service == nullptr || service->PrepareDestination == nullptr) return 0;
  static constexpr double kWholeImage[4] = {0.0, 0.0, 1.0, 1.0};
  return service->PrepareDestination(service->cookie, locked, desc, kWholeImage, 0, 0, 1.0f);
}

}  // namespace tessivo
