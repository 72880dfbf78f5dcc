#include "tessivo/host/bundle.h"

#include "loader/library_path.h"

#include "tables/host_log.h"
#include "tessivo/host/error.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

namespace tessivo::host {

namespace {

constexpr const char* kAccelerateLibrary = "libtessivo_accelerate.so";
constexpr uint32_t kMaxRegistryEntries = 1024;

std::string dlErrorText() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

}  // namespace

std::string ReportedError::text() const { return fmt::format("error {} {}", argCode(creator), argCode(code)); }

std::unique_ptr<Bundle> Bundle::load(const std::string& path, const LoadOptions& options) {
  std::unique_ptr<Bundle> bundle(new Bundle());
  bundle->open(path, options);
  return bundle;
}

std::string Bundle::defaultPath() {
  if (const char* env = std::getenv("TESSIVO_BUNDLE"); env != nullptr && *env != '\0') return env;
  return libraryBesideProgram("libtessivo.so");
}

void Bundle::open(const std::string& path, const LoadOptions& options) {
  path_ = path;
  options_ = options;
  if (options_.withVImage) {
    // Loaded globally first, as a system framework would be, so the bundle's run-time lookup finds it.
    const auto beside = std::filesystem::path(path).parent_path() / kAccelerateLibrary;
    std::error_code error;
    if (std::filesystem::exists(beside, error)) accelerate_ = dlopen(beside.c_str(), RTLD_NOW | RTLD_GLOBAL);
  }
  library_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library_ == nullptr) throw HostError(fmt::format("cannot load bundle {}: {}", path, dlErrorText()));
  moduleMain_ = reinterpret_cast<ModuleMainFn>(dlsym(library_, "ModuleMain"));
  if (moduleMain_ == nullptr) throw HostError(fmt::format("bundle {} has no ModuleMain", path));
  start();
}

std::unique_ptr<Bundle> Bundle::linked(ModuleMainFn moduleMain, const LoadOptions& options) {
  if (moduleMain == nullptr) throw HostError("no ModuleMain to run");
  std::unique_ptr<Bundle> bundle(new Bundle());
  bundle->path_ = "(linked)";
  bundle->options_ = options;
  bundle->moduleMain_ = moduleMain;
  bundle->start();
  return bundle;
}

// Sends PluginLoad and reads what the bundle hands over.
void Bundle::start() {
  const std::string& path = path_;
  hostTable_.cookie = this;
  hostTable_.RegisterGlobalInfo = &Bundle::registerGlobalInfo;
  loadCall_ = HostCall{};
  loadCall_.message = kPluginLoad;
  loadCall_.target = &pluginRecord_;
  loadCall_.hostTable = &hostTable_;
  logMessage(options_.recorder, 0, kPluginLoad);
  if (moduleMain_(&loadCall_) == 0) throw HostError(fmt::format("bundle {} refused to load", path));
  loaded_ = true;
  pluginObject_ = loadCall_.pluginObject;
  if (globalInfo_ == nullptr) throw HostError(fmt::format("bundle {} registered no global info", path));
  readRegistry(pluginRecord_.registry);
}

void Bundle::readRegistry(const ModuleRegistry* registry) {
  if (registry == nullptr) throw HostError(fmt::format("bundle {} handed over no module registry", path_));
  if (registry->count > kMaxRegistryEntries || (registry->count != 0 && registry->entries == nullptr))
    throw HostError(fmt::format("bundle {} has a malformed module registry", path_));
  category_ = registry->category != nullptr ? registry->category : "";
  creator_ = registry->creator;
  const ModuleSizeTable* sizes = globalInfo_->sizeTable;
  for (uint32_t i = 0; i < registry->count; ++i) {
    const ModuleRegistryEntry& entry = registry->entries[i];
    ModuleInfo info;
    info.code = entry.code;
    info.name = entry.name != nullptr ? entry.name : codeToString(entry.code);
    if (sizes != nullptr && sizes->entries != nullptr && i < sizes->count && sizes->count <= kMaxRegistryEntries) {
      info.boxWidth = sizes->entries[i].width;
      info.boxHeight = sizes->entries[i].height;
      info.boxExtra = sizes->entries[i].extra;
    }
    modules_.push_back(std::move(info));
  }
}

Bundle::~Bundle() {
  if (loaded_) {
    HostCall call{};
    call.message = kPluginUnload;
    call.target = &pluginRecord_;
    call.pluginObject = pluginObject_;
    call.hostTable = &hostTable_;
    logMessage(options_.recorder, 0, kPluginUnload);
    moduleMain_(&call);
  }
  if (library_ != nullptr) dlclose(library_);
  if (accelerate_ != nullptr) dlclose(accelerate_);
}

uint32_t Bundle::registerGlobalInfo(void* cookie, GlobalInfo* info, PluginRecord* plugin) noexcept {
  try {
    auto* bundle = static_cast<Bundle*>(cookie);
    if (bundle == nullptr) return 0;
    logCall(bundle->options_.recorder, 0, "RegisterGlobalInfo", {argPointer(info), argPointer(plugin)});
    if (info == nullptr) return 0;
    bundle->globalInfo_ = info;
    return 1;
  } catch (...) {
    return 0;
  }
}

const ModuleInfo* Bundle::findModule(uint32_t code) const {
  for (const auto& info : modules_)
    if (info.code == code) return &info;
  return nullptr;
}

std::string Bundle::moduleName(uint32_t code) const {
  const ModuleInfo* info = findModule(code);
  return info != nullptr ? info->name : codeToString(code);
}

uint32_t Bundle::send(HostCall& call) const { return moduleMain_(&call); }

std::vector<ReportedError> Bundle::reportedErrors() const {
  std::lock_guard lock(errorsMutex_);
  return errors_;
}

void Bundle::noteReportedError(const ReportedError& error) {
  std::lock_guard lock(errorsMutex_);
  errors_.push_back(error);
}

uint32_t Bundle::nextStamp() {
  std::lock_guard lock(stampMutex_);
  if (++stampCounter_ == 0) ++stampCounter_;
  return stampCounter_;
}

}  // namespace tessivo::host
