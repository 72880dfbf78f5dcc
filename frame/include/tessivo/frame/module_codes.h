// Four-character codes the frame and the modules share.
#pragma once

#include <marlix/fourcc.h>

#include <cstdint>

namespace tessivo {

inline constexpr uint32_t kCreatorCode = FourCC("kqzt");

inline constexpr uint32_t kTypeImage = FourCC("imag");
inline constexpr uint32_t kTypeOnOff = FourCC("ddes");
inline constexpr uint32_t kTypeControl = FourCC("ctrl");

inline constexpr uint32_t kRecordInstanceInfo = FourCC("iinf");
inline constexpr uint32_t kRecordSettingsSave = FourCC("isav");
inline constexpr uint32_t kRecordParameterKind = FourCC("ctrl");
inline constexpr uint32_t kRecordParameterOwner = FourCC("iprm");
inline constexpr uint32_t kRecordSettingsDialog = FourCC("isdl");
inline constexpr uint32_t kRecordOutputCache = FourCC("effs");
inline constexpr uint32_t kGlobalInfoKind = FourCC("ginf");

inline constexpr uint32_t kServiceFamily = FourCC("sapi");
inline constexpr uint32_t kBitmapServiceCode = FourCC("bmsv");
inline constexpr uint32_t kBitmapServiceVersion = 5;

inline constexpr uint32_t kBlurCode = FourCC("blur");
inline constexpr uint32_t kDiffusionCode = FourCC("dfsn");
inline constexpr uint32_t kEmbossCode = FourCC("embs");
inline constexpr uint32_t kFaderCode = FourCC("fadr");
inline constexpr uint32_t kFlashCode = FourCC("flsh");
inline constexpr uint32_t kIrisationCode = FourCC("iris");
inline constexpr uint32_t kJishinCode = FourCC("jshn");
inline constexpr uint32_t kKagamiCode = FourCC("kgmi");
inline constexpr uint32_t kLinalizeCode = FourCC("lnlz");
inline constexpr uint32_t kPixxicatoCode = FourCC("pixx");
inline constexpr uint32_t kStripizatorCode = FourCC("strp");

}  // namespace tessivo
