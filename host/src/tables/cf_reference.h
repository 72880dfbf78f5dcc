// An owned CoreFoundation reference, released when it goes away.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace tessivo::host {

struct CFReleaser {
  void operator()(const void *object) const noexcept {
    if (object != nullptr) CFRelease(object);
  }
};
using CFReference = std::unique_ptr<const void, CFReleaser>;

}  // namespace tessivo::host
