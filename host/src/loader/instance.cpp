#include "tessivo/host/instance.h"

#include "tables/host_log.h"
#include "loader/instance_core.h"
#include "tessivo/host/error.h"
#include "settings/value_text.h"

#include <fmt/format.h>

namespace tessivo::host {

namespace {

constexpr uint32_t kMaxPorts = 64;

std::string text(const char* s) { return s != nullptr ? s : ""; }

std::vector<PortInfo> readPorts(const ModuleClassDescriptor* descriptor, const PortLayoutInfo* layout,
                                const std::string& module) {
  std::vector<PortInfo> ports;
  if (descriptor == nullptr) return ports;
  if (descriptor->portCount > kMaxPorts || (descriptor->portCount != 0 && descriptor->portTypes == nullptr))
    throw HostError(fmt::format("{} describes its ports inconsistently", module));
  const bool haveLayout = layout != nullptr && layout->ports != nullptr && layout->portCount <= kMaxPorts;
  for (uint32_t i = 0; i < descriptor->portCount; ++i) {
    PortInfo port;
    port.index = i;
    port.direction = descriptor->portTypes[i].direction;
    port.type = descriptor->portTypes[i].type;
    if (haveLayout && i < layout->portCount) {
      const PortDescriptor& d = layout->ports[i];
      port.kind = d.kind;
      port.longName = text(d.longName);
      port.shortName = text(d.shortName);
      port.x = d.x;
      port.y = d.y;
      port.width = d.width;
      port.height = d.height;
    }
    ports.push_back(std::move(port));
  }
  return ports;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string result;
  for (const auto& line : lines) result += "; " + line;
  return result;
}

}  // namespace

std::unique_ptr<Instance> Instance::create(Bundle& bundle, uint32_t code) {
  auto core = std::make_unique<InstanceCore>(bundle, code);
  core->call.message = kInstanceCreate;
  core->call.target = &core->classRecord;
  logMessage(bundle.recorder(), code, kInstanceCreate, {argCode(code)});
  const uint32_t result = bundle.send(core->call);
  if (result == 0 || core->call.instance == nullptr) {
    std::string reason;
    for (const auto& error : core->reportedErrors) reason += " (the bundle reported " + error.text() + ")";
    throw HostError(fmt::format("the bundle cannot create module {}{}", argCode(code), reason));
  }
  std::unique_ptr<Instance> instance(new Instance(std::move(core)));
  InstanceCore& c = *instance->core_;
  c.ports = readPorts(c.classRecord.descriptor, c.info != nullptr ? c.info->layout : nullptr, instance->name());
  c.inputs.resize(c.ports.size());
  return instance;
}

Instance::Instance(std::unique_ptr<InstanceCore> core) : core_(std::move(core)) {}

Instance::~Instance() {
  InstanceCore& c = *core_;
  c.endFrame();
  for (auto& slot : c.slots) c.destroyCache(*slot);
  HostEvent event{};  // the bundle ignores a call without a target
  send(kInstanceDestroy, &event);
}

Bundle& Instance::bundle() const { return core_->bundle; }
uint32_t Instance::code() const { return core_->code; }
std::string Instance::name() const { return core_->bundle.moduleName(core_->code); }
const std::vector<PortInfo>& Instance::ports() const { return core_->ports; }

uint32_t Instance::outputPort() const {
  for (size_t i = core_->ports.size(); i-- > 0;)
    if (core_->ports[i].direction == kPortOutput && core_->ports[i].type == FourCC("imag"))
      return static_cast<uint32_t>(i);
  throw HostError(fmt::format("{} has no image output", name()));
}

const ModuleClassDescriptor* Instance::descriptor() const { return core_->classRecord.descriptor; }
const PortLayoutInfo* Instance::layout() const { return core_->info != nullptr ? core_->info->layout : nullptr; }
const InstanceInfoRecord* Instance::infoRecord() const { return core_->info; }
const SettingsSaveRecord* Instance::saveRecord() const { return core_->save; }
const ParameterRecord* Instance::parameterRecord() const { return core_->parameters; }
const SettingsDialogRecord* Instance::dialogRecord() const { return core_->dialog; }
const OutputCacheRecord* Instance::outputCacheRecord() const { return core_->outputCache; }
std::vector<uint32_t> Instance::registrationOrder() const { return core_->registrationOrder; }

bool Instance::save(const SettingsTable* store) {
  const SettingsSaveRecord* record = core_->save;
  if (record == nullptr || record->save == nullptr || store == nullptr) return false;
  return record->save(record->settings, store) != 0;
}

bool Instance::load(const SettingsTable* store) {
  const SettingsSaveRecord* record = core_->save;
  if (record == nullptr || record->load == nullptr || store == nullptr) return false;
  return record->load(record->settings, store) != 0;
}

bool Instance::setParameter(CFStringRef key, CFTypeRef value) {
  const ParameterRecord* record = core_->parameters;
  if (record == nullptr || record->set == nullptr || key == nullptr) return false;
  return record->set(record->settings, key, value) != 0;
}

CFTypeRef Instance::getParameter(CFStringRef key) {
  const ParameterRecord* record = core_->parameters;
  if (record == nullptr || record->get == nullptr || key == nullptr) return nullptr;
  return record->get(record->settings, key);
}

bool Instance::hasParameters() const {
  return core_->parameters != nullptr && core_->parameters->set != nullptr && core_->parameters->get != nullptr;
}

bool Instance::hasPanel() const { return core_->dialog != nullptr && core_->dialog->build != nullptr; }

bool Instance::runPanel(const PanelTable* panel) {
  if (!hasPanel() || panel == nullptr) return false;
  return core_->dialog->build(core_->dialog->settings, panel) != 0;
}

void Instance::setInput(uint32_t port, std::shared_ptr<InputSource> source) {
  if (port >= core_->ports.size()) throw HostError(fmt::format("{} has no port {}", name(), port));
  const PortInfo& info = core_->ports[port];
  if (source != nullptr) {
    if (info.direction != kPortInput || info.blank())
      throw HostError(fmt::format("port {} of {} is not an input", port, name()));
    if (source->valueType() != info.type)
      throw HostError(fmt::format("cannot wire {} ({}) to port {} \"{}\" of {} ({})", source->describe(),
                                  argCode(source->valueType()), port, info.longName, name(), argCode(info.type)));
  }
  std::lock_guard lock(core_->requestsMutex);
  core_->inputs[port] = std::move(source);
  if (core_->inputs[port] == nullptr) core_->requests.erase(port);
}

bool Instance::inputConnected(uint32_t port) const {
  return port < core_->inputs.size() && core_->inputs[port] != nullptr;
}

uint32_t Instance::inputsConnected() {
  HostEvent event{};
  return send(kInputsConnected, &event);
}

std::shared_ptr<const Image> Instance::render(const RenderSettings& settings) {
  InstanceCore& c = *core_;
  if (!isSupportedFormat(settings.pixelFormat))
    throw HostError(fmt::format("{}: unsupported pixel format {}", name(), settings.pixelFormat));
  if (settings.width == 0 || settings.height == 0 || settings.width > kMaxImageSide ||
      settings.height > kMaxImageSide)
    throw HostError(fmt::format("{}: cannot render a {}x{} frame", name(), settings.width, settings.height));
  if (c.rendering.exchange(true))
    throw HostError(fmt::format("{} is asked for a frame while rendering one", name()));

  ImageDescriptor wanted{};
  wanted.time = settings.time;
  wanted.width = settings.width;
  wanted.height = settings.height;
  wanted.pixelFormat = settings.pixelFormat;
  ImageDescriptor destination = wanted;

  ValueRecord request{};
  request.stamp = c.bundle.nextStamp();
  request.type = FourCC("imag");
  request.parameter = &wanted;
  InstanceCore::OutputSlot& slot = c.slotFor(settings.width, settings.height, settings.pixelFormat);
  request.data = slot.output->handle();
  request.destination = &destination;
  const OutputCacheRecord* effs = c.outputCache;
  if (effs != nullptr && effs->create != nullptr && slot.cache == nullptr)
    slot.cache = effs->create(effs->instance, &request, 1);
  request.cache = slot.cache;
  if (effs != nullptr && effs->begin != nullptr) request.cache = effs->begin(slot.cache, &request, 0);

  HostEvent event{};
  event.value = &request;
  uint32_t result = 0;
  bool requested = false;
  std::string failure;
  try {
    send(kOutputRequested, &event);
    requested = true;
    send(kRenderStart, &event);
    if (inputConnected(1) && c.ports[1].type == FourCC("ddes")) {
      InputRequest onOffRequest;
      onOffRequest.type = FourCC("ddes");
      onOffRequest.time = settings.time;
      const std::optional<bool> on = c.inputs[1]->read(onOffRequest).enabled;
      if (on.has_value()) {
        uint32_t word = *on ? 1u : 0u;
        ValueRecord arrived{};
        arrived.stamp = request.stamp;
        arrived.type = FourCC("ddes");
        arrived.parameter = &word;
        HostEvent arrival{};
        arrival.port = 1;
        arrival.value = &arrived;
        send(kInputValueArrived, &arrival);
      }
    }
    result = send(kRenderOutput, &event);
    if (result == 0) send(kRequestCancelled, &event);
  } catch (const std::exception& error) {
    failure = error.what();
    // The module placed its input requests at OutputRequested: let it withdraw them.
    if (requested) send(kRequestCancelled, &event);
  }
  if (effs != nullptr && effs->end != nullptr) effs->end(slot.cache, &request, 0);
  send(kRenderStop, &event);
  const std::vector<std::string> deliveryErrors = c.endFrame();
  c.rendering = false;
  if (!failure.empty()) throw HostError(fmt::format("{}: {}", name(), failure));
  if (result == 0)
    throw HostError(fmt::format("{} failed to render a {}x{} frame{}", name(), settings.width, settings.height,
                                joined(deliveryErrors)));
  return slot.output;
}

const Image& Instance::cacheImage() const { return core_->slot->cacheImage; }
void* Instance::outputCache() const { return core_->slot->cache; }

std::optional<InputRequest> Instance::pendingRequest(uint32_t port) const {
  std::lock_guard lock(core_->requestsMutex);
  auto found = core_->requests.find(port);
  if (found == core_->requests.end()) return std::nullopt;
  return found->second;
}

uint32_t Instance::send(HostMessage message, HostEvent* event) {
  InstanceCore& c = *core_;
  logMessage(c.recorder(), c.code, message, {event != nullptr ? std::to_string(event->port) : "null"});
  c.call.message = message;
  c.call.target = event;
  return c.bundle.send(c.call);
}

HostCall& Instance::hostCall() { return core_->call; }
const BitmapService* Instance::bitmapService() const { return &core_->bitmapService; }
const HostPortApi* Instance::portApi() const { return &core_->portApi; }

const PortInfo* lookUpInputPort(const Instance& instance, std::string_view selector) {
  for (const PortInfo& port : instance.ports())
    if (!port.blank() && port.direction == kPortInput &&
        (selector == std::to_string(port.index) || equalsIgnoreCase(selector, port.longName) ||
         equalsIgnoreCase(selector, port.shortName)))
      return &port;
  return nullptr;
}

std::string inputPortList(const Instance& instance) {
  std::string list;
  for (const PortInfo& port : instance.ports())
    if (!port.blank() && port.direction == kPortInput)
      list += fmt::format("{}{} \"{}\"/\"{}\"", list.empty() ? "" : ", ", port.index, port.longName, port.shortName);
  return list;
}

}  // namespace tessivo::host
