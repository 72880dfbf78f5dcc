/* Constant records a module class describes itself with: its descriptor,
 * port types and port layout on the module box. */
#ifndef MARLIX_DESCRIPTORS_H
#define MARLIX_DESCRIPTORS_H

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "marlix/layout_check.h"

#ifdef __cplusplus
extern "C" {
#endif

enum PortDirection { kPortInput = 0, kPortOutput = 1 };
enum PortKind { kPortKindImage = 0, kPortKindXYController = 1, kPortKindValue = 2 };

typedef struct PortTypeEntry {
  uint32_t direction; /* PortDirection */
  uint32_t type;      /* 'imag', 'ddes' or 'ctrl' */
  uint8_t reserved[32];
} PortTypeEntry;
MARLIX_CHECK_SIZE(PortTypeEntry, 40);

struct ModuleClassDescriptor {
  uint32_t code;
  uint32_t portCount;
  const PortTypeEntry *portTypes;
  uint8_t reserved[32];
};
MARLIX_CHECK_OFFSET(ModuleClassDescriptor, portTypes, 8);
MARLIX_CHECK_OFFSET(ModuleClassDescriptor, reserved, 16);
MARLIX_CHECK_SIZE(ModuleClassDescriptor, 48);

typedef struct PortDescriptor {
  int32_t x, y, width, height; /* the port's square on the box, box units */
  const char *longName;
  const char *shortName;
  uint32_t kind; /* PortKind */
  uint8_t reserved[32];
} PortDescriptor;
MARLIX_CHECK_OFFSET(PortDescriptor, longName, 16);
MARLIX_CHECK_OFFSET(PortDescriptor, shortName, 24);
MARLIX_CHECK_OFFSET(PortDescriptor, kind, 32);
MARLIX_CHECK_OFFSET(PortDescriptor, reserved, 36);
MARLIX_CHECK_SIZE(PortDescriptor, 72);

typedef struct PortLayoutInfo {
  uint32_t portCount;
  uint32_t alignPad;
  const PortDescriptor *ports;
  CFStringRef name; /* set for Blur and Stripizator only */
  uint8_t reserved[28];
} PortLayoutInfo;
MARLIX_CHECK_OFFSET(PortLayoutInfo, ports, 8);
MARLIX_CHECK_OFFSET(PortLayoutInfo, name, 16);
MARLIX_CHECK_OFFSET(PortLayoutInfo, reserved, 24);
MARLIX_CHECK_SIZE(PortLayoutInfo, 56);

#ifdef __cplusplus
}
#endif

#endif
