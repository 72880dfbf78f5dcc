// The frei0r filters driven through their entry points in this process, checked
// against the same module run by the host library's graph.
extern "C" {
#include <frei0r.h>
}

#include "filter_class.h"

#include <tessivo/host/graph.h>
#include <tessivo/host/image.h>
#include <tessivo/host/module_discovery.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace tessivo::frei0r {
namespace {

// One filter library and its entry points.
struct Filter {
  explicit Filter(const std::string &module) {
    library = dlopen((std::string(TESSIVO_FREI0R_DIR) + "/tessivo_" + module + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return;
    init = reinterpret_cast<decltype(init)>(dlsym(library, "f0r_init"));
    pluginInfo = reinterpret_cast<decltype(pluginInfo)>(dlsym(library, "f0r_get_plugin_info"));
    paramInfo = reinterpret_cast<decltype(paramInfo)>(dlsym(library, "f0r_get_param_info"));
    construct = reinterpret_cast<decltype(construct)>(dlsym(library, "f0r_construct"));
    destruct = reinterpret_cast<decltype(destruct)>(dlsym(library, "f0r_destruct"));
    setParam = reinterpret_cast<decltype(setParam)>(dlsym(library, "f0r_set_param_value"));
    getParam = reinterpret_cast<decltype(getParam)>(dlsym(library, "f0r_get_param_value"));
    update = reinterpret_cast<decltype(update)>(dlsym(library, "f0r_update"));
  }
  ~Filter() {
    if (library != nullptr) dlclose(library);
  }
  void setNumber(f0r_instance_t instance, int index, double value) const { setParam(instance, &value, index); }
  double number(f0r_instance_t instance, int index) const {
    double value = -1.0;
    getParam(instance, &value, index);
    return value;
  }

  void *library = nullptr;
  int (*init)() = nullptr;
  void (*pluginInfo)(f0r_plugin_info_t *) = nullptr;
  void (*paramInfo)(f0r_param_info_t *, int) = nullptr;
  f0r_instance_t (*construct)(unsigned, unsigned) = nullptr;
  void (*destruct)(f0r_instance_t) = nullptr;
  void (*setParam)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*getParam)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*update)(f0r_instance_t, double, const uint32_t *, uint32_t *) = nullptr;
};

constexpr uint32_t kWidth = 37, kHeight = 23;

std::vector<uint32_t> randomFrame() {
  std::mt19937 random(7);
  std::vector<uint32_t> frame(size_t{kWidth} * kHeight);
  for (uint32_t &pixel : frame) pixel = static_cast<uint32_t>(random());
  return frame;
}

// The module run by a host graph on the same frame: controls wired as given
// (port index -> value), settings given as "KEY=VALUE".
std::vector<uint32_t> graphRender(const std::string &module, const std::vector<uint32_t> &frame,
                                  const std::vector<std::pair<uint32_t, float>> &controls,
                                  const std::vector<std::string> &settings = {}) {
  const FilterClass *filter = FilterClass::find(module);
  host::Graph graph(filter->bundle());
  host::Image image(kWidth, kHeight, host::kARGB32);
  for (uint32_t y = 0; y < kHeight; ++y)
    std::memcpy(image.mutableRow(y), frame.data() + size_t{y} * kWidth, size_t{kWidth} * 4);
  const host::NodeId still = graph.addStill(std::move(image));
  const host::NodeId node = graph.addModule(filter->code());
  graph.connect(still, node, 0);
  for (const auto &[port, value] : controls) graph.connect(graph.addConstant(value), node, port);
  host::Instance &instance = graph.instance(node);
  for (const std::string &setting : settings) {
    const host::SettingsDescription description = host::describeSettings(instance);
    host::applySetting(instance, description,
                       host::parseSettingAssignment(setting, description, host::describePanel(instance)));
  }
  const auto result = graph.renderFrame(node, 0.0, kWidth, kHeight, host::kARGB32);
  std::vector<uint32_t> pixels(frame.size());
  for (uint32_t y = 0; y < kHeight; ++y)
    std::memcpy(pixels.data() + size_t{y} * kWidth, result->row(y), size_t{kWidth} * 4);
  return pixels;
}

std::vector<uint32_t> filterRender(const Filter &filter, f0r_instance_t instance, const std::vector<uint32_t> &frame) {
  std::vector<uint32_t> output(frame.size(), 0xDEADBEEFu);
  filter.update(instance, 0.0, frame.data(), output.data());
  return output;
}

TEST(Frei0rFilter, ParametersComeFromTheModulesPortsSettingsAndPanel) {
  struct Expected {
    std::string module;
    std::vector<std::pair<std::string, int>> parameters;
  };
  const Expected cases[] = {
      {"pixxicato",
       {{"X Controller", F0R_PARAM_DOUBLE}, {"Y Controller", F0R_PARAM_DOUBLE}, {"Enable Input", F0R_PARAM_BOOL},
        {"Mode", F0R_PARAM_DOUBLE}, {"X Controller wired", F0R_PARAM_BOOL}, {"Y Controller wired", F0R_PARAM_BOOL}}},
      {"fader",
       {{"Fade Input", F0R_PARAM_DOUBLE}, {"Enable Input", F0R_PARAM_BOOL}, {"Fade Color", F0R_PARAM_COLOR},
        {"Fade Color alpha", F0R_PARAM_DOUBLE}, {"Fade Input wired", F0R_PARAM_BOOL}}},
  };
  for (const Expected &expected : cases) {
    SCOPED_TRACE(expected.module);
    const Filter filter(expected.module);
    ASSERT_NE(filter.library, nullptr) << dlerror();
    EXPECT_EQ(filter.init(), 1);
    f0r_plugin_info_t info{};
    filter.pluginInfo(&info);
    EXPECT_EQ(std::string(info.name), "tessivo_" + expected.module);
    EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_BGRA8888);
    EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
    ASSERT_EQ(info.num_params, static_cast<int>(expected.parameters.size()));
    for (int i = 0; i < info.num_params; ++i) {
      f0r_param_info_t parameter{};
      filter.paramInfo(&parameter, i);
      EXPECT_EQ(std::string(parameter.name), expected.parameters[static_cast<size_t>(i)].first);
      EXPECT_EQ(parameter.type, expected.parameters[static_cast<size_t>(i)].second);
    }
  }
}

TEST(Frei0rFilter, ControlsAreWiredByValueOrFlagAndFramesMatchTheHost) {
  const Filter filter("pixxicato");
  ASSERT_NE(filter.library, nullptr) << dlerror();
  f0r_instance_t instance = filter.construct(kWidth, kHeight);
  ASSERT_NE(instance, nullptr);
  const std::vector<uint32_t> frame = randomFrame();
  constexpr int kX = 0, kOnOff = 2, kMode = 3, kXWired = 4;
  constexpr uint32_t kXPort = 2;

  EXPECT_EQ(filterRender(filter, instance, frame), graphRender("pixxicato", frame, {}));  // nothing wired
  filter.setNumber(instance, kXWired, 1.0);
  EXPECT_EQ(filterRender(filter, instance, frame), graphRender("pixxicato", frame, {{kXPort, 0.5f}}));
  filter.setNumber(instance, kXWired, 0.0);
  filter.setNumber(instance, kX, 0.2);
  EXPECT_EQ(filterRender(filter, instance, frame), graphRender("pixxicato", frame, {{kXPort, 0.2f}}));
  filter.setNumber(instance, kX, 0.5);  // back at the default and not flagged: unwired
  EXPECT_EQ(filterRender(filter, instance, frame), graphRender("pixxicato", frame, {}));

  filter.setNumber(instance, kMode, 0.65);  // the nearest of five entries: index 3
  EXPECT_EQ(filter.number(instance, kMode), 0.75);
  EXPECT_EQ(filterRender(filter, instance, frame), graphRender("pixxicato", frame, {}, {"Mode=Maximum"}));

  filter.setNumber(instance, kOnOff, 0.0);
  EXPECT_EQ(filterRender(filter, instance, frame), frame);
  EXPECT_EQ(filter.number(instance, kOnOff), 0.0);
  filter.destruct(instance);
}

TEST(Frei0rFilter, PackedColourSettingTravelsAsColourAndAlpha) {
  const Filter filter("fader");
  ASSERT_NE(filter.library, nullptr) << dlerror();
  f0r_instance_t instance = filter.construct(kWidth, kHeight);
  ASSERT_NE(instance, nullptr);
  constexpr int kFade = 0, kColor = 2, kAlpha = 3;
  f0r_param_color_t color{1.0f, 0.5f, 0.0f};
  filter.setParam(instance, &color, kColor);
  filter.setNumber(instance, kAlpha, 0.25);
  filter.setNumber(instance, kFade, 0.7);
  f0r_param_color_t back{};
  filter.getParam(instance, &back, kColor);
  // The host's colour conversion truncates: 0.5 is byte 127, 0.25 is 63.
  EXPECT_EQ(std::lround(back.r * 255), 255);
  EXPECT_EQ(std::lround(back.g * 255), 127);
  EXPECT_EQ(std::lround(back.b * 255), 0);
  EXPECT_EQ(std::lround(filter.number(instance, kAlpha) * 255), 63);
  const std::vector<uint32_t> frame = randomFrame();
  EXPECT_EQ(filterRender(filter, instance, frame),
            graphRender("fader", frame, {{2, 0.7f}}, {"Fade Color=" + std::to_string(0x3FFF7F00u)}));
  filter.destruct(instance);
}

TEST(Frei0rFilter, CallsOutsideTheTablesChangeNothing) {
  const Filter filter("fader");
  ASSERT_NE(filter.library, nullptr) << dlerror();
  f0r_instance_t instance = filter.construct(kWidth, kHeight);
  ASSERT_NE(instance, nullptr);
  f0r_param_info_t info{"untouched", 99, nullptr};
  for (const int index : {-1, 5, 1 << 30}) {
    filter.paramInfo(&info, index);
    filter.setNumber(instance, index, 0.9);
    EXPECT_EQ(filter.number(instance, index), -1.0);
  }
  EXPECT_EQ(info.type, 99);
  filter.setParam(instance, nullptr, 0);
  filter.setParam(nullptr, nullptr, 0);
  const std::vector<uint32_t> frame = randomFrame();
  filter.update(nullptr, 0.0, frame.data(), nullptr);
  EXPECT_EQ(filter.number(instance, 0), 0.5);
  filter.destruct(instance);
}

}  // namespace
}  // namespace tessivo::frei0r
