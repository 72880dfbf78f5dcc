// tessivo: the command line of the effect bundle. Subcommands register
// themselves on the app; every failure ends as one line on stderr.
#include "cli_common.h"

#include <tessivo/host/error.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
  using namespace tessivo::cli;
  CLI::App app{"tessivo: real-time image effects on stills, in panels and in a demo sheet", "tessivo"};
  app.require_subcommand(1);
  app.fallthrough();
  GlobalOptions options;
  app.add_option("--bundle", options.bundlePath, "The effect bundle to load (default: $TESSIVO_BUNDLE, else ../lib/libtessivo.so beside this program)");
  app.add_flag("--no-vimage", options.noVImage, "Do not load the vImage library (modules use their software paths)");

  addListCommand(app, options);
  addInfoCommand(app, options);
  addApplyCommand(app, options);
  addRenderCommand(app, options);
  addPanelCommand(app, options);
  addDemoCommand(app, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    if (app.get_subcommands().empty() && argc > 1 && argv[1][0] != '-') {
      std::string names;
      for (const CLI::App* sub : app.get_subcommands({})) names += (names.empty() ? "" : ", ") + sub->get_name();
      message = fmt::format("unknown subcommand '{}'; expected one of: {}", argv[1], names);
    }
    fmt::print(stderr, "tessivo: error: {} (see tessivo --help)\n", oneLine(message));
    return error.get_exit_code() != 0 ? error.get_exit_code() : 2;
  } catch (const std::exception& error) {
    fmt::print(stderr, "tessivo: error: {}\n", oneLine(error.what()));
    return 1;
  }
  return 0;
}
