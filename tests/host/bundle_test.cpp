#include "host_test_support.h"
#include "tessivo/host/instance.h"

namespace tessivo::host {
namespace {

using testing::errorOf;

TEST(Bundle, LoadsTheRegistryAndRefusesWhatItCannotFind) {
  Recorder recorder;
  {
    auto bundle = testing::loadBundle(&recorder);
    EXPECT_EQ(recorder.functions(), (std::vector<std::string>{"PluginLoad", "RegisterGlobalInfo"}));
    EXPECT_EQ(bundle->category(), "Tessivo");
    EXPECT_EQ(bundle->creator(), FourCC("kqzt"));
    ASSERT_EQ(bundle->modules().size(), 10u);
    EXPECT_EQ(bundle->modules()[3].code, FourCC("fadr"));
    EXPECT_EQ(bundle->moduleName(FourCC("fadr")), "Fader");
    EXPECT_EQ(bundle->findModule(FourCC("dfsn")), nullptr);  // not listed

    recorder.clear();
    const std::string message = errorOf([&] { Instance::create(*bundle, FourCC("zzzz")); });
    EXPECT_NE(message.find("'zzzz'"), std::string::npos) << message;
    EXPECT_NE(message.find("'kqzt'"), std::string::npos) << message;
    const auto errors = bundle->reportedErrors();
    EXPECT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors.at(0).code, FourCC("zzzz"));
    // The factory acquires the bitmap service before it looks at the code.
    const auto names = recorder.functions(FourCC("zzzz"));
    ASSERT_GE(names.size(), 3u);
    EXPECT_EQ(names[1], "AcquireService");
    EXPECT_EQ(names.back(), "ReportError");
    recorder.clear();
  }
  EXPECT_EQ(recorder.functions(), std::vector<std::string>{"PluginUnload"});
  EXPECT_NE(errorOf([] { Bundle::load("/nonexistent/libtessivo.so"); }).find("/nonexistent/libtessivo.so"),
            std::string::npos);
}

TEST(Instance, FaderDescribesItsPortsAndRecords) {
  auto bundle = testing::loadBundle();
  auto fader = Instance::create(*bundle, FourCC("fadr"));
  const auto& ports = fader->ports();
  ASSERT_EQ(ports.size(), 4u);
  EXPECT_TRUE(ports[1].type == FourCC("ddes") && ports[2].longName == "Fade Input" && ports[1].shortName == "On/Off");
  EXPECT_TRUE(ports[3].direction == kPortOutput && fader->outputPort() == 3u);
  EXPECT_EQ(fader->registrationOrder(), (std::vector<uint32_t>{FourCC("iinf"), FourCC("isdl"), FourCC("isav")}));
  EXPECT_TRUE(fader->hasPanel());
  EXPECT_EQ(fader->outputCacheRecord(), nullptr);
  EXPECT_FALSE(fader->save(nullptr));
}

}  // namespace
}  // namespace tessivo::host
