// One module instance: created by code, given its own host tables, driven
// through the render-time messages, destroyed with InstanceDestroy.
#pragma once

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/input_source.h"

#include <CoreFoundation/CoreFoundation.h>
#include <marlix/marlix.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::host {

// One port as the module's descriptor and layout describe it.
struct PortInfo {
  uint32_t index = 0;
  uint32_t direction = kPortInput;  // kPortInput / kPortOutput
  uint32_t type = 0;                // 'imag', 'ddes', 'ctrl'; 0 for a blank row
  uint32_t kind = 0;                // PortKind
  std::string longName;             // empty for a blank row
  std::string shortName;
  int32_t x = 0, y = 0, width = 0, height = 0;
  bool blank() const { return type == 0; }
};

// What one render of the output produces.
struct RenderSettings {
  double time = 0.0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t pixelFormat = kARGB32;
};

// The input port a selector names: its index, long name or short name
// (case-insensitive); null when none matches.
class Instance;
const PortInfo* lookUpInputPort(const Instance& instance, std::string_view selector);
// "0 \"Image Input\"/\"In\", 1 ..." for messages about a wrong selector.
std::string inputPortList(const Instance& instance);

class InstanceCore;  // the host tables and port state behind an instance (private)

class Instance {
 public:
  // Sends InstanceCreate for code. Throws HostError naming the code (and any
  // error the bundle reported) when the bundle refuses.
  static std::unique_ptr<Instance> create(Bundle& bundle, uint32_t code);
  ~Instance();  // destroys the per-output cache, then InstanceDestroy

  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  Bundle& bundle() const;
  uint32_t code() const;
  // Registry name, or the code as text for unlisted modules.
  std::string name() const;

  // Ports from the class descriptor and the layout of the 'iinf' record.
  const std::vector<PortInfo>& ports() const;
  // Index of the image output (the last real output port); throws when there is none.
  uint32_t outputPort() const;
  const ModuleClassDescriptor* descriptor() const;
  const PortLayoutInfo* layout() const;

  // The records the constructor registered (null when it registered none of that kind).
  const InstanceInfoRecord* infoRecord() const;
  const SettingsSaveRecord* saveRecord() const;
  const ParameterRecord* parameterRecord() const;
  const SettingsDialogRecord* dialogRecord() const;
  const OutputCacheRecord* outputCacheRecord() const;
  // Kinds in registration order ('isav', 'ctrl', 'effs', 'iinf', ...).
  std::vector<uint32_t> registrationOrder() const;

  // Settings through 'isav': false when the module has none or the callback returns 0.
  bool save(const SettingsTable* store);
  bool load(const SettingsTable* store);
  // Keyed settings through 'iprm': false / null when the module has no callbacks.
  // getParameter returns a new reference the caller releases.
  bool setParameter(CFStringRef key, CFTypeRef value);
  CFTypeRef getParameter(CFStringRef key);
  bool hasParameters() const;
  // Settings panel through 'isdl'.
  bool hasPanel() const;
  bool runPanel(const PanelTable* panel);

  // Wiring, used by Graph: a source per input port (null disconnects). The type
  // must match the port's ('imag', 'ctrl', 'ddes'); throws HostError otherwise.
  void setInput(uint32_t port, std::shared_ptr<InputSource> source);
  bool inputConnected(uint32_t port) const;
  // Sends InputsConnected, after which the module probes its On/Off port.
  uint32_t inputsConnected();

  // One frame: OutputRequested, RenderStart, InputValueArrived (On/Off wired),
  // RenderOutput, RenderStop (RequestCancelled before RenderStop when the
  // render returns 0). Returns the output image, which lives as long as the
  // instance and keeps its contents between frames. Throws HostError (with the
  // module name) when the module fails.
  std::shared_ptr<const Image> render(const RenderSettings& settings);

  // The host's cache image for this instance's output (empty until written).
  const Image& cacheImage() const;
  // The per-output cache made by the 'effs' create callback (null before the first render).
  void* outputCache() const;
  // Whether the last frame's requests were placed on a port (for tests).
  std::optional<InputRequest> pendingRequest(uint32_t port) const;

  // Sends one message with this instance's HostCall and an event record.
  uint32_t send(HostMessage message, HostEvent* event);
  // The HostCall this instance sends messages with (tests drive tables directly through it).
  HostCall& hostCall();
  const BitmapService* bitmapService() const;
  const HostPortApi* portApi() const;

 private:
  explicit Instance(std::unique_ptr<InstanceCore> core);
  std::unique_ptr<InstanceCore> core_;
};

}  // namespace tessivo::host
