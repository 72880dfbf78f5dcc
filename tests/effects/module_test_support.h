// What the module tests share: one instance in the fake host with the steps
// every test takes, and padded frames of bytes or words for the kernel tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tessivo/frame/module_codes.h"
#include "tessivo/test/fake_host.h"

namespace tessivo::test {

using Strings = std::vector<std::string>;
using Args = std::vector<uintptr_t>;
// A registration record's header: kind, owner, version, count.
using RecordKey = std::tuple<uint32_t, uint32_t, uint16_t, uint16_t>;

inline uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

template <uint32_t kCode>
class ModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    host.load();
    ASSERT_EQ(host.create(kCode), 1u);
    records_ = host.registeredRecords();  // kept: the log is cleared before each render
  }
  void TearDown() override { host.destroy(), host.unload(); }

  // Nothing can deliver On/Off, so the module runs.
  void enable() {
    host.requestResults[1] = 0;
    HostEvent event = FakeHost::event(nullptr);
    host.send(kInputsConnected, &event);
  }
  // A value arriving on the On/Off input.
  void setEnabled(bool on) {
    uint32_t value = on ? 1 : 0;
    ValueRecord arrived{};
    arrived.parameter = &value;
    HostEvent event = FakeHost::event(&arrived, 1);
    ASSERT_EQ(host.send(kInputValueArrived, &event), 1u);
  }
  // Renders into output with a fresh request, the log cleared first.
  uint32_t render(TestImage &output) {
    host.log.clear();
    request = host.outputRequest(output);
    return send(kRenderOutput);
  }
  // Sends a render-time message about the current request.
  uint32_t send(int32_t message) {
    HostEvent event = FakeHost::event(&request);
    return host.send(message, &event);
  }

  template <typename Record>
  const Record &registered(size_t index) const {
    return *reinterpret_cast<const Record *>(records_.at(index));
  }
  std::vector<RecordKey> recordKeys() const {
    std::vector<RecordKey> keys;
    for (const RecordHeader *record : records_) keys.emplace_back(record->kind, record->owner, record->version, record->count);
    return keys;
  }

  FakeHost host;
  ValueRecord request{};

 private:
  std::vector<const RecordHeader *> records_;
};

// A frame of bytes or words padded like a host's; the padding is random too,
// so stray writes show. Rows step by whole pixels.
struct PaddedFrame {
  uint32_t width, height, rowBytes, pixelBytes;
  std::vector<uint8_t> bytes;

  PaddedFrame(uint32_t w, uint32_t h, uint32_t pixelBytesIn, uint32_t padding, uint32_t seed)
      : width(w), height(h), rowBytes(w * pixelBytesIn + padding), pixelBytes(pixelBytesIn), bytes(rowBytes * h) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return rowBytes / pixelBytes * pixelBytes; }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[y * stride() + x * pixelBytes], pixelBytes);
    return value;
  }
  void setPixel(uint32_t x, uint32_t y, uint32_t value) {
    std::memcpy(&bytes[y * stride() + x * pixelBytes], &value, pixelBytes);
  }
  // True when every byte past the pixels of each row is as in before.
  bool paddingAsIn(const PaddedFrame &before) const {
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t i = y * stride() + width * pixelBytes; i < (y + 1) * stride(); ++i)
        if (bytes[i] != before.bytes[i]) return false;
    return true;
  }
};

}  // namespace tessivo::test
