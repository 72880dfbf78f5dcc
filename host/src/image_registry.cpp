#include "image_registry.h"

namespace tessivo::host {

ImageRegistry& ImageRegistry::instance() {
  static ImageRegistry registry;
  return registry;
}

void ImageRegistry::add(Image* image) {
  std::lock_guard lock(mutex_);
  images_.insert(image);
}

void ImageRegistry::remove(Image* image) {
  std::lock_guard lock(mutex_);
  images_.erase(image);
}

Image* ImageRegistry::find(const Image* image) const {
  if (image == nullptr) return nullptr;
  std::lock_guard lock(mutex_);
  return images_.count(image) != 0 ? const_cast<Image*>(image) : nullptr;
}

Image* ImageRegistry::findByPixels(const void* pixels) const {
  if (pixels == nullptr) return nullptr;
  std::lock_guard lock(mutex_);
  for (const Image* image : images_)
    if (!image->empty() && image->data() == pixels) return const_cast<Image*>(image);
  return nullptr;
}

void ImageRegistry::transfer(std::vector<uint8_t>& from, std::vector<uint8_t>& to) {
  std::lock_guard lock(mutex_);
  to.swap(from);
  from.clear();
  from.shrink_to_fit();
}

}  // namespace tessivo::host
