#include "tessivo/frame/vimage.h"

#include <dlfcn.h>

namespace tessivo {
namespace {

// The library counts as present when the process has already loaded it (a
// host loads it as the system would); the bundle then holds its own reference
// until unload, so that the functions found stay valid while it may call them.
constexpr const char *kLibrary = "libtessivo_accelerate.so";

VImageFunctions gVImage;
void *gLibrary = nullptr;

template <class Function>
void Find(Function &slot, const char *name) {
  slot = reinterpret_cast<Function>(dlsym(gLibrary, name));
}

}  // namespace

void ResolveVImage(bool present) {
  gVImage = VImageFunctions{};
  if (gLibrary != nullptr) {
    dlclose(gLibrary);
    gLibrary = nullptr;
  }
  if (!present || (gLibrary = dlopen(kLibrary, RTLD_NOW | RTLD_NOLOAD)) == nullptr) return;
  Find(gVImage.tentConvolveARGB8888, "vImageTentConvolve_ARGB8888");
  Find(gVImage.tentConvolvePlanar8, "vImageTentConvolve_Planar8");
  Find(gVImage.scaleARGB8888, "vImageScale_ARGB8888");
}

const VImageFunctions &VImage() { return gVImage; }

}  // namespace tessivo
