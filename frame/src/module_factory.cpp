// Maps a class code to the module that implements it, after acquiring the
// host's bitmap service for the new instance.
#include "tessivo/frame/module_factory.h"

#include <new>

#include "effects/fader/fader_module.h"
#include "tessivo/frame/module_codes.h"

namespace tessivo {
namespace {

using Constructor = ModuleInstance *(*)(HostCall *, ModuleClassRecord *, BitmapService *);

struct FactoryEntry {
  uint32_t code;
  Constructor construct;
};

template <class Module>
ModuleInstance *Construct(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service) {
  return new (std::nothrow) Module(call, classRecord, service);
}

// One row per module in the bundle.
constexpr FactoryEntry kModules[] = {
    {kFaderCode, &Construct<FaderModule>},
};

BitmapService *AcquireBitmapService(const HostCall *call) {
  const ServiceTable *services = call->serviceTable;
  if (services == nullptr || services->AcquireService == nullptr) return nullptr;
  return static_cast<BitmapService *>(
      services->AcquireService(services->cookie, kServiceFamily, kBitmapServiceCode, kBitmapServiceVersion, 1));
}

void ReportUnknownCode(const HostCall *call, uint32_t code) {
  const ErrorTable *errors = call->errorTable;
  if (errors == nullptr || errors->ReportError == nullptr) return;
  errors->ReportError(errors->cookie, kCreatorCode, code, 0, 0, 0);
}

}  // namespace

ModuleInstance *ModuleFactory(HostCall *call, ModuleClassRecord *classRecord) {
  if (call == nullptr || classRecord == nullptr) return nullptr;
  BitmapService *service = AcquireBitmapService(call);
  if (service == nullptr) return nullptr;
  const auto code = static_cast<uint32_t>(classRecord->classCode);
  for (const FactoryEntry &entry : kModules) {
    if (entry.code == code) return entry.construct(call, classRecord, service);
  }
  // The service is dropped here; the host accepts that.
  ReportUnknownCode(call, code);
  return nullptr;
}

}  // namespace tessivo
