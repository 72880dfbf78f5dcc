/* Pins the 64-bit layout of the records that cross the host boundary. */
#ifndef MARLIX_LAYOUT_CHECK_H
#define MARLIX_LAYOUT_CHECK_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define MARLIX_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define MARLIX_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#define MARLIX_CHECK_OFFSET(type, field, offset) \
  MARLIX_STATIC_ASSERT(offsetof(type, field) == (offset), #type "." #field " offset")
#define MARLIX_CHECK_SIZE(type, size) MARLIX_STATIC_ASSERT(sizeof(type) == (size), #type " size")

MARLIX_STATIC_ASSERT(sizeof(void *) == 8 && sizeof(uintptr_t) == 8, "the contract is laid out for 64-bit hosts");

#endif
