// The live images, so handles and pixel addresses handed back by the bundle
// can be checked before use.
#pragma once

#include "tessivo/host/image.h"

#include <mutex>
#include <unordered_map>
#include <vector>

namespace tessivo::host {

class ImageRegistry {
 public:
  static ImageRegistry& instance();

  // Images are registered with the address of their pixels (null when empty).
  void add(const Image* image, const void* pixels);
  void remove(const Image* image);
  // The image if it is alive, else null.
  Image* find(const Image* image) const;
  // The live, non-empty image whose first row starts at pixels, else null.
  Image* findByPixels(const void* pixels) const;
  // Moves a pixel buffer from one image (or none) to another under the
  // registry lock, and records both images' new pixel addresses.
  void transfer(const Image* fromImage, std::vector<uint8_t>& from, const Image* toImage, std::vector<uint8_t>& to);

 private:
  // Lookups read only this map, never an image's own fields, which its owner
  // (a delivery thread, say) may be changing.
  mutable std::mutex mutex_;
  std::unordered_map<const Image*, const void*> images_;  // each live image and its pixels
};

}  // namespace tessivo::host
