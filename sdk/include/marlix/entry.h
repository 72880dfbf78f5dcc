/* The entry protocol: the HostCall record, message codes, the host's tables
 * reached from it, and the records exchanged at load and instance creation.
 *
 * Every table is an array of pointer-sized slots; slot 0 is the host cookie,
 * which every host function takes as its first argument. 32-bit values that
 * sit in a slot (message codes, four-character codes) use its low bits. */
#ifndef MARLIX_ENTRY_H
#define MARLIX_ENTRY_H

#include <stdint.h>

#include "marlix/fourcc.h"
#include "marlix/layout_check.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Message codes carried in HostCall.message. */
enum HostMessage {
  kPluginLoad = 1,
  kPluginUnload = 2,
  kHostMessage1001 = 1001,
  kHostMessage1002 = 1002,
  kHostMessage2001 = 2001,
  kHostMessage2002 = 2002,
  kInstanceCreate = 3001,
  kInstanceDestroy = 3002,
  kRenderStart = 3200,
  kHostMessage3201 = 3201,
  kRenderStop = 3202,
  kRenderOutput = 3210,
  kInputValueArrived = 3220,
  kRequestCancelled = 3230,
  kHostMessage3300 = 3300,
  kInputsConnected = 3301,
  kHostMessage3302 = 3302,
  kOutputRequested = 3310
};

typedef struct GlobalInfo GlobalInfo;
typedef struct ModuleRegistry ModuleRegistry;
typedef struct ModuleClassDescriptor ModuleClassDescriptor;

/* Record in HostCall.target at PluginLoad; slot 16 receives the registry. */
typedef struct PluginRecord {
  uintptr_t hostWords[16];
  const ModuleRegistry *registry; /* slot 16 */
} PluginRecord;
MARLIX_CHECK_OFFSET(PluginRecord, registry, 16 * 8);

/* Record in HostCall.target at InstanceCreate. */
typedef struct ModuleClassRecord {
  uintptr_t hostWords[16];
  uintptr_t classCode;                     /* slot 16: four-character code to build */
  const ModuleClassDescriptor *descriptor; /* slot 17: set by the module's constructor */
} ModuleClassRecord;
MARLIX_CHECK_OFFSET(ModuleClassRecord, classCode, 16 * 8);
MARLIX_CHECK_OFFSET(ModuleClassRecord, descriptor, 17 * 8);

typedef uint32_t (*RegisterGlobalInfoFn)(void *cookie, GlobalInfo *info, PluginRecord *plugin);
/* Returns the service table, or null when the host cannot supply it. */
typedef void *(*AcquireServiceFn)(void *cookie, uint32_t family, uint32_t service, uint32_t version,
                                  uint32_t flags);
typedef uint32_t (*ReportErrorFn)(void *cookie, uint32_t creator, uint32_t code, uintptr_t arg3,
                                  uintptr_t arg4, uintptr_t arg5);

typedef struct HostTable {
  void *cookie;                            /* slot 0 */
  RegisterGlobalInfoFn RegisterGlobalInfo; /* slot 1 */
  uintptr_t unused2[3];
  uintptr_t hostValue5; /* slot 5: saved by the plug-in at load */
  uintptr_t hostValue6; /* slot 6: saved by the plug-in at load */
} HostTable;
MARLIX_CHECK_OFFSET(HostTable, RegisterGlobalInfo, 1 * 8);
MARLIX_CHECK_OFFSET(HostTable, hostValue5, 5 * 8);
MARLIX_CHECK_OFFSET(HostTable, hostValue6, 6 * 8);

typedef struct ServiceTable {
  void *cookie; /* slot 0 */
  uintptr_t unused1;
  AcquireServiceFn AcquireService; /* slot 2 */
} ServiceTable;
MARLIX_CHECK_OFFSET(ServiceTable, AcquireService, 2 * 8);

typedef struct ErrorTable {
  void *cookie; /* slot 0 */
  uintptr_t unused1[3];
  ReportErrorFn ReportError; /* slot 4 */
} ErrorTable;
MARLIX_CHECK_OFFSET(ErrorTable, ReportError, 4 * 8);

struct HostPortApi;

/* The record passed by pointer to every ModuleMain call. */
typedef struct HostCall {
  intptr_t message;  /* slot 0: a HostMessage (low 32 bits, signed) */
  void *target;      /* slot 1: PluginRecord, ModuleClassRecord or HostEvent */
  void *pluginObject; /* slot 2: the GlobalInfo, written at load */
  uintptr_t unused3[2];
  void *instance; /* slot 5: the module instance, written at creation */
  HostTable *hostTable;       /* slot 6 */
  ServiceTable *serviceTable; /* slot 7 */
  uintptr_t unused8;
  struct HostPortApi *portApi; /* slot 9 */
  uintptr_t unused10;
  ErrorTable *errorTable; /* slot 11 */
} HostCall;
MARLIX_CHECK_OFFSET(HostCall, target, 1 * 8);
MARLIX_CHECK_OFFSET(HostCall, pluginObject, 2 * 8);
MARLIX_CHECK_OFFSET(HostCall, instance, 5 * 8);
MARLIX_CHECK_OFFSET(HostCall, hostTable, 6 * 8);
MARLIX_CHECK_OFFSET(HostCall, serviceTable, 7 * 8);
MARLIX_CHECK_OFFSET(HostCall, portApi, 9 * 8);
MARLIX_CHECK_OFFSET(HostCall, errorTable, 11 * 8);
MARLIX_CHECK_SIZE(HostCall, 12 * 8);

/* The bundle's single export. */
typedef uint32_t (*ModuleMainFn)(HostCall *call);

/* Pass-through callback: returns its argument unchanged. */
typedef void *(*PassThroughFn)(void *argument);

typedef struct ModuleSizeEntry {
  uint32_t zero;
  uint32_t width;
  uint32_t height;
  uint32_t extra; /* 20 for every module but Kagami (30) */
  uint8_t reserved[28];
} ModuleSizeEntry;
MARLIX_CHECK_OFFSET(ModuleSizeEntry, extra, 12);
MARLIX_CHECK_SIZE(ModuleSizeEntry, 44);

typedef struct ModuleSizeTable {
  uint32_t count;
  uint32_t alignPad;
  const ModuleSizeEntry *entries;
} ModuleSizeTable;
MARLIX_CHECK_OFFSET(ModuleSizeTable, entries, 8);
MARLIX_CHECK_SIZE(ModuleSizeTable, 16);

struct GlobalInfo {
  uint32_t kind;    /* 'ginf' */
  uint32_t creator; /* 'kqzt' */
  uint16_t version; /* 1 */
  uint16_t count;   /* 1 */
  uint32_t alignPad;
  PassThroughFn passThrough;
  const ModuleSizeTable *sizeTable;
};
MARLIX_CHECK_OFFSET(GlobalInfo, version, 8);
MARLIX_CHECK_OFFSET(GlobalInfo, count, 10);
MARLIX_CHECK_OFFSET(GlobalInfo, passThrough, 16);
MARLIX_CHECK_OFFSET(GlobalInfo, sizeTable, 24);
MARLIX_CHECK_SIZE(GlobalInfo, 32);

typedef struct ModuleRegistryEntry {
  const char *name; /* display name, filled by the bundle's static initialiser */
  uint32_t code;
  uint8_t reserved[32];
} ModuleRegistryEntry;
MARLIX_CHECK_OFFSET(ModuleRegistryEntry, code, 8);
MARLIX_CHECK_OFFSET(ModuleRegistryEntry, reserved, 12);
MARLIX_CHECK_SIZE(ModuleRegistryEntry, 48);

struct ModuleRegistry {
  const char *category; /* "Tessivo" */
  uint32_t creator;     /* 'kqzt' */
  uint32_t value22;     /* 22 */
  uint32_t value1;      /* 1 */
  uint32_t count;
  ModuleRegistryEntry *entries;
};
MARLIX_CHECK_OFFSET(ModuleRegistry, creator, 8);
MARLIX_CHECK_OFFSET(ModuleRegistry, value22, 12);
MARLIX_CHECK_OFFSET(ModuleRegistry, value1, 16);
MARLIX_CHECK_OFFSET(ModuleRegistry, count, 20);
MARLIX_CHECK_OFFSET(ModuleRegistry, entries, 24);
MARLIX_CHECK_SIZE(ModuleRegistry, 32);

#ifdef __cplusplus
}
#endif

#endif
