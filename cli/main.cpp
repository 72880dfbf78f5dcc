// tessivo: the command line of the effect bundle. Subcommands register
// themselves on the app; every failure ends as one line on stderr.
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/user_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  using namespace tessivo::cli;
  CLI::App app{"tessivo: real-time image effects on stills and video, in chains and patches, panels, the studio and a demo sheet", "tessivo"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("tessivo ") + TESSIVO_VERSION);
  app.fallthrough();
  GlobalOptions options;
  app.add_option("--bundle", options.bundlePath, "The effect bundle to load (default: $TESSIVO_BUNDLE, else ../lib/libtessivo.so beside this program)");
  app.add_flag("--no-vimage", options.noVImage, "Do not load the vImage library (modules use their software paths)");

  addListCommand(app, options);
  addInfoCommand(app, options);
  addApplyCommand(app, options);
  addRenderCommand(app, options);
  addPatchCommand(app, options);
  addPanelCommand(app, options);
  addStudioCommand(app, options);
  addDemoCommand(app, options);

  // Where a mistake on the command line sends the user: the subcommand's help when there is one.
  const auto helpPointer = [&app, argc, argv] {
    std::string command = "tessivo";
    for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
    if (command == "tessivo" && argc > 1)
      for (const CLI::App* sub : app.get_subcommands({}))
        if (sub->get_name() == argv[1]) command += " " + sub->get_name();
    return fmt::format(" (see {} --help)", command);
  };
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion& version) {
    return app.exit(version);
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    if (app.get_subcommands().empty() && argc > 1 && argv[1][0] != '-') {
      std::vector<std::string> names;
      for (const CLI::App* sub : app.get_subcommands({})) names.push_back(sub->get_name());
      message = fmt::format("unknown subcommand '{}'{}; expected one of: {}", argv[1],
                            tessivo::host::didYouMean(argv[1], names), fmt::join(names, ", "));
    }
    fmt::print(stderr, "tessivo: error: {}{}\n", oneLine(message), helpPointer());
    return kExitUsage;
  } catch (const UsageError& error) {
    fmt::print(stderr, "tessivo: error: {}{}\n", oneLine(error.what()), helpPointer());
    return kExitUsage;
  } catch (const std::exception& error) {
    fmt::print(stderr, "tessivo: error: {}\n", oneLine(error.what()));
    return kExitFailure;
  }
  return 0;
}
