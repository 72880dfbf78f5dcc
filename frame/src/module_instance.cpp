// The base behaviour every module inherits: default answers, and following
// the On/Off input (port 1).
#include "tessivo/frame/module_instance.h"

#include <cstring>

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_codes.h"

namespace tessivo {

namespace {
constexpr uint32_t kOnOffPort = 1;
}

ModuleInstance::ModuleInstance(HostCall * /*call*/, ModuleClassRecord * /*classRecord*/, BitmapService *service)
    : bitmapService(service) {}

ModuleInstance::~ModuleInstance() = default;

uint32_t ModuleInstance::startRendering(HostCall * /*call*/, void * /*target*/) { return 1; }
uint32_t ModuleInstance::onMessage3201(HostCall * /*call*/, void * /*target*/) { return 1; }
uint32_t ModuleInstance::stopRendering(HostCall * /*call*/, void * /*target*/) { return 1; }
uint32_t ModuleInstance::onMessage3300(HostCall * /*call*/, void * /*target*/) { return 1; }
uint32_t ModuleInstance::onMessage3302(HostCall * /*call*/, void * /*target*/) { return 1; }

// Requests the On/Off value. A host that cannot place the request (nothing
// is connected) gets a module that runs; otherwise it waits for the value.
// The request and its scratch live on this stack: RequestInput must be done
// with them when it returns.
uint32_t ModuleInstance::probeEnableInput(HostCall *call, void * /*target*/) {
  HostPortApi *api = call != nullptr ? call->portApi : nullptr;
  if (api == nullptr || api->RequestInput == nullptr) {
    enabled = 1;
    return 1;
  }
  uint64_t scratch = 0;
  ValueRecord request{};
  request.stamp = api->CurrentStamp != nullptr ? api->CurrentStamp(api->cookie) : 0;
  request.type = kTypeOnOff;
  request.parameter = &scratch;
  enabled = api->RequestInput(api->cookie, kOnOffPort, 0, &request) == 0 ? 1 : 0;
  return 1;
}

uint32_t ModuleInstance::receiveInput(HostCall * /*call*/, void *target) {
  if (EventPort(target) != kOnOffPort) return 0;
  const ValueRecord *value = EventValue(target);
  if (value == nullptr || value->parameter == nullptr) return 0;
  uint32_t word = 0;
  std::memcpy(&word, value->parameter, sizeof word);
  enabled = word == 1 ? 1 : 0;
  return 1;
}

}  // namespace tessivo
