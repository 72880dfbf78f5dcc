#include "tessivo/frame/random.h"

namespace tessivo {
namespace {

// Instances draw one at a time on the host's thread; nothing else touches it.
uint32_t gSeed = 0;

}  // namespace

int32_t NextRandom() {
  gSeed = AdvanceSeed(gSeed);
  return static_cast<int32_t>(gSeed);
}

uint32_t CurrentRandomSeed() { return gSeed; }

}  // namespace tessivo
