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
    EXPECT_TRUE(bundle->category() == "Tessivo" && bundle->creator() == FourCC("kqzt"));
    ASSERT_EQ(bundle->modules().size(), 10u);
    EXPECT_TRUE(bundle->modules()[3].code == FourCC("fadr") && bundle->moduleName(FourCC("fadr")) == "Fader");
    EXPECT_EQ(bundle->findModule(FourCC("dfsn")), nullptr);  // not listed

    recorder.clear();
    const std::string message = errorOf([&] { Instance::create(*bundle, FourCC("zzzz")); });
    EXPECT_TRUE(message.find("'zzzz'") != std::string::npos && message.find("'kqzt'") != std::string::npos) << message;
    EXPECT_TRUE(bundle->reportedErrors().size() == 1u && bundle->reportedErrors()[0].code == FourCC("zzzz"));
    recorder.clear();

    const auto fader = Instance::create(*bundle, FourCC("fadr"));
    const auto& ports = fader->ports();
    ASSERT_EQ(ports.size(), 4u);
    EXPECT_TRUE(ports[1].type == FourCC("ddes") && ports[2].longName == "Fade Input" && ports[1].shortName == "On/Off");
    EXPECT_TRUE(ports[3].direction == kPortOutput && fader->outputPort() == 3u);
    EXPECT_EQ(fader->registrationOrder(), (std::vector<uint32_t>{FourCC("iinf"), FourCC("isdl"), FourCC("isav")}));
    EXPECT_TRUE(fader->hasPanel() && fader->outputCacheRecord() == nullptr && !fader->save(nullptr));
  }
  EXPECT_EQ(recorder.functions().back(), "PluginUnload");
  EXPECT_NE(errorOf([] { Bundle::load("/nonexistent/libtessivo.so"); }).find("/nonexistent/libtessivo.so"),
            std::string::npos);
}

}  // namespace
}  // namespace tessivo::host
