// Reads a fuzz input as a stream of numbers; past its end every read is zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tessivo::fuzz {

class FuzzInput {
 public:
  FuzzInput(const uint8_t *data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  uint8_t byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  uint32_t word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
  }
  // Any bit pattern: NaNs, infinities and denormals included.
  float real() {
    const uint32_t bits = word();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  double wide() {
    const uint64_t bits = uint64_t{word()} << 32 | word();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  // One of 0 (one byte a pixel), 2 (ARGB8888) or any other number.
  uint32_t pixelFormat() {
    switch (byte() % 4) {
      case 0: return 0;
      case 3: return word();
      default: return 2;
    }
  }

 private:
  const uint8_t *data_;
  size_t size_;
};

}  // namespace tessivo::fuzz
