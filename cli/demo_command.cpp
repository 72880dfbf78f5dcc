// `tessivo demo`: the built-in animated test scene through every module the
// bundle offers, one PNG per module, a labelled contact sheet and a clip of
// the sheet over time, in a new folder.
#include "cli_common.h"

#include <tessivo/host/contact_sheet.h>
#include <tessivo/host/image_ops.h>
#include <tessivo/host/error.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/media/video_writer.h>
#include <tessivo/host/test_scene.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>

namespace tessivo::cli {

namespace fs = std::filesystem;

namespace {

struct DemoOptions {
  std::string out;
  std::string size = "480x270";
  double time = 1.0;
  int clipFrames = 48;
};

constexpr int kClipRate = 24;
constexpr const char* kClipName = "contact-sheet.mp4";

std::pair<uint32_t, uint32_t> parseSize(const std::string& text) {
  // Digits only: a sign or a huge number must be refused, not wrapped.
  const auto dimension = [](std::string_view part) -> uint32_t {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
    const bool whole = !part.empty() && std::isdigit(static_cast<unsigned char>(part.front())) &&
                       error == std::errc() && end == part.data() + part.size();
    return whole && value <= 4096 ? value : 0;
  };
  const size_t x = text.find('x');
  const uint32_t width = x == std::string::npos ? 0 : dimension(std::string_view(text).substr(0, x));
  const uint32_t height = x == std::string::npos ? 0 : dimension(std::string_view(text).substr(x + 1));
  if (width == 0 || height == 0)
    throw UsageError(fmt::format("--size \"{}\": expected WxH, each from 1 to 4096 (e.g. 480x270)", text));
  return {width, height};
}

// "Fader" -> "Fader"; anything but letters, digits, '-' and '_' becomes '_'.
std::string fileSafe(const std::string& name) {
  std::string safe;
  for (const char c : name)
    safe += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ? c : '_';
  return safe;
}

// ./tessivo-demo, else ./tessivo-demo-2, -3, ...: never an existing folder.
fs::path freshFolder() {
  const fs::path base = fs::absolute("tessivo-demo");
  for (int n = 1; n < 10000; ++n) {
    const fs::path candidate = n == 1 ? base : fs::path(fmt::format("{}-{}", base.string(), n));
    std::error_code error;
    if (fs::create_directory(candidate, error)) return candidate;
    if (error) throw CliError(fmt::format("cannot create {}: {}", candidate.string(), error.message()));
  }
  throw CliError("no free tessivo-demo folder name; pass --out DIR");
}

void writeNew(const fs::path& path, const host::Image& image) {
  std::error_code error;
  if (fs::exists(path, error)) throw CliError(fmt::format("{} already exists; choose another --out", path.string()));
  host::writeImage(path, image);
}

// The contact sheet as a clip: every tile rendered again at each frame's time,
// so the modules that change over time show it.
void writeClip(host::Graph& graph, const std::vector<host::NodeId>& nodes, std::vector<host::ContactTile>& tiles,
               const host::ContactSheetLayout& layout, const DemoOptions& options, const fs::path& path) {
  const host::Image first = host::makeContactSheet(tiles, layout);
  host::media::VideoWriter writer(path.string(), {}, first.width(), first.height(), host::kARGB32, {kClipRate, 1}, {});
  for (int frame = 0; frame < options.clipFrames; ++frame) {
    const double time = options.time + static_cast<double>(frame) / kClipRate;
    for (size_t i = 0; i < nodes.size(); ++i)
      tiles[i].image = *graph.renderFrame(nodes[i], time, layout.tileWidth, layout.tileHeight);
    writer.writeFrame(host::makeContactSheet(tiles, layout));
  }
  writer.finish();
}

// Modules whose output moves with time on a still picture (tables, canvases,
// swells) get a few more tiles on the sheet: the same picture at later times.
void addFramesOverTime(host::Bundle& bundle, const host::Image& picture,
                       const std::vector<std::pair<uint32_t, uint32_t>>& modules, double time,
                       std::vector<host::ContactTile>& tiles) {
  constexpr double kSteps[] = {0.5, 1.0, 1.5};
  host::Graph graph(bundle);
  const host::NodeId still = graph.addStill(picture);
  for (const auto& [code, imageInput] : modules) {
    try {
      const host::NodeId node = graph.addModule(code);
      graph.connect(still, node, imageInput);
      const host::Image first = *graph.renderFrame(node, time, picture.width(), picture.height());
      std::vector<host::ContactTile> later;
      bool moves = false;
      for (const double step : kSteps) {
        later.push_back({fmt::format("{} t+{}", graph.instance(node).name(), step),
                         *graph.renderFrame(node, time + step, picture.width(), picture.height())});
        moves = moves || host::compare(first, later.back().image).differingPixels > 0;
      }
      if (moves) tiles.insert(tiles.end(), later.begin(), later.end());
    } catch (const host::HostError& error) {
      fmt::print(stderr, "no frames over time for {}: {}\n", host::codeToString(code), oneLine(error.what()));
    }
  }
}

void runDemo(const GlobalOptions& globals, const DemoOptions& options) {
  const auto [width, height] = parseSize(options.size);
  auto bundle = loadBundle(globals);

  fs::path folder;
  if (options.out.empty()) {
    folder = freshFolder();
  } else {
    folder = fs::absolute(options.out);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error || !fs::is_directory(folder))
      throw CliError(fmt::format("cannot use {} as the output folder", folder.string()));
  }

  // Every name this run may write is checked first, so a refusal leaves the folder as it was.
  std::vector<std::string> names{"input.png", "contact-sheet.png"};
  if (options.clipFrames > 0) names.push_back(kClipName);
  for (const host::ModuleInfo& module : bundle->modules())
    names.push_back(fmt::format("{}-{}.png", host::codeToString(module.code), fileSafe(module.name)));
  for (const std::string& name : names) {
    std::error_code error;
    if (fs::exists(folder / name, error))
      throw CliError(fmt::format("{} already exists; choose another --out", (folder / name).string()));
  }

  host::Graph graph(*bundle);
  const host::NodeId scene = graph.addTestScene();
  const auto input = graph.renderFrame(scene, options.time, width, height);
  std::vector<host::ContactTile> tiles;
  tiles.push_back({"Input", *input});
  std::vector<host::NodeId> rendered{scene};
  writeNew(folder / "input.png", *input);

  std::string unavailable;
  std::vector<std::pair<uint32_t, uint32_t>> inputs;  // code and image input of each rendered module
  for (const host::ModuleInfo& module : bundle->modules()) {
    const std::string code = host::codeToString(module.code);
    host::NodeId node = 0;
    try {
      node = graph.addModule(module.code);
    } catch (const host::HostError&) {
      unavailable += fmt::format("{}{} ({})", unavailable.empty() ? "" : ", ", code, module.name);
      continue;
    }
    host::Instance& instance = graph.instance(node);
    uint32_t imageInput = 0;
    for (const host::PortInfo& port : instance.ports())
      if (!port.blank() && port.direction == kPortInput && port.type == kTypeImage) {
        graph.connect(scene, node, port.index);
        imageInput = port.index;
        break;
      }
    try {
      const auto output = graph.renderFrame(node, options.time, width, height);
      writeNew(folder / fmt::format("{}-{}.png", code, fileSafe(module.name)), *output);
      tiles.push_back({fmt::format("{} {}", code, module.name), *output});
      rendered.push_back(node);
      inputs.emplace_back(module.code, imageInput);
    } catch (const host::HostError& error) {
      fmt::print(stderr, "skipped {} ({}): {}\n", code, module.name, oneLine(error.what()));
    }
  }

  if (!unavailable.empty()) fmt::print(stderr, "skipped, not available in this build: {}\n", unavailable);
  host::ContactSheetLayout layout;
  layout.tileWidth = width;
  layout.tileHeight = height;
  layout.labelScale = width >= 320 ? 2 : 1;
  std::vector<host::ContactTile> sheet = tiles;
  addFramesOverTime(*bundle, *input, inputs, options.time, sheet);
  writeNew(folder / "contact-sheet.png", host::makeContactSheet(sheet, layout));
  if (options.clipFrames > 0) writeClip(graph, rendered, tiles, layout, options, folder / kClipName);
  const size_t modules = tiles.size() - 1;
  fmt::print("Rendered {} module{} at {}x{}, time {}{}\n", modules, modules == 1 ? "" : "s", width, height,
             options.time,
             options.clipFrames > 0 ? fmt::format(", and {} frames from there in {}", options.clipFrames, kClipName)
                                    : std::string());
  fmt::print("{}\n", folder.string());
}

}  // namespace

void addDemoCommand(CLI::App& app, GlobalOptions& globals) {
  auto options = std::make_shared<DemoOptions>();
  auto* command =
      app.add_subcommand("demo", "Render the built-in test scene through every module, with a contact sheet");
  command->add_option("--out", options->out, "Output folder (default: a new ./tessivo-demo, -2, -3, ...)");
  command->add_option("--size", options->size, "Size of each picture, WxH")->capture_default_str();
  command->add_option("--time", options->time, "Scene time in seconds")->capture_default_str();
  command->add_option("--clip-frames", options->clipFrames,
                      "Frames of the contact-sheet clip, at 24 a second from --time (0: no clip)")
      ->capture_default_str()
      ->check(CLI::Range(0, 100000));
  command->callback([&globals, options] { runDemo(globals, *options); });
}

}  // namespace tessivo::cli
