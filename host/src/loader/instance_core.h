// The state behind one instance: its host tables, the records it registered,
// its ports, the requests placed on them and what a frame keeps alive.
#pragma once

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/input_source.h"
#include "tessivo/host/instance.h"

#include <marlix/marlix.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tessivo::host {

class InstanceCore;

// Serves one host table call for the core its cookie names. Nothing may cross
// back into the bundle as an exception, so a cookie that names no core, or
// anything thrown, gives the fallback.
template <class Result, class Body>
Result ServeCall(void* cookie, Result fallback, Body&& body) noexcept;

class InstanceCore {
 public:
  InstanceCore(Bundle& bundle, uint32_t code);
  ~InstanceCore();

  InstanceCore(const InstanceCore&) = delete;
  InstanceCore& operator=(const InstanceCore&) = delete;

  // The live core a table cookie names, or null.
  static InstanceCore* fromCookie(void* cookie);

  Recorder* recorder() const { return bundle.recorder(); }
  void log(const char* function, std::initializer_list<std::string> arguments) const;

  // Keeps a delivered value alive until the frame ends; thread-safe.
  float* keepFloat(float value);
  uint32_t* keepWord(uint32_t value);
  void keepImage(std::shared_ptr<const Image> image);
  void keepThread(std::thread thread);
  void noteDeliveryError(std::string message);
  // Joins delivery threads and releases what the frame kept; returns the delivery errors.
  std::vector<std::string> endFrame();

  Bundle& bundle;
  const uint32_t code;

  HostPortApi portApi{};
  BitmapService bitmapService{};
  ServiceTable serviceTable{};
  ErrorTable errorTable{};
  HostCall call{};
  ModuleClassRecord classRecord{};

  // Records in registration order, with the latest of each kind.
  std::vector<uint32_t> registrationOrder;
  const InstanceInfoRecord* info = nullptr;
  const SettingsSaveRecord* save = nullptr;
  const ParameterRecord* parameters = nullptr;
  const SettingsDialogRecord* dialog = nullptr;
  const OutputCacheRecord* outputCache = nullptr;
  std::vector<ReportedError> reportedErrors;

  std::vector<PortInfo> ports;
  std::vector<std::shared_ptr<InputSource>> inputs;  // one per port
  std::map<uint32_t, InputRequest> requests;          // placed and not withdrawn
  mutable std::mutex requestsMutex;

  // What a host keeps per output request between frames: the output image,
  // the cache image and the module's per-output cache. An output feeding
  // inputs that request different sizes or formats has one per request shape.
  struct OutputSlot {
    uint32_t width = 0, height = 0, pixelFormat = 0;  // 0x0: not used yet
    std::shared_ptr<Image> output = std::make_shared<Image>();
    Image cacheImage;
    void* cache = nullptr;  // from the 'effs' create callback
    uint64_t lastUse = 0;
  };
  static constexpr size_t kMaxOutputSlots = 4;  // beyond: the least recently used is dropped
  std::vector<std::unique_ptr<OutputSlot>> slots;
  OutputSlot* slot = nullptr;  // the one rendering now, else the last rendered; never null
  uint64_t renders = 0;
  // The slot for a request shape, made (or recycled) when there is none.
  OutputSlot& slotFor(uint32_t width, uint32_t height, uint32_t pixelFormat);
  void destroyCache(OutputSlot& slot);
  std::atomic<bool> rendering{false};
  uint32_t prepareDestinationCalls = 0;

 private:
  std::mutex frameMutex_;
  std::deque<float> floats_;
  std::deque<uint32_t> words_;
  std::vector<std::shared_ptr<const Image>> images_;
  std::vector<std::thread> threads_;
  std::vector<std::string> deliveryErrors_;
};

// Fill the tables of a new core with the host's functions.
void installPortApi(InstanceCore& core);
void installBitmapService(InstanceCore& core);

template <class Result, class Body>
Result ServeCall(void* cookie, Result fallback, Body&& body) noexcept {
  try {
    InstanceCore* core = InstanceCore::fromCookie(cookie);
    return core != nullptr ? body(*core) : fallback;
  } catch (...) {
    return fallback;
  }
}

}  // namespace tessivo::host
