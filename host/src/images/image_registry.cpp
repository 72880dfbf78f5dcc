#include "images/image_registry.h"

namespace tessivo::host {

ImageRegistry& ImageRegistry::instance() {
  static ImageRegistry registry;
  return registry;
}

namespace {

const void* addressOf(const std::vector<uint8_t>& pixels) { return pixels.empty() ? nullptr : pixels.data(); }

}  // namespace

void ImageRegistry::add(const Image* image, const void* pixels) {
  std::lock_guard lock(mutex_);
  images_[image] = pixels;
}

void ImageRegistry::remove(const Image* image) {
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
  for (const auto& [image, address] : images_)
    if (address == pixels) return const_cast<Image*>(image);
  return nullptr;
}

void ImageRegistry::transfer(const Image* fromImage, std::vector<uint8_t>& from, const Image* toImage,
                             std::vector<uint8_t>& to) {
  std::lock_guard lock(mutex_);
  to.swap(from);
  from.clear();
  from.shrink_to_fit();
  if (fromImage != nullptr && images_.contains(fromImage)) images_[fromImage] = nullptr;
  if (toImage != nullptr && images_.contains(toImage)) images_[toImage] = addressOf(to);
}

}  // namespace tessivo::host
