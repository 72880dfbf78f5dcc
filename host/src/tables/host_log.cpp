#include "tables/host_log.h"

#include "tessivo/host/error.h"

#include <marlix/entry.h>

namespace tessivo::host {

std::string argCode(uint32_t code) { return "'" + codeToString(code) + "'"; }

std::string messageName(intptr_t message) {
  switch (message) {
    case kPluginLoad: return "PluginLoad";
    case kPluginUnload: return "PluginUnload";
    case kInstanceCreate: return "InstanceCreate";
    case kInstanceDestroy: return "InstanceDestroy";
    case kRenderStart: return "RenderStart";
    case kRenderStop: return "RenderStop";
    case kRenderOutput: return "RenderOutput";
    case kInputValueArrived: return "InputValueArrived";
    case kRequestCancelled: return "RequestCancelled";
    case kInputsConnected: return "InputsConnected";
    case kOutputRequested: return "OutputRequested";
    default: return fmt::format("Message{}", message);
  }
}

}  // namespace tessivo::host
