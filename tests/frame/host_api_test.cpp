// Requests, reads and bitmap calls as the host receives them.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/host_api.h"
#include "tessivo/test/fake_host.h"

using namespace tessivo;
using tessivo::test::FakeHost;
using tessivo::test::TestImage;

namespace {

TEST(HostApi, RequestsCarryTheTimeAndCancelsFollowThePortOrder) {
  FakeHost host;
  TestImage output(4, 2, kPixelFormatARGB8888);
  output.descriptor().time = 2.75;
  ValueRecord request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request, 3);
  EXPECT_EQ(EventValue(&event), &request);
  EXPECT_EQ(EventPort(&event), 3u);
  EXPECT_EQ(EventValue(nullptr), nullptr);
  EXPECT_EQ(RequestTime(request), 2.75);
  ValueRecord noParameter{};
  EXPECT_EQ(RequestTime(noParameter), 0.0);

  host.requestResults[2] = 0;
  EXPECT_EQ(RequestImage(&host.call(), 0, &request), 1u);
  double timeSlot = 0;
  EXPECT_EQ(RequestControl(&host.call(), 2, request, &timeSlot), 0u);
  CancelPorts(&host.call(), &request, {0, 2, 3});
  ASSERT_EQ(host.log.functions(),
            (std::vector<std::string>{"RequestInput", "RequestInput", "CancelInput", "CancelInput", "CancelInput"}));
  const auto &image = host.log.calls()[0].args;
  EXPECT_EQ(image[2], reinterpret_cast<uintptr_t>(&request));
  const auto &control = host.log.calls()[1];
  EXPECT_EQ(control.args[0], 2u);
  EXPECT_EQ(control.args[3], request.stamp);
  EXPECT_EQ(control.args[4], FourCC("ctrl"));
  EXPECT_EQ(control.args[5], reinterpret_cast<uintptr_t>(&timeSlot));
  EXPECT_EQ(control.reals, std::vector<double>{2.75});
  EXPECT_EQ(request.type, FourCC("imag"));  // the original request is left as it was
  for (int i = 0; i < 3; ++i) EXPECT_EQ(host.log.calls()[2 + i].args[2], reinterpret_cast<uintptr_t>(&request));
  EXPECT_EQ(host.log.calls()[4].args[0], 3u);
}

TEST(HostApi, ReadsSynchronousAndFromAnotherThread) {
  FakeHost host;
  TestImage input(3, 3, kPixelFormatPlanar8);
  TestImage output(3, 3, kPixelFormatPlanar8);
  ValueRecord request = host.outputRequest(output);
  request.word2 = 22;
  request.word4 = 44;
  host.deliverImage(0, input);
  host.deliverControl(2, 0.75f, FakeHost::Delivery::Later);
  host.deliverEmptyControl(3, FakeHost::Delivery::Later);

  PortRead image, control, empty, missing, skipped;
  skipped.done = 0;
  ReadPort(&host.call(), 0, request, image);
  ReadPort(&host.call(), 2, request, control);
  ReadPort(&host.call(), 3, request, empty);
  ReadPort(&host.call(), 4, request, missing);
  SkipPort(skipped);
  WaitUntilRead({&image, &control, &empty, &missing, &skipped});

  const ValueRecord &copied = image.record;
  EXPECT_EQ(copied.stamp, request.stamp);
  EXPECT_EQ(copied.type, request.type);
  EXPECT_EQ(copied.word2, 22u);
  EXPECT_EQ(copied.parameter, request.parameter);
  EXPECT_EQ(copied.word4, 44u);
  EXPECT_EQ(copied.cache, nullptr);  // beyond word 4 only what the host filled
  EXPECT_EQ(image.image(), input.handle());
  EXPECT_EQ(image.descriptor(), &input.descriptor());
  EXPECT_EQ(control.control(), std::optional<float>(0.75f));
  EXPECT_EQ(empty.present, 1);
  EXPECT_EQ(empty.control(), std::nullopt);  // present without a value counts as absent
  EXPECT_EQ(missing.present, 0);
  EXPECT_EQ(missing.control(), std::nullopt);
  EXPECT_EQ(skipped.done, 1);

  // A host without ReadInput cannot leave the wait hanging.
  host.portApi.ReadInput = nullptr;
  PortRead orphan;
  ReadPort(&host.call(), 0, request, orphan);
  WaitUntilRead({&orphan});
  EXPECT_EQ(orphan.present, 0);
}

TEST(HostApi, BitmapCallsPassTheirArguments) {
  FakeHost host;
  TestImage input(2, 2, kPixelFormatARGB8888);
  TestImage output(2, 2, kPixelFormatARGB8888);
  input.setPixel(1, 1, 0x11223344u);
  const BitmapService *service = &host.bitmapService;
  ImageDescriptor *locked = LockImage(service, input.handle());
  EXPECT_EQ(locked, &input.descriptor());
  EXPECT_EQ(ImageStamp(service, input.handle()), input.stamp);
  ImageDescriptor *created = CreateImage(service, output.handle(), &output.descriptor());
  EXPECT_EQ(created, &output.descriptor());
  PrepareDestination(service, created, &output.descriptor());
  const auto prepare = host.log.named("PrepareDestination").at(0);
  EXPECT_EQ(prepare.args, (std::vector<uintptr_t>{reinterpret_cast<uintptr_t>(created),
                                                  reinterpret_cast<uintptr_t>(&output.descriptor()), 0, 0}));
  EXPECT_EQ(prepare.reals, (std::vector<double>{0.0, 0.0, 1.0, 1.0, 1.0}));
  EXPECT_EQ(CopyImage(service, input.handle(), &input.descriptor(), output.handle(), &output.descriptor()), 1u);
  EXPECT_EQ(output.pixel(1, 1), 0x11223344u);
  EXPECT_TRUE(output.paddingIntact());

  EXPECT_EQ(LockImage(nullptr, input.handle()), nullptr);
  EXPECT_EQ(CopyImage(nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
  host.bitmapService.CreateImage = nullptr;
  EXPECT_EQ(CreateImage(service, output.handle(), &output.descriptor()), nullptr);
}

}  // namespace
