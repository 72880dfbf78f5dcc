// The HostPortApi: registration records, request stamps, and the requests and
// reads a module places on its input ports.
#include "tables/host_log.h"
#include "loader/instance_core.h"
#include "tessivo/host/error.h"

#include <fmt/format.h>

#include <exception>

namespace tessivo::host {

namespace {

uint32_t registerRecord(void* cookie, const void* record) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    if (record == nullptr) {
      core.log("RegisterRecord", {"null"});
      return 0;
    }
    const auto* header = static_cast<const RecordHeader*>(record);
    core.log("RegisterRecord", {argCode(header->kind), argCode(header->owner), std::to_string(header->version),
                                 std::to_string(header->count)});
    core.registrationOrder.push_back(header->kind);
    switch (header->kind) {
      case FourCC("iinf"): core.info = static_cast<const InstanceInfoRecord*>(record); break;
      case FourCC("isav"): core.save = static_cast<const SettingsSaveRecord*>(record); break;
      case FourCC("ctrl"): core.parameters = static_cast<const ParameterRecord*>(record); break;
      case FourCC("isdl"): core.dialog = static_cast<const SettingsDialogRecord*>(record); break;
      case FourCC("effs"): core.outputCache = static_cast<const OutputCacheRecord*>(record); break;
      default: return 0;
    }
    return 1;
  });
}

uint32_t currentStamp(void* cookie) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("CurrentStamp", {});
    return core.bundle.nextStamp();
  });
}

uint32_t requestInput(void* cookie, uint32_t port, uint32_t zero, ValueRecord* request) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("RequestInput", {std::to_string(port), std::to_string(zero),
                               request != nullptr ? argCode(static_cast<uint32_t>(request->type)) : "null"});
    if (request == nullptr || port >= core.inputs.size() || core.inputs[port] == nullptr) return 0;
    InputRequest placed;
    placed.record = *request;
    placed.type = static_cast<uint32_t>(request->type);
    // Copy what the parameter points at now: the module's memory may be gone by the read.
    if (placed.type == FourCC("imag") && request->parameter != nullptr) {
      placed.image = *static_cast<const ImageDescriptor*>(request->parameter);
      placed.time = placed.image.time;
    } else if (placed.type == FourCC("ctrl") && request->parameter != nullptr) {
      placed.time = *static_cast<const double*>(request->parameter);
    }
    placed.record.parameter = nullptr;
    std::lock_guard lock(core.requestsMutex);
    core.requests[port] = placed;
    return 1;
  });
}

// Evaluates the source for a placed request and fills the module's record.
// The done flag is set last, with a release store, whatever happens.
void deliver(InstanceCore& core, uint32_t port, const InputRequest& placed, const std::shared_ptr<InputSource>& source,
             ValueRecord* record, uint8_t* done, uint8_t* present) noexcept {
  bool delivered = false;
  try {
    InputValue value = source->read(placed);
    if (placed.type == FourCC("imag")) {
      const auto& image = value.image;
      if (image == nullptr || image->empty())
        throw HostError("no image");
      if (image->width() != placed.image.width || image->height() != placed.image.height ||
          image->pixelFormat() != placed.image.pixelFormat)
        throw HostError(fmt::format("{}x{} format {} delivered for a {}x{} format {} request", image->width(),
                                    image->height(), image->pixelFormat(), placed.image.width, placed.image.height,
                                    placed.image.pixelFormat));
      auto* writable = const_cast<Image*>(image.get());
      record->data = writable->handle();
      record->destination = writable->exposedDescriptor();
      core.keepImage(image);
      delivered = true;
    } else if (placed.type == FourCC("ctrl")) {
      if (value.control.has_value()) {
        record->data = core.keepFloat(*value.control);
        delivered = true;
      }
    } else if (placed.type == FourCC("ddes")) {
      if (value.enabled.has_value()) {
        record->data = core.keepWord(*value.enabled ? 1u : 0u);
        delivered = true;
      }
    }
  } catch (const std::exception& error) {
    try {
      core.noteDeliveryError(fmt::format("input {} ({}): {}", port, source->describe(), error.what()));
    } catch (...) {
    }
  } catch (...) {
  }
  if (present != nullptr) *present = delivered ? 1 : 0;
  __atomic_store_n(done, uint8_t{1}, __ATOMIC_RELEASE);
}

uint32_t readInput(void* cookie, uint32_t port, uint32_t zero, ValueRecord* record, uint8_t* done,
                   uint8_t* present) noexcept {
  try {
    InstanceCore* core = InstanceCore::fromCookie(cookie);
    if (core == nullptr) return 0;
    core->log("ReadInput", {std::to_string(port), std::to_string(zero), argPointer(record), argPointer(done),
                            argPointer(present)});
    if (record == nullptr || done == nullptr) return 0;
    record->data = nullptr;
    record->destination = nullptr;
    InputRequest placed;
    std::shared_ptr<InputSource> source;
    {
      std::lock_guard lock(core->requestsMutex);
      auto found = core->requests.find(port);
      if (port < core->inputs.size() && found != core->requests.end()) {
        placed = found->second;
        source = core->inputs[port];
      }
    }
    if (source == nullptr) {
      if (present != nullptr) *present = 0;
      __atomic_store_n(done, uint8_t{1}, __ATOMIC_RELEASE);
      return 0;
    }
    if (core->bundle.options().threadedDelivery) {
      core->keepThread(std::thread([core, port, placed, source, record, done, present] {
        deliver(*core, port, placed, source, record, done, present);
      }));
    } else {
      deliver(*core, port, placed, source, record, done, present);
    }
    return 1;
  } catch (...) {
    // Never leave the module spinning: a read that could not start is finished and empty.
    if (done != nullptr) {
      if (present != nullptr) *present = 0;
      __atomic_store_n(done, uint8_t{1}, __ATOMIC_RELEASE);
    }
    return 0;
  }
}

uint32_t cancelInput(void* cookie, uint32_t port, uint32_t zero, ValueRecord* request) noexcept {
  return ServeCall<uint32_t>(cookie, 0, [&](InstanceCore& core) -> uint32_t {
    core.log("CancelInput", {std::to_string(port), std::to_string(zero), argPointer(request)});
    std::lock_guard lock(core.requestsMutex);
    return core.requests.erase(port) != 0 ? 1 : 0;
  });
}

}  // namespace

void installPortApi(InstanceCore& core) {
  core.portApi.cookie = &core;
  core.portApi.RegisterRecord = &registerRecord;
  core.portApi.CurrentStamp = &currentStamp;
  core.portApi.RequestInput = &requestInput;
  core.portApi.ReadInput = &readInput;
  core.portApi.CancelInput = &cancelInput;
}

}  // namespace tessivo::host
