// The base answers of ModuleInstance, reached through ModuleMain's dispatch,
// and the On/Off input handling.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/module_instance.h"
#include "tessivo/test/fake_host.h"

extern "C" uint32_t ModuleMain(HostCall *call);

using tessivo::test::FakeHost;

namespace {

// A minimal module whose own operations answer distinct values.
class ProbeModule : public tessivo::ModuleInstance {
 public:
  explicit ProbeModule(BitmapService *service) : ModuleInstance(nullptr, nullptr, service) {}
  uint32_t requestInputs(HostCall *, void *) override { return 11; }
  uint32_t cancelInputs(HostCall *, void *) override { return 12; }
  uint32_t render(HostCall *, void *) override { return 13; }
  uint32_t startRendering(HostCall *, void *) override { return 14; }
};

TEST(InstanceBase, DispatchReachesTheRightOperation) {
  FakeHost host;
  ProbeModule module(&host.bitmapService);
  host.call().instance = &module;
  HostEvent event = FakeHost::event(nullptr, 0);
  const std::pair<int32_t, uint32_t> answers[] = {{kOutputRequested, 11}, {kRequestCancelled, 12}, {kRenderOutput, 13},
                                                  {kRenderStart, 14},     {3201, 1},              {3202, 1},
                                                  {3300, 1},              {3302, 1},              {kInputValueArrived, 0}};
  for (const auto &[code, answer] : answers) {
    host.call().message = code;
    host.call().target = &event;
    EXPECT_EQ(ModuleMain(&host.call()), answer) << code;
  }
  EXPECT_FALSE(module.isEnabled());  // port 0 is not On/Off
}

TEST(InstanceBase, ProbeEnableInputRunsWhenNothingCanDeliver) {
  FakeHost host;
  ProbeModule module(&host.bitmapService);
  host.requestResults[1] = 0;
  EXPECT_EQ(module.probeEnableInput(&host.call(), nullptr), 1u);
  EXPECT_TRUE(module.isEnabled());
  ASSERT_EQ(host.log.functions(), (std::vector<std::string>{"CurrentStamp", "RequestInput"}));
  const auto &request = host.log.calls()[1].args;  // port, zero, record, stamp, type, parameter
  EXPECT_EQ((std::vector<uintptr_t>{request[0], request[1], request[3], request[4]}),
            (std::vector<uintptr_t>{1, 0, 100, FourCC("ddes")}));
  EXPECT_NE(request[5], 0u);

  host.requestResults[1] = 1;  // the request was placed: wait for the value
  EXPECT_EQ(module.probeEnableInput(&host.call(), nullptr), 1u);
  EXPECT_FALSE(module.isEnabled());
  host.call().portApi = nullptr;
  EXPECT_EQ(module.probeEnableInput(&host.call(), nullptr), 1u);
  EXPECT_TRUE(module.isEnabled());
}

TEST(InstanceBase, ReceiveInputFollowsThePayloadOnPortOne) {
  ProbeModule module(nullptr);
  uint32_t payload = 1;
  ValueRecord value{};
  value.parameter = &payload;
  HostEvent onOff = FakeHost::event(&value, 1);
  EXPECT_EQ(module.receiveInput(nullptr, &onOff), 1u);
  EXPECT_TRUE(module.isEnabled());

  HostEvent image = FakeHost::event(&value, 0);
  payload = 2;
  EXPECT_EQ(module.receiveInput(nullptr, &image), 0u);
  EXPECT_TRUE(module.isEnabled());  // other ports leave it alone
  EXPECT_EQ(module.receiveInput(nullptr, &onOff), 1u);
  EXPECT_FALSE(module.isEnabled());

  payload = 1;
  value.parameter = nullptr;
  EXPECT_EQ(module.receiveInput(nullptr, &onOff), 0u);
  HostEvent empty = FakeHost::event(nullptr, 1);
  EXPECT_EQ(module.receiveInput(nullptr, &empty), 0u);
  EXPECT_EQ(module.receiveInput(nullptr, nullptr), 0u);
  EXPECT_FALSE(module.isEnabled());
}

}  // namespace
