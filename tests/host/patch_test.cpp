// Patches: saved and loaded again they render the same frames; a hand-edited
// patch with errors is refused with the node, the field and what was expected.
#include "host_test_support.h"
#include "tessivo/host/graph.h"
#include "tessivo/host/image_file.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/patch.h"

#include <gmock/gmock.h>

namespace tessivo::host {
namespace {

using nlohmann::json;

class PatchTest : public ::testing::Test {
 protected:
  // scene -> Fader (fade driven by an expression) -> Emboss (Stonify), plus an unwired still.
  Patch twoModules() {
    Patch patch;
    patch.add(newSourceNode("scene", PatchNodeKind::TestScene));
    patch.add(newModuleNode(*bundle, FourCC("fadr"), "fade"));
    patch.add(newModuleNode(*bundle, FourCC("embs"), "emboss"));
    patch.add(newControlNode("amount", "0.25 + 0.5*ramp(t, 0, 2)"));
    patch.add(newSourceNode("logo", PatchNodeKind::Still, "logo.png")).position = std::pair(10.0, -2.5);
    patch.connect("scene", "fade", "In");
    patch.connect("amount", "fade", "2");
    patch.connect("fade", "emboss", "0");
    setNodeSetting(patch, *bundle, "emboss", "Effect=Stonify");
    setNodeSetting(patch, *bundle, "fade", "Fade Color=#336699");
    return patch;
  }

  std::vector<Image> frames(const Patch& patch) {
    Graph graph(*bundle);
    const PatchGraph built = buildPatchGraph(graph, patch, folder.path, "test patch");
    std::vector<Image> result;
    for (double time : {0.0, 0.7, 1.9}) result.push_back(*graph.renderFrame(built.output, time, 37, 21));
    return result;
  }

  std::unique_ptr<Bundle> bundle = testing::loadBundle();
  testing::ScratchFolder folder;
};

TEST_F(PatchTest, SavedAndLoadedRendersTheSameFramesWithTheSettingsInEffect) {
  writeImage(folder / "logo.png", testing::patterned(5, 4, kARGB32));
  const Patch patch = twoModules();
  savePatch(patch, folder / "p.json");
  const Patch loaded = loadPatch(folder / "p.json");
  EXPECT_EQ(patchToJson(loaded), patchToJson(patch));
  EXPECT_EQ(loaded.find("logo")->position, std::pair(10.0, -2.5));
  EXPECT_EQ(loaded.find("amount")->value, patch.find("amount")->value);
  EXPECT_EQ(patchToJson(loaded)["nodes"][1]["settings"]["Fader"]["Fade Color"]["value"], 0xFF336699u);

  const std::vector<Image> before = frames(patch), after = frames(loaded);
  for (size_t i = 0; i < before.size(); ++i) EXPECT_TRUE(samePixels(before[i], after[i])) << "frame " << i;
  EXPECT_FALSE(samePixels(before[0], before[2]));  // the controller moves

  // The same graph built by hand: the settings and the expression are what the frames show.
  Graph graph(*bundle);
  const NodeId fade = graph.addModule(FourCC("fadr")), emboss = graph.addModule(FourCC("embs"));
  graph.connect(graph.addTestScene(), fade, 0);
  graph.connect(graph.addControl([](double t) { return static_cast<float>(0.25 + 0.5 * std::clamp(t / 2, 0.0, 1.0)); }),
                fade, 2);
  graph.connect(fade, emboss, 0);
  Patch defaults = patch;
  defaults.find("emboss")->settings = newModuleNode(*bundle, FourCC("embs"), "x").settings;
  EXPECT_FALSE(samePixels(frames(defaults)[1], before[1]));  // Stonify matters
  loadNodeSettings(graph.instance(fade), *patch.find("fade"));
  loadNodeSettings(graph.instance(emboss), *patch.find("emboss"));
  EXPECT_TRUE(samePixels(*graph.renderFrame(emboss, 0.7, 37, 21), before[1]));
}

// One valid document, broken one way per row.
TEST_F(PatchTest, AHandEditedPatchWithErrorsNamesTheNodeTheFieldAndWhatWasExpected) {
  const json valid = patchToJson(twoModules());
  struct Case {
    std::function<void(json&)> edit;
    const char* message;
  };
  const Case reading[] = {
      {[](json& d) { d["version"] = 2; }, "field \"version\": expected 1, found 2"},
      {[](json& d) { d["format"] = "tessivo-settings"; }, "not a patch"},
      {[](json& d) { d["nodes"][2]["kind"] = "modul"; }, "node \"emboss\": field \"kind\": expected module, test-scene"},
      {[](json& d) { d["nodes"][2]["id"] = "fade"; }, "node \"fade\": field \"id\": used twice"},
      {[](json& d) { d["nodes"][1]["setings"] = json::object(); }, "node \"fade\": field \"setings\": not a field of a module node"},
      {[](json& d) { d["nodes"][1]["module"] = "fader"; }, "node \"fade\": field \"module\": expected a four-character code"},
      {[](json& d) { d["nodes"][1]["settings"]["Fader"]["Fade Color"]["value"] = "red"; },
       "node \"fade\": field \"settings\": group \"Fader\" key \"Fade Color\": expected a 64-bit integer"},
      {[](json& d) { d["nodes"][3]["value"] = json::array(); }, "node \"amount\": field \"value\": expected a number or an expression"},
      {[](json& d) { d["nodes"][4]["position"] = {1}; }, "node \"logo\": field \"position\": expected [x, y]"},
      {[](json& d) { d["wires"][1]["to"] = "fad"; }, "wire 2: field \"to\": no node has the id \"fad\""},
      {[](json& d) { d["wires"][0]["to"] = "amount"; }, "wire 1: field \"to\": expected a module node"},
      {[](json& d) { d["wires"][0].erase("port"); }, "wire 1: field \"port\": expected an input's index or name"},
      {[](json& d) { d["output"] = "nobody"; }, "field \"output\": expected the id of a node"},
  };
  for (const Case& c : reading) {
    json document = valid;
    c.edit(document);
    EXPECT_THAT(testing::errorOf([&] { patchFromJson(document, "p.json"); }), ::testing::StartsWith("p.json: "));
    EXPECT_THAT(testing::errorOf([&] { patchFromJson(document, "p.json"); }), ::testing::HasSubstr(c.message));
  }

  writeImage(folder / "logo.png", testing::patterned(5, 4, kARGB32));
  const Case building[] = {
      {[](json& d) { d["nodes"][1]["module"] = "zzzz"; }, "node \"fade\": field \"module\": expected a module of this bundle"},
      {[](json& d) { d["nodes"][3]["value"] = "0.5+*t"; }, "node \"amount\": field \"value\": expected a number or an expression in t: \"0.5+*t\": column 5"},
      {[](json& d) { d["nodes"][4]["path"] = "none.png"; }, "node \"logo\": field \"path\": expected a readable PNG"},
      {[](json& d) { d["wires"][1]["port"] = "Fdae"; }, "wire 2: field \"port\": Fader has no input \"Fdae\" (its inputs: 0 \"Image Input\""},
      {[](json& d) { d["wires"][1]["port"] = 0; }, "wire 2 (amount -> fade port 0): cannot wire"},
      {[](json& d) { d["wires"].push_back({{"from", "emboss"}, {"to", "fade"}, {"port", 0}}); }, "would make a loop"},
      {[](json& d) { d["output"] = "amount"; }, "field \"output\": expected a node that gives an image"},
  };
  for (const Case& c : building) {
    json document = valid;
    c.edit(document);
    Graph graph(*bundle);
    EXPECT_THAT(testing::errorOf([&] { buildPatchGraph(graph, patchFromJson(document, "p.json"), folder.path, "p.json"); }),
                ::testing::AllOf(::testing::StartsWith("p.json: "), ::testing::HasSubstr(c.message)));
  }
}

// An editor builds a patch still being made: sources without any module yet.
TEST_F(PatchTest, APatchWithoutModulesBuildsOnlyWhenNoOutputIsRequired) {
  Patch patch;
  patch.add(newSourceNode("scene", PatchNodeKind::TestScene));
  patch.add(newControlNode("amount", "0.5"));
  Graph graph(*bundle);
  EXPECT_THAT(testing::errorOf([&] { buildPatchGraph(graph, patch, folder.path, "p.json"); }),
              ::testing::HasSubstr("no module node exists"));
  Graph editing(*bundle);
  const PatchGraph built = buildPatchGraph(editing, patch, folder.path, "p.json", false);
  ASSERT_EQ(built.nodes.size(), 2u);
  EXPECT_EQ(editing.renderFrame(built.nodes.at("scene"), 0.0, 8, 6)->width(), 8u);
  // A named output is still checked.
  patch.output = "amount";
  Graph named(*bundle);
  EXPECT_THAT(testing::errorOf([&] { buildPatchGraph(named, patch, folder.path, "p.json", false); }),
              ::testing::HasSubstr("expected a node that gives an image"));
}

}  // namespace
}  // namespace tessivo::host
