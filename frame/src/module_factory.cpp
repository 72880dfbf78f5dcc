// Maps a class code to the module that implements it, after acquiring the
// host's bitmap service for the new instance.
#include "tessivo/frame/module_factory.h"

#include "tessivo/frame/module_codes.h"

namespace tessivo {
namespace {

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
  if (ModuleInstance *module = ConstructModule(code, call, classRecord, service)) return module;
  // The service is dropped here; the host accepts that.
  ReportUnknownCode(call, code);
  return nullptr;
}

}  // namespace tessivo
