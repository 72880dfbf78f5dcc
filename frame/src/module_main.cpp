// The bundle's only export: checks the call record, handles the plug-in
// messages and forwards instance messages to the instance's operations.
#include <marlix/marlix.h>

#include "global_info.h"
#include "tessivo/frame/module_descriptors.h"
#include "tessivo/frame/module_factory.h"
#include "tessivo/frame/module_instance.h"
#include "tessivo/frame/vimage.h"

namespace tessivo {
namespace {

// Two host values saved at load; the host's meaning, never read here.
uintptr_t gHostValue5 = 0;
uintptr_t gHostValue6 = 0;

uint32_t LoadPlugin(HostCall *call) {
  auto *plugin = static_cast<PluginRecord *>(call->target);
  HostTable *host = call->hostTable;
  if (host != nullptr) {
    gHostValue5 = host->hostValue5;
    gHostValue6 = host->hostValue6;
  }
  GlobalInfo *info = NewGlobalInfo();
  if (info == nullptr) return 0;
  ResolveVImage();
  if (host != nullptr && host->RegisterGlobalInfo != nullptr) host->RegisterGlobalInfo(host->cookie, info, plugin);
  plugin->registry = GetModuleRegistry();
  call->pluginObject = info;
  return 1;
}

// The host owns the call record: pluginObject and instance are written only
// when something is made (load, creation), never cleared here.
uint32_t UnloadPlugin(HostCall *call) {
  DeleteGlobalInfo(static_cast<GlobalInfo *>(call->pluginObject));
  ResolveVImage(false);
  return 1;
}

uint32_t CreateInstance(HostCall *call) {
  ModuleInstance *instance = ModuleFactory(call, static_cast<ModuleClassRecord *>(call->target));
  call->instance = instance;
  return instance != nullptr ? 1 : 0;
}

uint32_t DestroyInstance(HostCall *call) {
  delete static_cast<ModuleInstance *>(call->instance);
  return 1;
}

using InstanceOperation = uint32_t (ModuleInstance::*)(HostCall *, void *);

// The instance operation answering a render-time message, or null.
InstanceOperation OperationFor(int32_t message) {
  switch (message) {
    case kRenderStart: return &ModuleInstance::startRendering;
    case kHostMessage3201: return &ModuleInstance::onMessage3201;
    case kRenderStop: return &ModuleInstance::stopRendering;
    case kHostMessage3300: return &ModuleInstance::onMessage3300;
    case kInputsConnected: return &ModuleInstance::probeEnableInput;
    case kHostMessage3302: return &ModuleInstance::onMessage3302;
    case kOutputRequested: return &ModuleInstance::requestInputs;
    case kRequestCancelled: return &ModuleInstance::cancelInputs;
    case kRenderOutput: return &ModuleInstance::render;
    case kInputValueArrived: return &ModuleInstance::receiveInput;
    default: return nullptr;
  }
}

uint32_t Dispatch(HostCall *call) {
  // The message is the low 32 bits of its slot, read as signed.
  const auto message = static_cast<int32_t>(static_cast<uint32_t>(call->message));
  switch (message) {
    case kPluginLoad: return LoadPlugin(call);
    case kPluginUnload: return UnloadPlugin(call);
    case kHostMessage1001:
    case kHostMessage1002:
    case kHostMessage2001:
    case kHostMessage2002: return 1;
    case kInstanceCreate: return CreateInstance(call);
    case kInstanceDestroy: return DestroyInstance(call);
    default: break;
  }
  const InstanceOperation operation = OperationFor(message);
  auto *instance = static_cast<ModuleInstance *>(call->instance);
  if (operation == nullptr || instance == nullptr) return 0;
  return (instance->*operation)(call, call->target);
}

}  // namespace
}  // namespace tessivo

extern "C" __attribute__((visibility("default"))) uint32_t ModuleMain(HostCall *call) {
  if (call == nullptr || call->target == nullptr) return 0;
  return tessivo::Dispatch(call);
}
