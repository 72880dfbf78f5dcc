// Logging of host-table calls to the bundle's recorder, if one is attached.
#pragma once

#include "tessivo/host/recorder.h"

#include <fmt/format.h>

#include <initializer_list>
#include <string>

namespace tessivo::host {

inline std::string argPointer(const void* p) { return p == nullptr ? "null" : "ptr"; }
std::string argCode(uint32_t code);
std::string messageName(intptr_t message);

inline void logCall(Recorder* recorder, uint32_t module, const char* function,
                    std::initializer_list<std::string> arguments) {
  if (recorder == nullptr) return;
  RecordedCall call;
  call.function = function;
  call.module = module;
  call.arguments.assign(arguments);
  recorder->record(std::move(call));
}

inline void logMessage(Recorder* recorder, uint32_t module, intptr_t message,
                       std::initializer_list<std::string> arguments = {}) {
  if (recorder == nullptr) return;
  RecordedCall call;
  call.kind = RecordedCall::Kind::Message;
  call.function = messageName(message);
  call.module = module;
  call.arguments.assign(arguments);
  recorder->record(std::move(call));
}

}  // namespace tessivo::host
