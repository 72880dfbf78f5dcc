// The studio's HTTP API against the real bundle: what the page may ask, what
// the host refuses and how, and that a studio patch renders as the command
// line renders it.
#include "../host/host_test_support.h"

#include <tessivo/host/graph.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/image_ops.h>
#include <tessivo/host/media/video_writer.h>
#include <tessivo/host/patch.h>
#include <tessivo/studio/studio.h>

#include <httplib.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <thread>

namespace tessivo::studio {
namespace {

using host::testing::ScratchFolder;
using host::testing::writeText;
using nlohmann::json;

class StudioApi : public ::testing::Test {
 protected:
  void SetUp() override {
    writeText(scratch / "index.html", "<!doctype html><title>studio page</title>");
    bundle = host::testing::loadBundle();
    studio = std::make_unique<Studio>(*bundle, scratch.path);
    server = std::make_unique<Server>(*studio, scratch.path);
    port = server->bind("127.0.0.1", 0);
    thread = std::thread([this] { server->run(); });
    client = std::make_unique<httplib::Client>("127.0.0.1", port);
    client->set_read_timeout(60, 0);
  }
  void TearDown() override {
    server->stop();
    thread.join();
  }

  struct Answer {
    int status = 0;
    json body;
  };
  Answer request(const std::string& method, const std::string& path, const std::string& body = "") {
    httplib::Result result = method == "GET"    ? client->Get(path.c_str())
                             : method == "DELETE" ? client->Delete(path.c_str())
                                                  : client->Post(path.c_str(), body, "application/json");
    if (!result) {
      ADD_FAILURE() << method << " " << path << ": no answer";
      return {};
    }
    Answer answer{result->status, json()};
    if (result->get_header_value("Content-Type") == "application/json") answer.body = json::parse(result->body);
    return answer;
  }
  Answer post(const std::string& path, const json& body) { return request("POST", path, body.dump()); }
  json ok(const Answer& answer) {
    EXPECT_EQ(answer.status, 200) << answer.body.dump();
    return answer.body;
  }
  // Adds a node and returns its id.
  std::string add(const json& node) { return ok(post("/api/nodes", node))["added"].get<std::string>(); }
  // The preview as the server encodes it, decoded.
  host::Image preview(const std::string& id, double time, const std::string& size = "w=64&h=36") {
    auto result = client->Get(("/api/preview/" + id + "?format=png&t=" + std::to_string(time) + "&" + size).c_str());
    EXPECT_TRUE(result && result->status == 200) << (result ? result->body : "no answer");
    if (!result || result->status != 200) return {};
    EXPECT_EQ(result->get_header_value("Content-Type"), "image/png");
    writeText(scratch / "frame.png", result->body);
    return host::readImage(scratch / "frame.png");
  }

  ScratchFolder scratch;
  std::unique_ptr<host::Bundle> bundle;
  std::unique_ptr<Studio> studio;
  std::unique_ptr<Server> server;
  int port = 0;
  std::thread thread;
  std::unique_ptr<httplib::Client> client;
};

using host::samePixels;

TEST_F(StudioApi, PaletteAndPageComeFromTheBundle) {
  json palette = ok(request("GET", "/api/palette"));
  ASSERT_EQ(palette["modules"].size(), bundle->modules().size() + 1);  // Diffusion builds though unlisted
  const json* fader = nullptr;
  for (const json& module : palette["modules"]) {
    if (module["code"] == "fadr") fader = &module;
    if (module["code"] == "dfsn") {
      EXPECT_FALSE(module["listed"].get<bool>());
      EXPECT_EQ(module["name"], "Diffusion");
      EXPECT_TRUE(module["box"].is_null());
    }
  }
  ASSERT_NE(fader, nullptr);
  const host::ModuleInfo* info = bundle->findModule(FourCC("fadr"));
  EXPECT_EQ((*fader)["box"], json({info->boxWidth, info->boxHeight}));
  EXPECT_TRUE((*fader)["hasPanel"].get<bool>());
  ASSERT_EQ((*fader)["ports"].size(), 4u);
  EXPECT_EQ((*fader)["ports"][1]["type"], "on-off");
  EXPECT_EQ((*fader)["ports"][1]["shortName"], "On/Off");
  EXPECT_EQ((*fader)["ports"][2]["type"], "control");
  EXPECT_EQ((*fader)["ports"][2]["longName"], "Fade Input");
  EXPECT_EQ((*fader)["ports"][3]["direction"], "output");
  EXPECT_EQ((*fader)["ports"][3]["rect"], json({81, 5, 10, 10}));

  auto page = client->Get("/");
  ASSERT_TRUE(page);
  EXPECT_NE(page->body.find("studio page"), std::string::npos);
}

TEST_F(StudioApi, MalformedRequestsAreRefusedWithAMessage) {
  Answer answer = request("POST", "/api/nodes", "{\"kind\": ");
  EXPECT_EQ(answer.status, 400);
  EXPECT_NE(answer.body["error"].get<std::string>().find("not valid JSON"), std::string::npos);
  EXPECT_EQ(post("/api/nodes", json::array({1, 2})).status, 400);
  EXPECT_EQ(post("/api/nodes", {{"kind", 5}}).status, 400);
  answer = post("/api/nodes", {{"kind", "teapot"}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_NE(answer.body["error"].get<std::string>().find("teapot"), std::string::npos);
  EXPECT_EQ(post("/api/nodes", {{"kind", "test-scene"}, {"position", {1}}}).status, 400);
  EXPECT_EQ(post("/api/wires", {{"from", "a"}}).status, 400);
  EXPECT_EQ(request("GET", "/api/preview/x?w=abc").status, 400);
  EXPECT_EQ(request("GET", "/api/preview/x?w=0").status, 400);
  EXPECT_EQ(request("GET", "/api/preview/x?w=100000").status, 400);
  EXPECT_EQ(request("GET", "/api/preview/x?format=gif").status, 400);
  EXPECT_EQ(request("GET", "/api/preview/nobody").status, 404);
  EXPECT_EQ(request("GET", "/api/nodes/nobody/panel").status, 404);
  EXPECT_EQ(request("DELETE", "/api/nodes/nobody").status, 404);
  // Nothing of this reached the document, and the server still answers.
  json state = ok(request("GET", "/api/state"));
  EXPECT_TRUE(state["patch"]["nodes"].empty());
  EXPECT_FALSE(state["dirty"].get<bool>());
}

TEST_F(StudioApi, UnknownModulesAreRefused) {
  Answer answer = post("/api/nodes", {{"kind", "module"}, {"module", "zzzz"}});
  EXPECT_EQ(answer.status, 422);
  EXPECT_NE(answer.body["error"].get<std::string>().find("unknown module \"zzzz\""), std::string::npos);
  answer = post("/api/nodes", {{"kind", "module"}, {"module", "fader"}});
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(post("/api/nodes", {{"kind", "module"}}).status, 400);
  // An unlisted module that builds is offered, as `list --hidden` offers it.
  EXPECT_EQ(add({{"kind", "module"}, {"module", "dfsn"}}), "dfsn");
  EXPECT_EQ(ok(request("GET", "/api/state"))["patch"]["nodes"].size(), 1u);
}

TEST_F(StudioApi, WiresOnlyJoinPortsOfTheSameType) {
  const std::string scene = add({{"kind", "test-scene"}});
  const std::string amount = add({{"kind", "control"}, {"value", 0.25}});
  const std::string sw = add({{"kind", "on-off"}, {"on", false}});
  const std::string fade = add({{"kind", "module"}, {"module", "fadr"}});

  Answer answer = post("/api/wires", {{"from", amount}, {"to", fade}, {"port", 0}});  // control into the image input
  EXPECT_EQ(answer.status, 422);
  EXPECT_NE(answer.body["error"].get<std::string>().find(fade), std::string::npos) << answer.body.dump();
  EXPECT_EQ(post("/api/wires", {{"from", scene}, {"to", fade}, {"port", "Fade"}}).status, 422);
  EXPECT_EQ(post("/api/wires", {{"from", sw}, {"to", fade}, {"port", 2}}).status, 422);
  EXPECT_EQ(post("/api/wires", {{"from", scene}, {"to", fade}, {"port", 9}}).status, 422);
  EXPECT_EQ(post("/api/wires", {{"from", fade}, {"to", scene}, {"port", 0}}).status, 422);  // a source has no inputs
  EXPECT_EQ(post("/api/wires", {{"from", "ghost"}, {"to", fade}, {"port", 0}}).status, 404);
  EXPECT_EQ(post("/api/wires", {{"from", fade}, {"to", fade}, {"port", 0}}).status, 422);  // a loop
  EXPECT_TRUE(ok(request("GET", "/api/state"))["patch"]["wires"].empty());

  ok(post("/api/wires", {{"from", scene}, {"to", fade}, {"port", 0}}));
  ok(post("/api/wires", {{"from", amount}, {"to", fade}, {"port", "Fade"}}));
  json state = ok(post("/api/wires", {{"from", sw}, {"to", fade}, {"port", "On/Off"}}));
  EXPECT_EQ(state["patch"]["wires"].size(), 3u);
  EXPECT_EQ(state["ports"][fade]["Fade"], 2);
  EXPECT_EQ(state["ports"][fade]["On/Off"], 1);
  EXPECT_TRUE(state["dirty"].get<bool>());

  // Removing by index finds the wire stored by name.
  EXPECT_EQ(ok(post("/api/wires/remove", {{"to", fade}, {"port", 2}}))["patch"]["wires"].size(), 2u);
  EXPECT_EQ(post("/api/wires/remove", {{"to", fade}, {"port", 2}}).status, 404);
}

TEST_F(StudioApi, PanelIsTheModulesOwnAndItsValuesPersist) {
  const std::string scene = add({{"kind", "test-scene"}});
  const std::string fade = add({{"kind", "module"}, {"module", "fadr"}});
  const std::string amount = add({{"kind", "control"}, {"value", "1"}});
  ok(post("/api/wires", {{"from", scene}, {"to", fade}, {"port", 0}}));
  ok(post("/api/wires", {{"from", amount}, {"to", fade}, {"port", 2}}));
  const host::Image before = preview(fade, 0.0);

  json panel = ok(request("GET", "/api/nodes/" + fade + "/panel"));
  EXPECT_EQ(panel["dialog"]["width"], 200);
  EXPECT_EQ(panel["dialog"]["height"], 140);
  int colour = -1, alpha = -1;
  for (const json& control : panel["controls"]) {
    if (control["kind"] == "colour button") colour = control["index"];
    if (control["kind"] == "number field") {
      alpha = control["index"];
      EXPECT_EQ(control["maximum"], 255);
      EXPECT_EQ(control["rect"], json({120, 46, 40, 26}));
      EXPECT_EQ(control["caption"], "Fade alpha");
    }
  }
  ASSERT_GE(colour, 0);
  ASSERT_GE(alpha, 0);

  // A value outside the field's range is refused and changes nothing.
  Answer answer = post("/api/nodes/" + fade + "/panel",
                       {{"values", {{{"index", alpha}, {"value", "300"}}}}, {"hit", kPanelItemOK}});
  EXPECT_EQ(answer.status, 422);
  EXPECT_NE(answer.body["error"].get<std::string>().find("Fade alpha"), std::string::npos) << answer.body.dump();
  EXPECT_EQ(post("/api/nodes/" + fade + "/panel", {{"values", {{{"index", 0}, {"value", "x"}}}}, {"hit", 1}}).status,
            422);  // a static text
  EXPECT_EQ(post("/api/nodes/" + fade + "/panel", {{"values", json::array()}}).status, 400);
  EXPECT_EQ(post("/api/nodes/" + fade + "/panel", {{"hit", 99999999999}}).status, 400);
  // Cancel changes nothing either.
  json cancelled = ok(post("/api/nodes/" + fade + "/panel",
                           {{"values", {{{"index", colour}, {"value", "#ff0000"}}}}, {"hit", kPanelItemCancel}}));
  EXPECT_FALSE(cancelled["accepted"].get<bool>());
  EXPECT_FALSE(ok(request("GET", "/api/state"))["dirty"].get<bool>() && false);
  EXPECT_TRUE(samePixels(before, preview(fade, 0.0)));

  // An item the module does not act on: it asks again, and the page gets the panel as it then stands.
  json other = ok(post("/api/nodes/" + fade + "/panel", {{"values", {{{"index", alpha}, {"value", "17"}}}}, {"hit", 7}}));
  EXPECT_FALSE(other["accepted"].get<bool>());
  ASSERT_TRUE(other.contains("panel")) << other.dump();
  EXPECT_EQ(other["panel"]["controls"][static_cast<size_t>(alpha)]["value"], 17);
  EXPECT_FALSE(other.contains("message"));
  EXPECT_TRUE(samePixels(before, preview(fade, 0.0)));

  // OK: the module stores colour and alpha, the node keeps what it saves.
  json accepted = ok(post("/api/nodes/" + fade + "/panel",
                                {{"values", {{{"index", colour}, {"value", "#ff0000"}}, {{"index", alpha}, {"value", "255"}}}},
                                 {"hit", kPanelItemOK}}));
  ASSERT_TRUE(accepted["accepted"].get<bool>());
  json node = accepted["state"]["patch"]["nodes"][1];
  EXPECT_EQ(node["settings"]["Fader"]["Fade Color"]["value"], 0xFFFF0000u) << node.dump();
  const host::Image after = preview(fade, 0.0);
  EXPECT_EQ(after.pixel(10, 10), 0xFFFF0000u);  // amount 1: the fade colour everywhere
  json reopened = ok(request("GET", "/api/nodes/" + fade + "/panel"));
  EXPECT_EQ(reopened["controls"][static_cast<size_t>(alpha)]["value"], 255);
  // A source has no panel.
  EXPECT_EQ(request("GET", "/api/nodes/" + scene + "/panel").status, 404);
}

TEST_F(StudioApi, PreviewMatchesThePatchBuiltFromTheSavedFile) {
  const std::string scene = add({{"kind", "test-scene"}, {"position", {10, 20}}});
  const std::string emboss = add({{"kind", "module"}, {"module", "embs"}});
  const std::string fade = add({{"kind", "module"}, {"module", "fadr"}});
  const std::string amount = add({{"kind", "control"}, {"value", "0.5 + 0.5*sin(t)"}});
  ok(post("/api/wires", {{"from", scene}, {"to", emboss}, {"port", 0}}));
  ok(post("/api/wires", {{"from", emboss}, {"to", fade}, {"port", 0}}));
  ok(post("/api/wires", {{"from", amount}, {"to", fade}, {"port", 2}}));
  json panel = ok(request("GET", "/api/nodes/" + fade + "/panel"));
  ok(post("/api/nodes/" + fade + "/panel", {{"values", {{{"index", 2}, {"value", "#20c040"}}, {{"index", 3}, {"value", "200"}}}},
                                            {"hit", kPanelItemOK}}));
  json saved = ok(post("/api/save", {{"path", "./studio.json"}}));
  EXPECT_FALSE(saved["dirty"].get<bool>());
  const host::Image shown = preview(fade, 0.7, "w=160&h=90");
  const host::Image scenePicture = preview(scene, 0.7, "w=160&h=90");
  EXPECT_FALSE(samePixels(shown, scenePicture));

  // As `tessivo render` reads the file.
  const host::Patch patch = host::loadPatch(scratch / "studio.json");
  ASSERT_TRUE(patch.find(scene)->position.has_value());
  host::Graph graph(*bundle);
  const host::PatchGraph built = host::buildPatchGraph(graph, patch, scratch.path, "studio.json");
  const auto rendered = graph.renderFrame(built.output, 0.7, 160, 90);
  EXPECT_TRUE(samePixels(shown, *rendered));

  // A module that cannot render says so, and the server goes on.
  const std::string alone = add({{"kind", "module"}, {"module", "fadr"}});
  Answer failed = request("GET", "/api/preview/" + alone);
  EXPECT_EQ(failed.status, 500);
  EXPECT_NE(failed.body["error"].get<std::string>().find("Fader failed to render"), std::string::npos) << failed.body.dump();
  EXPECT_NE(failed.body["error"].get<std::string>().find("nothing is wired to \"Image Input\""), std::string::npos);
  EXPECT_TRUE(samePixels(shown, preview(fade, 0.7, "w=160&h=90")));
  // A control gives no picture.
  EXPECT_EQ(request("GET", "/api/preview/" + amount).status, 422);
  // JPEG frames while playing.
  auto jpeg = client->Get(("/api/preview/" + fade + "?t=1.5").c_str());
  ASSERT_TRUE(jpeg);
  EXPECT_EQ(jpeg->get_header_value("Content-Type"), "image/jpeg");
  EXPECT_EQ(jpeg->body.substr(0, 2), std::string("\xFF\xD8"));
}

// A clip plays into its node: the frame at the preview's time, onward, back
// again, and round once its length is known; a missing file is refused.
TEST_F(StudioApi, VideoNodesShowTheFrameAtTheTime) {
  const uint32_t colours[] = {0xFF102030u, 0xFF405060u, 0xFF708090u};
  {
    host::media::VideoWriter writer((scratch / "clip.mkv").string(), {"", "ffv1", false}, 16, 8, host::kARGB32,
                                    {1, 1}, {});
    for (const uint32_t colour : colours) {
      host::Image frame(16, 8, host::kARGB32);
      for (uint32_t y = 0; y < 8; ++y)
        for (uint32_t x = 0; x < 16; ++x) frame.setPixel(x, y, colour);
      writer.writeFrame(frame);
    }
    writer.finish();
  }
  EXPECT_EQ(post("/api/nodes", {{"kind", "video"}, {"path", "nothing.mkv"}}).status, 422);
  const std::string clip = add({{"kind", "video"}, {"path", "clip.mkv"}});
  const auto shown = [&](double time) { return preview(clip, time, "w=16&h=8").pixel(5, 3); };
  EXPECT_EQ(shown(0.5), colours[0]);
  EXPECT_EQ(shown(1.5), colours[1]);
  EXPECT_EQ(shown(2.2), colours[2]);  // the last frame: the clip's length, 3 s, is known from here
  EXPECT_EQ(shown(1.0), colours[1]);  // back in time
  EXPECT_EQ(shown(3.0), colours[0]);  // round again
  EXPECT_EQ(shown(4.5), colours[1]);
  // A printf pattern names an image sequence (25 frames a second).
  for (int i = 0; i < 2; ++i) {
    host::Image frame(16, 8, host::kARGB32);
    for (uint32_t y = 0; y < 8; ++y)
      for (uint32_t x = 0; x < 16; ++x) frame.setPixel(x, y, colours[2 - i]);
    host::writeImage(scratch / ("frame000" + std::to_string(i) + ".png"), frame);
  }
  const json state = ok(post("/api/nodes/" + clip, {{"path", "frame%04d.png"}}));
  for (const json& node : state["patch"]["nodes"])
    if (node["id"] == clip) {
      EXPECT_EQ(node["kind"], "image-sequence");
    }
  EXPECT_EQ(shown(0.01), colours[2]);
  EXPECT_EQ(shown(0.05), colours[1]);
}

TEST_F(StudioApi, BadPatchFilesAreRefusedAndTheDocumentKept) {
  add({{"kind", "test-scene"}});
  writeText(scratch / "broken.json", "{\"format\": \"tessivo-patch\", \"version\": 1, \"nodes\": [");
  writeText(scratch / "wrong.json",
            json({{"format", "tessivo-patch"}, {"version", 1},
                  {"nodes", {{{"id", "a"}, {"kind", "module"}, {"module", "zzzz"}}}}, {"wires", json::array()}}).dump());
  writeText(scratch / "nostill.json",
            json({{"format", "tessivo-patch"}, {"version", 1},
                  {"nodes", {{{"id", "s"}, {"kind", "still"}, {"path", "missing.png"}}}}, {"wires", json::array()}}).dump());
  for (const char* file : {"broken.json", "wrong.json", "nostill.json", "absent.json"}) {
    const Answer answer = post("/api/load", {{"path", file}});
    EXPECT_EQ(answer.status, 422) << file;
    EXPECT_NE(answer.body["error"].get<std::string>().find(file == std::string("nostill.json") ? "missing.png" : file),
              std::string::npos)
        << answer.body.dump();
  }
  EXPECT_EQ(post("/api/load", json::object()).status, 400);
  EXPECT_EQ(post("/api/patch", {{"format", "tessivo-patch"}, {"version", 1}, {"nodes", json::array()}, {"extra", 1}}).status,
            422);
  json state = ok(request("GET", "/api/state"));
  EXPECT_EQ(state["patch"]["nodes"].size(), 1u);
  EXPECT_TRUE(state["dirty"].get<bool>());
  EXPECT_EQ(state["file"], "");
}

TEST_F(StudioApi, SavingElsewhereKeepsStillsAndLoadingRestores) {
  host::Image picture = host::testing::patterned(32, 18, host::kARGB32);
  host::writeImage(scratch / "picture.png", picture);
  writeText(scratch / "notes.txt", "not a picture");
  std::filesystem::create_directories(scratch / "folder.png");
  host::writeImage(scratch / "UPPER.PNG", picture);
  host::writeImage(scratch / "photo.jpg", picture);
  EXPECT_EQ(ok(request("GET", "/api/pictures")), json({"UPPER.PNG", "photo.jpg", "picture.png"}));  // no folders, no other files
  const std::string still = add({{"kind", "still"}, {"path", "picture.png"}});
  EXPECT_EQ(post("/api/nodes", {{"kind", "still"}, {"path", "nothing.png"}}).status, 422);
  const std::string flash = add({{"kind", "module"}, {"module", "flsh"}});
  ok(post("/api/wires", {{"from", still}, {"to", flash}, {"port", 0}}));
  std::filesystem::create_directories(scratch / "patches");
  ok(post("/api/save", {{"path", "patches/p.json"}}));
  EXPECT_EQ(host::loadPatch(scratch / "patches/p.json").find(still)->path, "../picture.png");
  EXPECT_EQ(ok(request("GET", "/api/pictures")), json::array());  // the patch's folder now
  const host::Image first = preview(flash, 0.0, "w=32&h=18");
  ok(post("/api/new", json::object()));
  EXPECT_TRUE(ok(request("GET", "/api/state"))["patch"]["nodes"].empty());
  json loaded = ok(post("/api/load", {{"path", "patches/p.json"}}));
  EXPECT_FALSE(loaded["dirty"].get<bool>());
  EXPECT_EQ(loaded["patch"]["nodes"].size(), 2u);
  EXPECT_TRUE(samePixels(first, preview(flash, 0.0, "w=32&h=18")));
  EXPECT_TRUE(samePixels(picture, preview(still, 0.0, "w=32&h=18")));
  EXPECT_EQ(post("/api/save", {{"path", "no/such/folder/p.json"}}).status, 422);

  // Unsaved changes are kept beside the patch on the way out, never over another file.
  EXPECT_TRUE(studio->keepUnsaved().empty());  // nothing unsaved
  ok(post("/api/nodes/" + still, {{"position", {5, 5}}}));
  writeText(scratch / "patches/p.unsaved.json", "someone's file");
  const std::filesystem::path kept = studio->keepUnsaved();
  EXPECT_EQ(kept, scratch / "patches/p.unsaved-2.json");
  EXPECT_EQ(host::testing::readText(scratch / "patches/p.unsaved.json"), "someone's file");
  const host::Patch unsaved = host::loadPatch(kept);
  EXPECT_EQ(unsaved.find(still)->position, std::make_optional(std::pair(5.0, 5.0)));
  EXPECT_EQ(unsaved.find(still)->path, "../picture.png");
  EXPECT_TRUE(ok(request("GET", "/api/state"))["dirty"].get<bool>());
}

}  // namespace
}  // namespace tessivo::studio
