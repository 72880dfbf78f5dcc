// InstanceCreate and InstanceDestroy through the factory.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/test/fake_host.h"

using tessivo::test::FakeHost;

namespace {

constexpr uint32_t kUnknown = FourCC("zzzz");

TEST(Factory, AcquiresTheBitmapServiceFirst) {
  FakeHost host;
  host.classRecord.descriptor = reinterpret_cast<const ModuleClassDescriptor *>(&host);  // must stay untouched
  EXPECT_EQ(host.create(kUnknown), 0u);
  ASSERT_GE(host.log.calls().size(), 1u);
  const auto &acquire = host.log.calls()[0];
  EXPECT_EQ(acquire.function, "AcquireService");
  EXPECT_EQ(acquire.args, (std::vector<uintptr_t>{FourCC("sapi"), FourCC("bmsv"), 5, 1}));
  EXPECT_EQ(host.classRecord.descriptor, reinterpret_cast<const ModuleClassDescriptor *>(&host));
}

TEST(Factory, UnknownCodeIsReportedWhenTheHostCanBeTold) {
  FakeHost host;
  host.call().instance = &host;  // overwritten with the null result
  EXPECT_EQ(host.create(kUnknown), 0u);
  EXPECT_EQ(host.call().instance, nullptr);
  ASSERT_EQ(host.log.count("ReportError"), 1u);
  EXPECT_EQ(host.log.named("ReportError")[0].args,
            (std::vector<uintptr_t>{FourCC("kqzt"), kUnknown, 0, 0, 0}));

  FakeHost silent;
  silent.removeReportError();
  EXPECT_EQ(silent.create(kUnknown), 0u);
  EXPECT_EQ(silent.log.functions(), std::vector<std::string>{"AcquireService"});

  FakeHost noTable;
  noTable.removeErrorTable();
  EXPECT_EQ(noTable.create(kUnknown), 0u);
  EXPECT_EQ(noTable.log.functions(), std::vector<std::string>{"AcquireService"});
}

TEST(Factory, NoBitmapServiceMeansNoInstanceAndNoReport) {
  FakeHost host;
  host.offerBitmapService = false;
  EXPECT_EQ(host.create(FourCC("fadr")), 0u);
  EXPECT_EQ(host.call().instance, nullptr);
  EXPECT_EQ(host.log.functions(), std::vector<std::string>{"AcquireService"});

  FakeHost noServices;
  noServices.call().serviceTable = nullptr;
  EXPECT_EQ(noServices.create(FourCC("fadr")), 0u);
}

TEST(Factory, BuildsFaderAndDestroysIt) {
  FakeHost host;
  ASSERT_EQ(host.create(FourCC("fadr")), 1u);
  EXPECT_NE(host.call().instance, nullptr);
  EXPECT_EQ(host.log.count("ReportError"), 0u);
  ASSERT_NE(host.classRecord.descriptor, nullptr);
  EXPECT_EQ(host.classRecord.descriptor->code, FourCC("fadr"));
  EXPECT_EQ(host.classRecord.descriptor->portCount, 4u);
  EXPECT_EQ(host.destroy(), 1u);
  EXPECT_EQ(host.call().instance, nullptr);
}

}  // namespace
