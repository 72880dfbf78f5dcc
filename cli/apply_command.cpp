// `tessivo apply`: one module or a chain (left to right) on a still, with
// settings and constant controls given on the command line. IN and OUT may be
// "-" for standard input and output, so it sits in a pipe.
#include "chain.h"
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/settings_store.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <filesystem>

namespace tessivo::cli {

namespace {

struct ApplyOptions {
  ChainOptions chain;
  std::string input;
  std::string output;
  bool inPlace = false;
  double time = 0.0;
  StillOutputOptions still;
};

// Every '+'-separated part four characters long: what a chain looks like.
bool looksLikeChain(const std::string& text) {
  size_t start = 0;
  while (true) {
    const size_t plus = text.find('+', start);
    const size_t end = plus == std::string::npos ? text.size() : plus;
    if (end - start != 4) return false;
    if (plus == std::string::npos) return true;
    start = plus + 1;
  }
}

// The three positionals are checked here rather than by the parser, so that a
// forgotten chain is named as such.
void checkPositionals(const ApplyOptions& options) {
  if (!options.output.empty()) return;
  if (options.chain.chain.empty()) throw UsageError("expected CHAIN IN OUT, e.g. tessivo apply fadr in.png out.png");
  if (!looksLikeChain(options.chain.chain))
    throw UsageError(fmt::format("the module chain is missing: put its code(s) before the files, e.g. tessivo apply "
                                 "fadr {} {}",
                                 options.chain.chain, options.input.empty() ? "out.png" : options.input));
  throw UsageError(options.input.empty() ? "IN and OUT are missing: the input and output images"
                                         : "OUT is missing: the output image");
}

void runApply(const GlobalOptions& globals, const ApplyOptions& options) {
  namespace fs = std::filesystem;
  checkPositionals(options);
  std::error_code ignored;
  if (!options.inPlace && options.input != "-" && options.output != "-" &&
      fs::equivalent(options.input, options.output, ignored))
    throw CliError(fmt::format("{} is the input file; choose another output or pass --in-place", options.output));
  std::string format;  // checked before any work
  try {
    format = host::imageFormatFor(options.output, options.still.format);
  } catch (const host::HostError& error) {
    throw UsageError(error.what());
  }

  auto bundle = loadBundle(globals);
  parseChainCodes(*bundle, options.chain.chain);  // a mistyped code before any file is read
  const host::ImageFile input =
      host::readImageFile(options.input, options.chain.gray ? host::ImageTarget::Grey : host::ImageTarget::Argb);
  const host::Image& image = input.image;
  host::Graph graph(*bundle);
  const Chain chain = buildChain(graph, *bundle, options.chain, image);
  const auto result = graph.renderFrame(chain.output, options.time, image.width(), image.height(),
                                        options.chain.gray ? host::kGrey8 : host::kARGB32);
  if (!host::formatKeepsAlpha(format) && host::hasTranslucentPixel(*result))
    warn("JPEG keeps no alpha: the result's transparency is dropped");
  host::writeImage(options.output, *result, imageWriteOptions(options.still, input.hasAlpha));
}

}  // namespace

void addApplyCommand(CLI::App& app, GlobalOptions& globals) {
  auto options = std::make_shared<ApplyOptions>();
  auto* command = app.add_subcommand("apply", "Run one module or a chain (CODE+CODE...) on a still image");
  command->add_option("CHAIN", options->chain.chain,
                      "Module code, or codes joined by + run left to right (fadr+fadr); required");
  command->add_option("IN", options->input,
                      "Input image (PNG, JPEG, TIFF, WebP, OpenEXR, BMP, GIF, PNM, TGA; - for standard input); "
                      "required");
  command->add_option("OUT", options->output,
                      "Output image, format from its extension or --format (- for standard output). A file is "
                      "replaced atomically and keeps its permissions; pipes, devices and symlinks' targets are "
                      "written through. RGB stays RGB when the result is opaque; required");
  addChainOptions(*command, options->chain);
  addStillOutputOptions(*command, options->still);
  command->add_option("--time", options->time, "Render time in seconds (default 0)");
  command->add_flag("--in-place", options->inPlace, "Allow OUT to be the input file");
  command->callback([&globals, options] { runApply(globals, *options); });
}

}  // namespace tessivo::cli
