/* Four-character codes as the host uses them: 'blur' is 0x626C7572. */
#ifndef MARLIX_FOURCC_H
#define MARLIX_FOURCC_H

#include <stdint.h>

#ifdef __cplusplus
/* The one way C++ code spells a code: FourCC("blur"). */
constexpr uint32_t FourCC(const char (&code)[5]) {
  return (uint32_t(uint8_t(code[0])) << 24) | (uint32_t(uint8_t(code[1])) << 16) |
         (uint32_t(uint8_t(code[2])) << 8) | uint32_t(uint8_t(code[3]));
}
#else
/* Plain C callers build the same number from four characters. */
#define MARLIX_FOURCC(a, b, c, d) \
  ((uint32_t)(uint8_t)(a) << 24 | (uint32_t)(uint8_t)(b) << 16 | (uint32_t)(uint8_t)(c) << 8 | (uint32_t)(uint8_t)(d))
#endif

#endif
