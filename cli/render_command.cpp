// `tessivo render`: a chain of modules over every frame of a video, an image
// sequence or a pipe, each frame rendered at its own time, encoded to a file.
#include "chain.h"
#include "cli_common.h"
#include "patch_edit.h"
#include "progress.h"

#include <tessivo/host/graph.h>
#include <tessivo/host/image_ops.h>
#include <tessivo/host/media/video_feed.h>
#include <tessivo/host/media/video_reader.h>
#include <tessivo/host/media/video_writer.h>
#include <tessivo/host/patch.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <optional>

namespace tessivo::cli {

namespace {

struct RenderOptions {
  ChainOptions chain;
  std::string input;
  std::string output;
  bool overwrite = false;
  std::string codec;
  std::string format;
};

std::atomic<bool> interrupted{false};

extern "C" void onInterrupt(int) { interrupted = true; }

// Catches Ctrl-C (and SIGTERM) for the lifetime of a render, so it can stop
// between frames and leave nothing under the output's name.
class InterruptGuard {
 public:
  InterruptGuard() {
    interrupted = false;
    previousInt_ = std::signal(SIGINT, onInterrupt);
    previousTerm_ = std::signal(SIGTERM, onInterrupt);
  }
  ~InterruptGuard() {
    std::signal(SIGINT, previousInt_);
    std::signal(SIGTERM, previousTerm_);
  }

 private:
  void (*previousInt_)(int);
  void (*previousTerm_)(int);
};

bool isSequencePattern(const std::string& path) { return path.find('%') != std::string::npos; }

bool isPatchFile(const std::string& text) { return text.size() > 5 && text.ends_with(".json"); }

// The graph of a chain or a patch, and the still node the input's frames go to (if any).
struct RenderGraph {
  std::optional<host::NodeId> input;
  host::NodeId output = 0;
  // A patch's other clip nodes, each playing its own file.
  std::vector<std::pair<host::NodeId, std::unique_ptr<host::media::VideoFeed>>> clips;
};

// A patch's input: its first video or image-sequence node, fed from -i or from
// the node's own path. (The others play their own files by the frame's time.)
std::optional<std::string> patchInput(const host::Patch& patch, const std::filesystem::path& folder,
                                      const RenderOptions& options) {
  std::vector<const host::PatchNode*> feeds;
  for (const host::PatchNode& node : patch.nodes)
    if (node.kind == host::PatchNodeKind::Video || node.kind == host::PatchNodeKind::ImageSequence)
      feeds.push_back(&node);
  if (!options.input.empty()) return options.input;
  if (feeds.empty() || feeds[0]->path.empty()) return std::nullopt;
  return (folder / feeds[0]->path).string();
}

void runRender(const GlobalOptions& globals, const RenderOptions& options) {
  namespace fs = std::filesystem;
  const bool patchMode = isPatchFile(options.chain.chain);
  std::optional<host::Patch> patch;
  std::string input = options.input;
  const fs::path folder = fs::path(options.chain.chain).parent_path();
  if (patchMode) {
    patch = host::loadPatch(options.chain.chain);
    input = patchInput(*patch, folder, options).value_or("");
  }
  if (input.empty()) throw CliError("-i/--input is required (a patch may name its video instead)");

  std::error_code ignored;
  if (options.output != "-" && !isSequencePattern(options.output) && fs::exists(options.output, ignored)) {
    if (!options.overwrite) throw CliError(fmt::format("{} exists; pass -y to overwrite it", options.output));
    if (input != "-" && fs::equivalent(input, options.output, ignored))
      throw CliError(fmt::format("{} is the input file; choose another output", options.output));
  }

  auto bundle = loadBundle(globals);
  if (patchMode) applyChainOptions(*patch, *bundle, options.chain);  // for this run; the file is not changed
  host::media::VideoReader reader(input);
  const uint32_t format = options.chain.gray ? host::kGrey8 : host::kARGB32;
  host::Graph graph(*bundle);
  RenderGraph rendered;
  if (patchMode) {
    const host::PatchGraph built = host::buildPatchGraph(graph, *patch, folder, "patch " + options.chain.chain);
    rendered.output = built.output;
    if (!built.frameSources.empty()) rendered.input = built.nodes.at(built.frameSources[0]);
    for (size_t i = 1; i < built.frameSources.size(); ++i) {
      const host::PatchNode& node = *patch->find(built.frameSources[i]);
      if (node.path.empty())
        throw CliError(fmt::format("patch {}: node \"{}\": field \"path\": only the first video node takes "
                                   "the render's input; this one needs a file of its own",
                                   options.chain.chain, node.id));
      const fs::path clip = fs::path(node.path).is_absolute() ? fs::path(node.path) : folder / node.path;
      rendered.clips.emplace_back(built.nodes.at(node.id), std::make_unique<host::media::VideoFeed>(clip.string()));
    }
  } else {
    const Chain chain = buildChain(graph, *bundle, options.chain, host::Image(reader.width(), reader.height(), format));
    rendered.input = chain.source;
    rendered.output = chain.output;
  }

  std::vector<const AVStream*> copies;
  for (int i = 0; i < reader.streamCount(); ++i)
    if (options.output != "-" && i != reader.videoStream() &&
        reader.stream(i)->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
      copies.push_back(reader.stream(i));
  host::media::VideoWriter writer(options.output, {options.format, options.codec, options.overwrite}, reader.width(),
                                  reader.height(), format, reader.frameRate(), copies);

  const InterruptGuard guard;
  Progress progress(reader.frameCountEstimate(), stderr);
  reader.run(
      [&](const host::media::VideoFrame& frame) {
        if (rendered.input)
          graph.setStill(*rendered.input, options.chain.gray ? host::convert(*frame.image, host::kGrey8) : *frame.image);
        for (auto& [node, clip] : rendered.clips) {
          const host::Image& picture = clip->frameAt(frame.time);
          graph.setStill(node, options.chain.gray ? host::convert(picture, host::kGrey8) : picture);
        }
        writer.writeFrame(*graph.renderFrame(rendered.output, frame.time, reader.width(), reader.height(), format));
        progress.frameDone();
        return !interrupted;
      },
      [&](AVPacket& packet) { writer.writePacket(packet, reader.stream(packet.stream_index)); });
  if (interrupted) throw CliError(fmt::format("interrupted; nothing was written to {}", options.output));
  writer.finish();
  progress.finish();
}

}  // namespace

void addRenderCommand(CLI::App& app, GlobalOptions& globals) {
  auto options = std::make_shared<RenderOptions>();
  auto* command = app.add_subcommand(
      "render", "Run a chain (CODE+CODE...) or a patch over every frame of a video, image sequence (frame%04d.png) or pipe");
  command->add_option("CHAIN", options->chain.chain, "Module code, codes joined by + run left to right, or a patch file (.json)")->required();
  command->add_option("-i,--input", options->input, "Input video, image sequence or - for standard input (a patch may name its own)");
  command->add_option("-o,--output", options->output,
                      "Output file (written under a temporary name, then renamed), image sequence, or - for raw "
                      "frames on standard output")
      ->required();
  addChainOptions(*command, options->chain);
  command->add_flag("-y,--overwrite", options->overwrite, "Replace an existing output file");
  command->add_option("--codec", options->codec, "Video encoder (default: the container's, e.g. ffv1, libx264, png)");
  command->add_option("-f,--format", options->format, "Container (default: from the output name; rawvideo for -)");
  command->callback([&globals, options] { runRender(globals, *options); });
}

}  // namespace tessivo::cli
