// Loading the bundle the way a host does: dlopen, PluginLoad, the registry and
// size table, PluginUnload and dlclose.
#pragma once

#include <marlix/entry.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tessivo::host {

class Recorder;

struct LoadOptions {
  // Load the vImage library (libtessivo_accelerate.so beside the bundle, when it
  // exists) before the bundle, as a system would; false withholds it.
  bool withVImage = true;
  // Deliver ReadInput answers from a separate thread instead of inside the call.
  bool threadedDelivery = false;
  // Log every host call and message here (may be null). Must outlive the bundle.
  Recorder* recorder = nullptr;
};

// One advertised module as the registry and size table describe it.
struct ModuleInfo {
  uint32_t code = 0;
  std::string name;
  uint32_t boxWidth = 0;
  uint32_t boxHeight = 0;
  uint32_t boxExtra = 0;
};

// An error the bundle reported through ReportError.
struct ReportedError {
  uint32_t creator = 0;
  uint32_t code = 0;
  std::string text() const;  // "error 'kqzt' 'xyzw'"
};

class Bundle {
 public:
  // Throws HostError when the library cannot be opened, has no ModuleMain, or refuses PluginLoad.
  static std::unique_ptr<Bundle> load(const std::string& path, const LoadOptions& options = {});
  // A bundle linked into the running program, reached through its ModuleMain
  // (tests that watch the bundle's own state). withVImage is ignored.
  static std::unique_ptr<Bundle> linked(ModuleMainFn moduleMain, const LoadOptions& options = {});
  // The bundle beside the running program (<exe dir>/../lib/libtessivo.so or
  // <exe dir>/libtessivo.so), or $TESSIVO_BUNDLE when set.
  static std::string defaultPath();
  ~Bundle();  // PluginUnload, dlclose (destroy every Instance first)

  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  const std::string& path() const { return path_; }
  const LoadOptions& options() const { return options_; }
  Recorder* recorder() const { return options_.recorder; }
  bool vImageLoaded() const { return accelerate_ != nullptr; }

  const std::string& category() const { return category_; }
  uint32_t creator() const { return creator_; }
  const std::vector<ModuleInfo>& modules() const { return modules_; }
  // The registry entry for a code, or null (e.g. for 'dfsn').
  const ModuleInfo* findModule(uint32_t code) const;
  // The registry name of a code, or the code itself as text.
  std::string moduleName(uint32_t code) const;
  const GlobalInfo* globalInfo() const { return globalInfo_; }

  // Calls ModuleMain.
  uint32_t send(HostCall& call) const;

  // Errors reported through ReportError by any instance, oldest first.
  std::vector<ReportedError> reportedErrors() const;
  void noteReportedError(const ReportedError& error);

  // Host-wide counter for request stamps.
  uint32_t nextStamp();

  // The table handed over at PluginLoad (its cookie is this bundle).
  HostTable* hostTable() { return &hostTable_; }

 private:
  Bundle() = default;
  void open(const std::string& path, const LoadOptions& options);
  void start();
  void readRegistry(const ModuleRegistry* registry);
  static uint32_t registerGlobalInfo(void* cookie, GlobalInfo* info, PluginRecord* plugin) noexcept;

  std::string path_;
  LoadOptions options_;
  void* library_ = nullptr;
  void* accelerate_ = nullptr;
  ModuleMainFn moduleMain_ = nullptr;
  HostTable hostTable_{};
  PluginRecord pluginRecord_{};
  HostCall loadCall_{};
  GlobalInfo* globalInfo_ = nullptr;
  void* pluginObject_ = nullptr;
  bool loaded_ = false;
  std::string category_;
  uint32_t creator_ = 0;
  std::vector<ModuleInfo> modules_;
  mutable std::mutex errorsMutex_;
  std::vector<ReportedError> errors_;
  uint32_t stampCounter_ = 0;
  std::mutex stampMutex_;
};

}  // namespace tessivo::host
