// The base answers of ModuleInstance, reached through ModuleMain's dispatch,
// and the On/Off input handling.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/module_instance.h"
#include "tessivo/test/fake_host.h"

extern "C" uint32_t ModuleMain(HostCall *call);

using tessivo::test::FakeHost;

namespace {

// A minimal module for exercising the base: records which of its own
// operations ran and answers with a distinct value.
class ProbeModule : public tessivo::ModuleInstance {
 public:
  explicit ProbeModule(BitmapService *service) : ModuleInstance(nullptr, nullptr, service) {}
  uint32_t requestInputs(HostCall *, void *) override { return answer("requestInputs", 11); }
  uint32_t cancelInputs(HostCall *, void *) override { return answer("cancelInputs", 12); }
  uint32_t render(HostCall *, void *) override { return answer("render", 13); }
  uint32_t startRendering(HostCall *, void *) override { return answer("startRendering", 14); }
  std::string last;

 private:
  uint32_t answer(const char *name, uint32_t result) {
    last = name;
    return result;
  }
};

uint32_t Send(HostCall &call, int32_t message, void *target) {
  call.message = message;
  call.target = target;
  return ModuleMain(&call);
}

TEST(InstanceBase, DispatchReachesTheRightOperation) {
  FakeHost host;
  ProbeModule module(&host.bitmapService);
  host.call().instance = &module;
  HostEvent event = FakeHost::event(nullptr, 0);
  EXPECT_EQ(Send(host.call(), kOutputRequested, &event), 11u);
  EXPECT_EQ(module.last, "requestInputs");
  EXPECT_EQ(Send(host.call(), kRequestCancelled, &event), 12u);
  EXPECT_EQ(module.last, "cancelInputs");
  EXPECT_EQ(Send(host.call(), kRenderOutput, &event), 13u);
  EXPECT_EQ(module.last, "render");
  EXPECT_EQ(Send(host.call(), kRenderStart, &event), 14u);
  for (int32_t code : {3201, 3202, 3300, 3302}) EXPECT_EQ(Send(host.call(), code, &event), 1u) << code;
  EXPECT_EQ(Send(host.call(), kInputValueArrived, &event), 0u);  // port 0, not On/Off
  EXPECT_FALSE(module.isEnabled());
}

TEST(InstanceBase, ProbeEnableInputRunsWhenNothingCanDeliver) {
  FakeHost host;
  ProbeModule module(&host.bitmapService);
  host.requestResults[1] = 0;
  EXPECT_EQ(module.probeEnableInput(&host.call(), nullptr), 1u);
  EXPECT_TRUE(module.isEnabled());
  ASSERT_EQ(host.log.functions(), (std::vector<std::string>{"CurrentStamp", "RequestInput"}));
  const auto &request = host.log.calls()[1].args;  // port, zero, record, stamp, type, parameter
  EXPECT_EQ(request[0], 1u);
  EXPECT_EQ(request[1], 0u);
  EXPECT_EQ(request[3], 100u);
  EXPECT_EQ(request[4], FourCC("ddes"));
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
