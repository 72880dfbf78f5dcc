// The base answers of ModuleInstance reached through ModuleMain's dispatch,
// the On/Off input handling, and how a read copies its request.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/host_api.h"
#include "tessivo/frame/module_instance.h"
#include "tessivo/test/fake_host.h"

extern "C" uint32_t ModuleMain(HostCall *call);

using namespace tessivo;
using tessivo::test::FakeHost;
using tessivo::test::TestImage;
using Args = std::vector<uintptr_t>;

namespace {

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

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
  EXPECT_EQ((Args{request[0], request[1], request[3], request[4]}),
            (Args{1, 0, 100, FourCC("ddes")}));
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
  HostEvent empty = FakeHost::event(nullptr, 1);
  EXPECT_EQ(module.receiveInput(nullptr, &onOff) + module.receiveInput(nullptr, &empty) +
                module.receiveInput(nullptr, nullptr), 0u);
  EXPECT_FALSE(module.isEnabled());
}

TEST(HostApi, ReadsCopyTheRequestsFirstWordsAndSurviveAMissingReadInput) {
  FakeHost host;
  TestImage input(3, 3, kPixelFormatPlanar8), output(3, 3, kPixelFormatPlanar8);
  ValueRecord request = host.outputRequest(output);
  request.word2 = 22, request.word4 = 44, request.cache = &request;
  host.deliverImage(0, input, FakeHost::Delivery::Later);
  PortRead image, skipped;
  skipped.done = 0;
  ReadPort(&host.call(), 0, request, image);
  SkipPort(skipped);
  WaitUntilRead({&image, &skipped});
  const ValueRecord &copied = image.record;
  EXPECT_EQ((Args{copied.stamp, copied.type, copied.word2, Ptr(copied.parameter), copied.word4}),
            (Args{request.stamp, request.type, 22, Ptr(request.parameter), 44}));
  EXPECT_EQ(copied.cache, nullptr);  // beyond word 4 only what the host filled
  EXPECT_TRUE(image.image() == input.handle() && image.descriptor() == &input.descriptor() && skipped.done == 1);

  host.portApi.ReadInput = nullptr;
  PortRead orphan;
  ReadPort(&host.call(), 0, request, orphan);
  WaitUntilRead({&orphan});
  EXPECT_EQ(orphan.present, 0);
}

}  // namespace
