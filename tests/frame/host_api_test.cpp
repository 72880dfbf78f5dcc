// Requests, reads and bitmap calls as the host receives them.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/host_api.h"
#include "tessivo/test/fake_host.h"

using namespace tessivo;
using tessivo::test::FakeHost;
using tessivo::test::TestImage;
using Args = std::vector<uintptr_t>;

namespace {

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

TEST(HostApi, RequestsCarryTheTimeAndCancelsFollowThePortOrder) {
  FakeHost host;
  TestImage output(4, 2, kPixelFormatARGB8888);
  output.descriptor().time = 2.75;
  ValueRecord request = host.outputRequest(output);
  HostEvent event = FakeHost::event(&request, 3);
  EXPECT_EQ(EventValue(&event), &request);
  EXPECT_EQ(EventPort(&event), 3u);
  EXPECT_EQ(EventValue(nullptr), nullptr);
  EXPECT_EQ(RequestTime(ValueRecord{}), 0.0);  // no parameter

  host.requestResults[2] = 0;
  EXPECT_EQ(RequestImage(&host.call(), 0, &request), 1u);
  double timeSlot = 0;
  EXPECT_EQ(RequestControl(&host.call(), 2, request, &timeSlot), 0u);  // the host's answer
  CancelPorts(&host.call(), &request, {0, 2, 3});
  const auto &calls = host.log.calls();
  ASSERT_EQ(calls.size(), 5u);
  EXPECT_EQ(calls[0].args, (Args{0, 0, Ptr(&request), request.stamp, FourCC("imag"), Ptr(request.parameter)}));
  EXPECT_EQ(calls[1].args, (Args{2, 0, calls[1].args[2], request.stamp, FourCC("ctrl"), Ptr(&timeSlot)}));
  EXPECT_EQ(calls[1].reals, std::vector<double>{2.75});
  EXPECT_EQ(request.type, FourCC("imag"));  // the original request is left as it was
  const uintptr_t ports[] = {0, 2, 3};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(calls[2 + i].function, "CancelInput");
    EXPECT_EQ(calls[2 + i].args, (Args{ports[i], 0, Ptr(&request)}));
  }
}

TEST(HostApi, ReadsCopyTheRequestsFirstWordsAndSurviveAMissingReadInput) {
  FakeHost host;
  TestImage input(3, 3, kPixelFormatPlanar8);
  TestImage output(3, 3, kPixelFormatPlanar8);
  ValueRecord request = host.outputRequest(output);
  request.word2 = 22;
  request.word4 = 44;
  request.cache = &request;
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
  EXPECT_EQ(image.image(), input.handle());
  EXPECT_EQ(image.descriptor(), &input.descriptor());
  EXPECT_EQ(skipped.done, 1);

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
  EXPECT_EQ(LockImage(service, input.handle()), &input.descriptor());
  EXPECT_EQ(ImageStamp(service, input.handle()), input.stamp);
  ImageDescriptor *created = CreateImage(service, output.handle(), &output.descriptor());
  EXPECT_EQ(created, &output.descriptor());
  PrepareDestination(service, created, &output.descriptor());
  const auto prepare = host.log.named("PrepareDestination").at(0);
  EXPECT_EQ(prepare.args, (Args{Ptr(created), Ptr(&output.descriptor()), 0, 0}));
  EXPECT_EQ(prepare.reals, (std::vector<double>{0.0, 0.0, 1.0, 1.0, 1.0}));
  EXPECT_EQ(CopyImage(service, input.handle(), &input.descriptor(), output.handle(), &output.descriptor()), 1u);
  EXPECT_EQ(output.pixel(1, 1), 0x11223344u);

  EXPECT_EQ(LockImage(nullptr, input.handle()), nullptr);
  EXPECT_EQ(CopyImage(nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
  host.bitmapService.CreateImage = nullptr;
  EXPECT_EQ(CreateImage(service, output.handle(), &output.descriptor()), nullptr);
}

}  // namespace
