#include "loader/instance_core.h"

#include "tables/host_log.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>

namespace tessivo::host {

namespace {

std::mutex liveMutex;
std::unordered_set<InstanceCore*> liveCores;

void* acquireService(void* cookie, uint32_t family, uint32_t service, uint32_t version, uint32_t flags) noexcept {
  try {
    InstanceCore* core = InstanceCore::fromCookie(cookie);
    if (core == nullptr) return nullptr;
    core->log("AcquireService", {argCode(family), argCode(service), std::to_string(version), std::to_string(flags)});
    if (family == FourCC("sapi") && service == FourCC("bmsv") && version >= 1 && version <= 5)
      return &core->bitmapService;
    return nullptr;
  } catch (...) {
    return nullptr;
  }
}

uint32_t reportError(void* cookie, uint32_t creator, uint32_t code, uintptr_t a3, uintptr_t a4,
                     uintptr_t a5) noexcept {
  try {
    InstanceCore* core = InstanceCore::fromCookie(cookie);
    if (core == nullptr) return 0;
    core->log("ReportError", {argCode(creator), argCode(code), std::to_string(a3), std::to_string(a4),
                              std::to_string(a5)});
    const ReportedError error{creator, code};
    core->reportedErrors.push_back(error);
    core->bundle.noteReportedError(error);
    return 1;
  } catch (...) {
    return 0;
  }
}

}  // namespace

InstanceCore::InstanceCore(Bundle& owner, uint32_t moduleCode) : bundle(owner), code(moduleCode) {
  serviceTable.cookie = this;
  serviceTable.AcquireService = &acquireService;
  errorTable.cookie = this;
  errorTable.ReportError = &reportError;
  installPortApi(*this);
  installBitmapService(*this);
  slot = slots.emplace_back(std::make_unique<OutputSlot>()).get();
  call.hostTable = bundle.hostTable();
  call.serviceTable = &serviceTable;
  call.portApi = &portApi;
  call.errorTable = &errorTable;
  call.pluginObject = const_cast<GlobalInfo*>(bundle.globalInfo());
  classRecord.classCode = code;
  std::lock_guard lock(liveMutex);
  liveCores.insert(this);
}

InstanceCore::OutputSlot& InstanceCore::slotFor(uint32_t width, uint32_t height, uint32_t pixelFormat) {
  OutputSlot* found = nullptr;
  for (auto& candidate : slots)
    if (candidate->width == width && candidate->height == height && candidate->pixelFormat == pixelFormat)
      found = candidate.get();
  if (found == nullptr) {
    for (auto& candidate : slots)
      if (candidate->width == 0 && found == nullptr) found = candidate.get();
    if (found == nullptr && slots.size() < kMaxOutputSlots) found = slots.emplace_back(std::make_unique<OutputSlot>()).get();
    if (found == nullptr) {
      found = std::ranges::min_element(slots, {}, [](const auto& candidate) { return candidate->lastUse; })->get();
      destroyCache(*found);
      *found = OutputSlot{};
    }
    // A new request starts from the canvas the last one left, so a resized output keeps it.
    if (found != slot) found->cacheImage = slot->cacheImage;
    found->width = width, found->height = height, found->pixelFormat = pixelFormat;
  }
  found->lastUse = ++renders;
  slot = found;
  return *found;
}

void InstanceCore::destroyCache(OutputSlot& target) {
  if (target.cache != nullptr && outputCache != nullptr && outputCache->destroy != nullptr)
    outputCache->destroy(outputCache->instance, target.cache, 1);
  target.cache = nullptr;
}

InstanceCore::~InstanceCore() {
  endFrame();
  std::lock_guard lock(liveMutex);
  liveCores.erase(this);
}

InstanceCore* InstanceCore::fromCookie(void* cookie) {
  std::lock_guard lock(liveMutex);
  auto* core = static_cast<InstanceCore*>(cookie);
  return liveCores.count(core) != 0 ? core : nullptr;
}

void InstanceCore::log(const char* function, std::initializer_list<std::string> arguments) const {
  logCall(recorder(), code, function, arguments);
}

float* InstanceCore::keepFloat(float value) {
  std::lock_guard lock(frameMutex_);
  return &floats_.emplace_back(value);
}

uint32_t* InstanceCore::keepWord(uint32_t value) {
  std::lock_guard lock(frameMutex_);
  return &words_.emplace_back(value);
}

void InstanceCore::keepImage(std::shared_ptr<const Image> image) {
  std::lock_guard lock(frameMutex_);
  images_.push_back(std::move(image));
}

void InstanceCore::keepThread(std::thread thread) {
  std::lock_guard lock(frameMutex_);
  threads_.push_back(std::move(thread));
}

void InstanceCore::noteDeliveryError(std::string message) {
  std::lock_guard lock(frameMutex_);
  deliveryErrors_.push_back(std::move(message));
}

std::vector<std::string> InstanceCore::endFrame() {
  std::vector<std::thread> threads;
  {
    std::lock_guard lock(frameMutex_);
    threads.swap(threads_);
  }
  for (auto& thread : threads)
    if (thread.joinable()) thread.join();
  std::lock_guard lock(frameMutex_);
  floats_.clear();
  words_.clear();
  images_.clear();
  std::vector<std::string> errors;
  errors.swap(deliveryErrors_);
  return errors;
}

}  // namespace tessivo::host
