// The documented ranges and defaults of the bundle's control inputs.
#include "tessivo/host/module_notes.h"

#include <marlix/fourcc.h>

namespace tessivo::host {

namespace {

constexpr std::uint32_t kDocumented[] = {FourCC("blur"), FourCC("dfsn"), FourCC("embs"), FourCC("fadr"),
                                         FourCC("flsh"), FourCC("iris"), FourCC("jshn"), FourCC("kgmi"),
                                         FourCC("lnlz"), FourCC("pixx"), FourCC("strp")};

constexpr ControlRange kRanges[] = {
    {FourCC("blur"), 2, 0.0, 1.0, "scales the \"Blur in X\" setting", "1, or 0 when only Y is wired",
     "scales the setting as it is"},
    {FourCC("blur"), 3, 0.0, 1.0, "scales the \"Blur in Y\" setting", "1, or 0 when only X is wired",
     "scales the setting as it is"},
    {FourCC("dfsn"), 2, 0.0, 1.0, "above 0 the effect runs", "0.5", "only whether it is above 0 matters"},
    {FourCC("fadr"), 2, 0.0, 1.0, "0 = input unchanged, 1 = the fade colour", "0.5",
     "above 1 the fade wraps around; 0 or below copies the input"},
    {FourCC("iris"), 2, 0.0, 1.0, "0.5 = no horizontal split", "0.75, or 0.5 when only Y is wired",
     "shifts red and blue further than half the image"},
    {FourCC("iris"), 3, 0.0, 1.0, "0.5 = no vertical split", "0.5", "shifts red and blue further than half the image"},
    {FourCC("jshn"), 2, 0.0, 1.0, "shakes up to a quarter of the image", "0.5",
     "shakes further; 0 or below copies the input"},
    {FourCC("kgmi"), 2, 0.0, 1.0, "one full turn of the mirror", "0.5", "turns further; 0 or below copies the input"},
    {FourCC("lnlz"), 2, 0.0, 1.0, "1 = 3000 strokes a frame", "0.5", "above 1 draws more strokes"},
    {FourCC("pixx"), 2, 0.0, 1.0, "blocks as a fraction of half the width", "0.1, or 0 when only Y is wired",
     "blocks wider than the image; negative values wrap"},
    {FourCC("pixx"), 3, 0.0, 1.0, "blocks as a fraction of half the height", "0.1, or 0 when only X is wired",
     "blocks taller than the image; negative values wrap"},
    {FourCC("strp"), 2, 0.0, 1.0, "scales the \"Max Radius\" setting", "1", "scales the setting as it is"},
    {FourCC("strp"), 3, 0.0, 1.0, "scales the \"Stripes Width\" setting", "1", "scales the setting as it is"},
};

}  // namespace

const ControlRange *findControlRange(std::uint32_t code, std::uint32_t port) {
  for (const ControlRange &range : kRanges)
    if (range.code == code && range.port == port) return &range;
  return nullptr;
}

std::string_view greyFormatNote(std::uint32_t code) {
  if (code == FourCC("fadr"))
    return "in the grey format the fade colour becomes one grey, (R + ((G >> 7) & 255) + B) >> 2, and its alpha "
           "is not used";
  if (code == FourCC("strp"))
    return "the colours' alpha is never used; the stripes need the colour format (a grey output is refused)";
  return {};
}

std::span<const std::uint32_t> documentedCodes() { return kDocumented; }

}  // namespace tessivo::host
