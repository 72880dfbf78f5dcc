#include "host_test_support.h"
#include "tessivo/host/instance.h"

#include <cstring>
#include <thread>

namespace tessivo::host {
namespace {

// A control source that notes the thread it is read on.
class ProbeControl : public InputSource {
 public:
  uint32_t valueType() const override { return FourCC("ctrl"); }
  std::string describe() const override { return "probe"; }
  InputValue read(const InputRequest& request) override {
    readOn = std::this_thread::get_id(), lastTime = request.time;
    return InputValue{nullptr, static_cast<float>(request.time * 2.0), std::nullopt};
  }
  std::thread::id readOn;
  double lastTime = 0.0;
};

class WrongSizeImage : public InputSource {
 public:
  uint32_t valueType() const override { return FourCC("imag"); }
  std::string describe() const override { return "wrong size"; }
  InputValue read(const InputRequest&) override { return InputValue{std::make_shared<Image>(1, 1, kGrey8), {}, {}}; }
};

class OnOff : public InputSource {
 public:
  uint32_t valueType() const override { return FourCC("ddes"); }
  std::string describe() const override { return "on"; }
  InputValue read(const InputRequest&) override { return InputValue{nullptr, std::nullopt, true}; }
};

// Runs on both delivery modes: synchronous and on the host's own thread.
class PortApiTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle(nullptr, GetParam());
    fader = Instance::create(*bundle, FourCC("fadr"));
    api = fader->portApi();
  }
  // Places a request on `port`; 0 when refused.
  uint32_t request(uint32_t port, uint32_t type, void* parameter) {
    ValueRecord record{};
    record.type = type, record.parameter = parameter;
    return api->RequestInput(api->cookie, port, 0, &record);
  }
  // Reads `port` and waits for delivery; the value when present, else nullptr.
  void* read(uint32_t port) {
    ValueRecord record{};
    uint8_t done = 0, present = 7;
    record.data = &present;
    api->ReadInput(api->cookie, port, 0, &record, &done, &present);
    while (__atomic_load_n(&done, __ATOMIC_ACQUIRE) == 0) {
    }
    EXPECT_EQ(present != 0, record.data != nullptr);
    return present ? record.data : nullptr;
  }
  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Instance> fader;
  const HostPortApi* api = nullptr;
};

TEST_P(PortApiTest, UnconnectedPortsRefuseRequestsAndReadEmpty) {
  double time = 1.0;
  EXPECT_FALSE(request(2, FourCC("ctrl"), &time) || request(99, FourCC("ctrl"), &time) ||
               api->RequestInput(api->cookie, 2, 0, nullptr));
  EXPECT_EQ(read(2), nullptr);
  EXPECT_NE(api->CurrentStamp(api->cookie), api->CurrentStamp(api->cookie));
  // Wiring checks the value type and the port.
  EXPECT_THROW(fader->setInput(0, std::make_shared<ProbeControl>()), HostError);
  EXPECT_THROW(fader->setInput(3, std::make_shared<WrongSizeImage>()), HostError);  // the output
  EXPECT_THROW(fader->setInput(9, nullptr), HostError);
  EXPECT_FALSE(fader->inputConnected(0));
}

TEST_P(PortApiTest, ReadsDeliverWhatWasRequestedOnTheChosenThread) {
  auto probe = std::make_shared<ProbeControl>();
  fader->setInput(2, probe);
  double time = 0.75;
  ValueRecord placed{};
  placed.type = FourCC("ctrl"), placed.parameter = &time;
  ASSERT_NE(api->RequestInput(api->cookie, 2, 0, &placed), 0u);
  time = 99.0;  // the host copied the value when the request was placed
  const void* value = read(2);
  ASSERT_TRUE(value != nullptr && *static_cast<const float*>(value) == 1.5f && probe->lastTime == 0.75);
  EXPECT_EQ(probe->readOn != std::this_thread::get_id(), GetParam());
  EXPECT_TRUE(api->CancelInput(api->cookie, 2, 0, &placed) == 1u && read(2) == nullptr);

  // An image of the wrong size is not delivered.
  fader->setInput(0, std::make_shared<WrongSizeImage>());
  ImageDescriptor want{};
  want.width = want.height = 8, want.pixelFormat = kGrey8;
  EXPECT_TRUE(request(0, FourCC("imag"), &want) != 0u && read(0) == nullptr);
}

// A request may live on the module's stack, as the On/Off probe's does: the
// host serves it from its own copy, never through the module's record or scratch.
TEST_P(PortApiTest, ARequestsRecordMayGoOnceItIsPlaced) {
  fader->setInput(1, std::make_shared<OnOff>());
  uint64_t scratch = 0;
  ValueRecord placed{};
  placed.type = FourCC("ddes"), placed.parameter = &scratch;
  ASSERT_NE(api->RequestInput(api->cookie, 1, 0, &placed), 0u);
  std::memset(&placed, 0xEE, sizeof placed);  // the caller's frame is gone
  const void* value = read(1);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(std::pair(*static_cast<const uint32_t*>(value), scratch), std::pair(1u, uint64_t{0}));
}

INSTANTIATE_TEST_SUITE_P(Delivery, PortApiTest, ::testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Threaded" : "Synchronous"; });

}  // namespace
}  // namespace tessivo::host
