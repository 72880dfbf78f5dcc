// Registration records: headers with the kind, owner, version and count the
// host expects for each kind, and the calls that hand them over.
#include "tessivo/frame/records.h"

#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/module_descriptors.h"

namespace tessivo {
namespace {

RecordHeader Header(uint32_t kind, uint32_t owner, uint16_t version, uint16_t count) {
  RecordHeader header{};
  header.kind = kind;
  header.owner = owner;
  header.version = version;
  header.count = count;
  return header;
}

}  // namespace

void *PassThrough(void *argument) { return argument; }

InstanceInfoRecord MakeInstanceInfoRecord(uint32_t moduleCode) {
  InstanceInfoRecord record{};
  record.header = Header(kRecordInstanceInfo, moduleCode, 1, 1);
  record.passThrough = &PassThrough;
  const ModuleDescription *description = FindModuleDescription(moduleCode);
  record.layout = description != nullptr ? &description->layout : nullptr;
  return record;
}

SettingsSaveRecord MakeSettingsSaveRecord(uint32_t moduleCode, SettingsCallbackFn save, SettingsCallbackFn load,
                                          void *settings) {
  SettingsSaveRecord record{};
  record.header = Header(kRecordSettingsSave, moduleCode, 1, 1);
  record.save = save;
  record.load = load;
  record.settings = settings;
  return record;
}

ParameterRecord MakeParameterRecord(void *settings, SetParameterFn set, GetParameterFn get) {
  ParameterRecord record{};
  record.header = Header(kRecordParameterKind, kRecordParameterOwner, 2, 1);
  record.settings = settings;
  record.set = set;
  record.get = get;
  return record;
}

SettingsDialogRecord MakeSettingsDialogRecord(uint32_t moduleCode, PanelBuilderFn build, void *settings) {
  SettingsDialogRecord record{};
  record.header = Header(kRecordSettingsDialog, moduleCode, 2, 1);
  record.build = build;
  record.settings = settings;
  return record;
}

OutputCacheRecord MakeOutputCacheRecord(uint32_t moduleCode, void *instance, OutputCacheFn create,
                                        OutputCacheFn destroy, OutputCacheFn begin, OutputCacheFn end) {
  OutputCacheRecord record{};
  record.header = Header(kRecordOutputCache, moduleCode, 2, 1);
  record.instance = instance;
  record.create = create;
  record.destroy = destroy;
  record.begin = begin;
  record.end = end;
  return record;
}

void RegisterRecord(HostCall *call, const void *record) {
  if (call == nullptr || call->portApi == nullptr || call->portApi->RegisterRecord == nullptr) return;
  call->portApi->RegisterRecord(call->portApi->cookie, record);
}

void PublishDescriptor(ModuleClassRecord *classRecord, uint32_t moduleCode) {
  const ModuleDescription *description = FindModuleDescription(moduleCode);
  if (classRecord == nullptr || description == nullptr) return;
  classRecord->descriptor = &description->descriptor;
}

void *InstanceCookie(const HostCall *call) {
  if (call == nullptr || call->portApi == nullptr) return nullptr;
  return call->portApi->cookie;
}

}  // namespace tessivo
