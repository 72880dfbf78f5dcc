#include "host_test_support.h"
#include "tessivo/host/error.h"
#include "tessivo/host/instance.h"

#include <gtest/gtest.h>

namespace tessivo::host {
namespace {

TEST(Bundle, LoadsAndReadsTheRegistryAndSizeTable) {
  Recorder recorder;
  {
    auto bundle = testing::loadBundle(&recorder);
    EXPECT_EQ(bundle->category(), "Tessivo");
    EXPECT_EQ(bundle->creator(), FourCC("kqzt"));
    ASSERT_NE(bundle->globalInfo(), nullptr);
    EXPECT_EQ(bundle->globalInfo()->kind, FourCC("ginf"));
    const uint32_t expected[] = {FourCC("blur"), FourCC("embs"), FourCC("pixx"), FourCC("fadr"), FourCC("flsh"),
                                 FourCC("iris"), FourCC("lnlz"), FourCC("jshn"), FourCC("strp"), FourCC("kgmi")};
    ASSERT_EQ(bundle->modules().size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(bundle->modules()[i].code, expected[i]);
    EXPECT_EQ(bundle->modules()[0].name, "Blur");
    EXPECT_EQ(bundle->findModule(FourCC("dfsn")), nullptr);
    for (const auto& module : bundle->modules()) EXPECT_EQ(module.boxWidth, 96u) << module.name;
    EXPECT_EQ(bundle->moduleName(FourCC("fadr")), "Fader");
  }
  const auto names = recorder.functions();
  ASSERT_EQ(names.size(), 3u);
  EXPECT_EQ(names[0], "PluginLoad");
  EXPECT_EQ(names[1], "RegisterGlobalInfo");
  EXPECT_EQ(names[2], "PluginUnload");
}

TEST(Bundle, MissingLibraryIsAClearError) {
  try {
    Bundle::load("/nonexistent/libtessivo.so");
    FAIL() << "loading a missing bundle succeeded";
  } catch (const HostError& error) {
    EXPECT_NE(std::string(error.what()).find("/nonexistent/libtessivo.so"), std::string::npos);
  }
}

TEST(Instance, UnknownCodeIsRefusedWithTheReportedError) {
  Recorder recorder;
  auto bundle = testing::loadBundle(&recorder);
  try {
    Instance::create(*bundle, FourCC("zzzz"));
    FAIL() << "an unknown module was created";
  } catch (const HostError& error) {
    EXPECT_NE(std::string(error.what()).find("'zzzz'"), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find("'kqzt'"), std::string::npos) << error.what();
  }
  const auto errors = bundle->reportedErrors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].creator, FourCC("kqzt"));
  EXPECT_EQ(errors[0].code, FourCC("zzzz"));
  // The factory acquires the bitmap service before it looks at the code.
  const auto names = recorder.functions(FourCC("zzzz"));
  ASSERT_GE(names.size(), 3u);
  EXPECT_EQ(names[1], "AcquireService");
  EXPECT_EQ(names.back(), "ReportError");
}

TEST(Instance, UnlistedDiffusionIsCreatedByCode) {
  auto bundle = testing::loadBundle();
  std::unique_ptr<Instance> instance;
  try {
    instance = Instance::create(*bundle, FourCC("dfsn"));
  } catch (const HostError& error) {
    GTEST_SKIP() << "Diffusion is not in this bundle yet: " << error.what();
  }
  EXPECT_EQ(instance->ports().size(), 4u);
  EXPECT_EQ(instance->ports()[2].longName, "Strength Input");
  EXPECT_EQ(instance->name(), "dfsn");
  EXPECT_TRUE(instance->hasPanel());
  EXPECT_FALSE(instance->hasParameters());  // its 'iprm' record carries no callbacks
  EXPECT_EQ(instance->getParameter(CFSTR("Strength")), nullptr);
}

TEST(Instance, FaderDescribesItsPortsAndRecords) {
  auto bundle = testing::loadBundle();
  auto fader = Instance::create(*bundle, FourCC("fadr"));
  ASSERT_NE(fader->descriptor(), nullptr);
  EXPECT_EQ(fader->descriptor()->code, FourCC("fadr"));
  const auto& ports = fader->ports();
  ASSERT_EQ(ports.size(), 4u);
  EXPECT_EQ(ports[0].type, FourCC("imag"));
  EXPECT_EQ(ports[1].type, FourCC("ddes"));
  EXPECT_EQ(ports[1].shortName, "On/Off");
  EXPECT_EQ(ports[2].type, FourCC("ctrl"));
  EXPECT_EQ(ports[2].longName, "Fade Input");
  EXPECT_EQ(ports[3].direction, static_cast<uint32_t>(kPortOutput));
  EXPECT_EQ(ports[3].x, 81);
  EXPECT_EQ(fader->outputPort(), 3u);
  const std::vector<uint32_t> order = {FourCC("iinf"), FourCC("isdl"), FourCC("isav")};
  EXPECT_EQ(fader->registrationOrder(), order);
  EXPECT_TRUE(fader->hasPanel());
  EXPECT_EQ(fader->outputCacheRecord(), nullptr);
  EXPECT_FALSE(fader->save(nullptr));
}

}  // namespace
}  // namespace tessivo::host
