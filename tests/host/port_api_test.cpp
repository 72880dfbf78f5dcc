#include "host_test_support.h"
#include "tessivo/host/error.h"
#include "tessivo/host/instance.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace tessivo::host {
namespace {

// A control source that notes the thread it is read on.
class ProbeControl : public InputSource {
 public:
  uint32_t valueType() const override { return FourCC("ctrl"); }
  std::string describe() const override { return "probe"; }
  InputValue read(const InputRequest& request) override {
    readOn = std::this_thread::get_id();
    lastTime = request.time;
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

struct Read {
  ValueRecord record{};
  uint8_t done = 0;
  uint8_t present = 0;
  void wait() const {
    while (__atomic_load_n(&done, __ATOMIC_ACQUIRE) == 0) {
    }
  }
};

class PortApiTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle(nullptr, GetParam());
    fader = Instance::create(*bundle, FourCC("fadr"));
    api = fader->portApi();
  }
  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Instance> fader;
  const HostPortApi* api = nullptr;
};

TEST_P(PortApiTest, RequestsAreRefusedOnUnconnectedPortsAndReadsComeBackEmpty) {
  double time = 1.0;
  ValueRecord request{};
  request.type = FourCC("ctrl");
  request.parameter = &time;
  EXPECT_EQ(api->RequestInput(api->cookie, 2, 0, &request), 0u);
  EXPECT_EQ(api->RequestInput(api->cookie, 99, 0, &request), 0u);
  EXPECT_EQ(api->RequestInput(api->cookie, 2, 0, nullptr), 0u);
  Read read;
  read.record.data = &time;
  read.present = 7;
  api->ReadInput(api->cookie, 2, 0, &read.record, &read.done, &read.present);
  read.wait();
  EXPECT_EQ(read.present, 0);
  EXPECT_EQ(read.record.data, nullptr);
  EXPECT_NE(api->CurrentStamp(api->cookie), api->CurrentStamp(api->cookie));
}

TEST_P(PortApiTest, ControlReadDeliversAtTheRequestedTimeOnTheChosenThread) {
  auto probe = std::make_shared<ProbeControl>();
  fader->setInput(2, probe);
  double time = 0.75;
  ValueRecord request{};
  request.type = FourCC("ctrl");
  request.parameter = &time;
  ASSERT_NE(api->RequestInput(api->cookie, 2, 0, &request), 0u);
  time = 99.0;  // the host copied the value when the request was placed
  Read read;
  api->ReadInput(api->cookie, 2, 0, &read.record, &read.done, &read.present);
  read.wait();
  ASSERT_EQ(read.present, 1);
  ASSERT_NE(read.record.data, nullptr);
  EXPECT_EQ(*static_cast<float*>(read.record.data), 1.5f);
  EXPECT_EQ(probe->lastTime, 0.75);
  EXPECT_EQ(probe->readOn != std::this_thread::get_id(), GetParam());
  EXPECT_EQ(api->CancelInput(api->cookie, 2, 0, &request), 1u);
  Read again;
  api->ReadInput(api->cookie, 2, 0, &again.record, &again.done, &again.present);
  again.wait();
  EXPECT_EQ(again.present, 0);
}

TEST_P(PortApiTest, ImagesOfTheWrongSizeAreNotDelivered) {
  fader->setInput(0, std::make_shared<WrongSizeImage>());
  ImageDescriptor want{};
  want.width = 8;
  want.height = 8;
  want.pixelFormat = kGrey8;
  ValueRecord request{};
  request.type = FourCC("imag");
  request.parameter = &want;
  ASSERT_NE(api->RequestInput(api->cookie, 0, 0, &request), 0u);
  Read read;
  api->ReadInput(api->cookie, 0, 0, &read.record, &read.done, &read.present);
  read.wait();
  EXPECT_EQ(read.present, 0);
  EXPECT_EQ(read.record.data, nullptr);
}

TEST_P(PortApiTest, WiringChecksTheValueType) {
  EXPECT_THROW(fader->setInput(0, std::make_shared<ProbeControl>()), HostError);
  EXPECT_THROW(fader->setInput(3, std::make_shared<WrongSizeImage>()), HostError);  // the output
  EXPECT_THROW(fader->setInput(9, nullptr), HostError);
  EXPECT_FALSE(fader->inputConnected(0));
}

INSTANTIATE_TEST_SUITE_P(Delivery, PortApiTest, ::testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Threaded" : "Synchronous"; });

}  // namespace
}  // namespace tessivo::host
