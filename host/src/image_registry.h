// The live images, so handles and pixel addresses handed back by the bundle
// can be checked before use.
#pragma once

#include "tessivo/host/image.h"

#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace tessivo::host {

class ImageRegistry {
 public:
  static ImageRegistry& instance();

  void add(Image* image);
  void remove(Image* image);
  // The image if it is alive, else null.
  Image* find(const Image* image) const;
  // The live, non-empty image whose first row starts at pixels, else null.
  Image* findByPixels(const void* pixels) const;
  // Moves a pixel buffer between images under the registry lock.
  void transfer(std::vector<uint8_t>& from, std::vector<uint8_t>& to);

 private:
  mutable std::mutex mutex_;
  std::unordered_set<const Image*> images_;
};

}  // namespace tessivo::host
