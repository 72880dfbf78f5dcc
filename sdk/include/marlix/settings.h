/* The host's settings store as the save and load callbacks see it: named
 * groups of CoreFoundation values (numbers, booleans, colours). */
#ifndef MARLIX_SETTINGS_H
#define MARLIX_SETTINGS_H

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "marlix/layout_check.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque handle of an opened group; valid until the callback returns. */
typedef struct SettingsGroup SettingsGroup;

/* Opens (creating it) a group to write into; null when it cannot. */
typedef SettingsGroup *(*OpenGroupForWritingFn)(void *cookie, const char *group);
/* Opens an existing group to read from; null when there is none. */
typedef SettingsGroup *(*OpenGroupForReadingFn)(void *cookie, const char *group);
/* The value stored under key, or null; owned by the host. */
typedef CFTypeRef (*GetValueFn)(void *cookie, SettingsGroup *group, const char *key);
/* Stores value under key; the host takes over the reference (even on failure). */
typedef uint32_t (*SetValueFn)(void *cookie, SettingsGroup *group, const char *key, CFTypeRef value);

typedef struct SettingsTable {
  void *cookie;                              /* slot 0 */
  OpenGroupForWritingFn OpenGroupForWriting; /* slot 1 */
  OpenGroupForReadingFn OpenGroupForReading; /* slot 2 */
  GetValueFn GetValue;                       /* slot 3 */
  SetValueFn SetValue;                       /* slot 4 */
} SettingsTable;
MARLIX_CHECK_OFFSET(SettingsTable, OpenGroupForWriting, 1 * 8);
MARLIX_CHECK_OFFSET(SettingsTable, SetValue, 4 * 8);

#ifdef __cplusplus
}
#endif

#endif
