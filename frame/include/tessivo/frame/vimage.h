// The vImage functions, resolved at run time as a weakly linked framework's
// are: looked up in the process when the host loads the bundle (PluginLoad),
// null when the library is not there. Modules test a function for null and
// fall back to their own code.
#pragma once

#include <Accelerate/Accelerate.h>

namespace tessivo {

struct VImageFunctions {
  decltype(&vImageTentConvolve_ARGB8888) tentConvolveARGB8888 = nullptr;
  decltype(&vImageTentConvolve_Planar8) tentConvolvePlanar8 = nullptr;
  decltype(&vImageScale_ARGB8888) scaleARGB8888 = nullptr;
};

// The functions found at the last PluginLoad; all null before it and after PluginUnload.
const VImageFunctions &VImage();

// Looks the functions up in the library the process has loaded, if any, and
// keeps them for VImage(), holding a reference to it; with `present` false,
// forgets them and lets the library go.
void ResolveVImage(bool present = true);

}  // namespace tessivo
