// Reads a fuzz input as a stream of numbers; past its end every read is zero.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

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
  float real() { return std::bit_cast<float>(word()); }
  double wide() {
    const uint64_t high = word();
    return std::bit_cast<double>(high << 32 | word());
  }
  // One of 0 (one byte a pixel), 2 (ARGB8888) or any other number.
  uint32_t pixelFormat() {
    const uint8_t choice = byte() % 4;
    return choice == 0 ? 0 : choice == 3 ? word() : 2;
  }

 private:
  const uint8_t *data_;
  size_t size_;
};

}  // namespace tessivo::fuzz
