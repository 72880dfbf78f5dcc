/* Registration records a module hands the host with RegisterRecord. Each
 * starts with the same header and lives inside the instance. */
#ifndef MARLIX_RECORDS_H
#define MARLIX_RECORDS_H

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "marlix/descriptors.h"
#include "marlix/layout_check.h"
#include "marlix/panel.h"
#include "marlix/ports.h"
#include "marlix/settings.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RecordHeader {
  uint32_t kind;  /* 'iinf', 'isav', 'ctrl', 'isdl' or 'effs' */
  uint32_t owner; /* the module's code, or 'iprm' for a ParameterRecord */
  uint16_t version;
  uint16_t count;
  uint32_t alignPad;
} RecordHeader;
MARLIX_CHECK_OFFSET(RecordHeader, version, 8);
MARLIX_CHECK_OFFSET(RecordHeader, count, 10);
MARLIX_CHECK_SIZE(RecordHeader, 16);

/* Writes all settings into, or reads them back from, the host's store. */
typedef uint32_t (*SettingsCallbackFn)(void *settings, const SettingsTable *store);
/* Sets one setting by key from a host value; the host keeps its reference. */
typedef uint32_t (*SetParameterFn)(void *settings, CFStringRef key, CFTypeRef value);
/* A new value for the key (the host takes it over), or null for an unknown key. */
typedef CFTypeRef (*GetParameterFn)(void *settings, CFStringRef key);
/* Builds and runs the settings panel; 1 when the user confirmed. */
typedef uint32_t (*PanelBuilderFn)(void *settings, const PanelTable *panel);
/* Per-output state: create(instance, request, 1) gives the cache that the host
 * puts in each output request; begin(cache, request, 0) and end(cache, request, 0)
 * bracket each render (the result of begin is the cache used); destroy(instance, cache, 1). */
typedef void *(*OutputCacheFn)(void *first, void *second, uintptr_t flag);

typedef struct InstanceInfoRecord {
  RecordHeader header; /* 'iinf', module, 1, 1 */
  PassThroughFn passThrough;
  const PortLayoutInfo *layout;
} InstanceInfoRecord;
MARLIX_CHECK_OFFSET(InstanceInfoRecord, passThrough, 16);
MARLIX_CHECK_OFFSET(InstanceInfoRecord, layout, 24);

typedef struct SettingsSaveRecord {
  RecordHeader header; /* 'isav', module, 1, 1 */
  SettingsCallbackFn save;
  SettingsCallbackFn load;
  void *settings;
} SettingsSaveRecord;
MARLIX_CHECK_OFFSET(SettingsSaveRecord, save, 16);
MARLIX_CHECK_OFFSET(SettingsSaveRecord, load, 24);
MARLIX_CHECK_OFFSET(SettingsSaveRecord, settings, 32);

typedef struct ParameterRecord {
  RecordHeader header; /* 'ctrl', 'iprm', 2, 1 */
  void *settings;
  SetParameterFn set; /* null when the module offers no keyed parameters */
  GetParameterFn get;
} ParameterRecord;
MARLIX_CHECK_OFFSET(ParameterRecord, settings, 16);
MARLIX_CHECK_OFFSET(ParameterRecord, set, 24);
MARLIX_CHECK_OFFSET(ParameterRecord, get, 32);

typedef struct SettingsDialogRecord {
  RecordHeader header; /* 'isdl', module, 2, 1 */
  PanelBuilderFn build;
  void *settings;
} SettingsDialogRecord;
MARLIX_CHECK_OFFSET(SettingsDialogRecord, build, 16);
MARLIX_CHECK_OFFSET(SettingsDialogRecord, settings, 24);

typedef struct OutputCacheRecord {
  RecordHeader header; /* 'effs', module, 2, 1 */
  void *instance;
  OutputCacheFn create;
  OutputCacheFn destroy;
  OutputCacheFn begin;
  OutputCacheFn end;
} OutputCacheRecord;
MARLIX_CHECK_OFFSET(OutputCacheRecord, instance, 16);
MARLIX_CHECK_OFFSET(OutputCacheRecord, create, 24);
MARLIX_CHECK_OFFSET(OutputCacheRecord, end, 48);

#ifdef __cplusplus
}
#endif

#endif
