// `tessivo studio [PATCH]`: the node patcher in the browser. Serves the built
// page and the studio's API on 127.0.0.1 (a free port unless --port says
// otherwise) until interrupted.
#include "cli_common.h"

#include <tessivo/host/patch.h>
#include <tessivo/studio/studio.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace tessivo::cli {

namespace {

struct StudioOptions {
  std::string patch;
  std::string address = "127.0.0.1";
  int port = 0;
  std::string web;
};

void runStudio(const GlobalOptions& global, const StudioOptions& options) {
  namespace fs = std::filesystem;
  const fs::path webRoot = options.web.empty() ? studio::defaultWebRoot() : fs::path(options.web);
  std::error_code error;
  if (webRoot.empty() || !fs::exists(webRoot / "index.html", error))
    throw CliError(options.web.empty() ? "the studio's page is not installed (share/tessivo/studio beside the program)"
                                       : fmt::format("{} holds no index.html", options.web));
  if (options.port < 0 || options.port > 65535) throw UsageError(fmt::format("--port {} is not a port", options.port));

  auto bundle = loadBundle(global);
  studio::Studio studio(*bundle, fs::current_path());
  if (!options.patch.empty()) {
    try {
      if (fs::exists(options.patch, error))
        studio.load(options.patch);
      else
        studio.nameFile(options.patch);  // a new patch, written on the first save
    } catch (const studio::StudioError& failure) {
      throw CliError(failure.what());
    }
  }

  // Interrupts are taken by a thread of their own, which stops the server.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  studio::Server server(studio, webRoot);
  int port = 0;
  try {
    port = server.bind(options.address, options.port);
  } catch (const studio::StudioError& failure) {
    throw CliError(failure.what());
  }
  fmt::print("Tessivo studio: http://{}:{}/\n(Ctrl+C to stop)\n", options.address, port);
  std::fflush(stdout);

  std::thread waiter([&server, signals] {
    int received = 0;
    sigwait(&signals, &received);
    server.stop();
  });
  server.run();
  if (waiter.joinable()) {
    // The server stopped on its own: wake the waiter.
    pthread_kill(waiter.native_handle(), SIGTERM);
    waiter.join();
  }
  // Unsaved work is never dropped on the way out.
  try {
    const std::filesystem::path kept = studio.keepUnsaved();
    if (!kept.empty()) warn(fmt::format("the studio stopped with unsaved changes; they are kept in {}", kept.string()));
  } catch (const studio::StudioError& failure) {
    throw CliError(fmt::format("the studio stopped with unsaved changes that could not be kept: {}", failure.what()));
  }
}

}  // namespace

void addStudioCommand(CLI::App& app, GlobalOptions& options) {
  auto* command = app.add_subcommand("studio", "Edit and preview patches in the browser (node patcher)");
  auto studioOptions = std::make_shared<StudioOptions>();
  command->add_option("PATCH", studioOptions->patch, "Patch file to open (created on first save if missing)");
  command->add_option("--port", studioOptions->port, "Port to listen on (default: a free one)");
  command->add_option("--address", studioOptions->address, "Address to listen on")->capture_default_str();
  command->add_option("--web", studioOptions->web, "Folder of the built page (default: share/tessivo/studio)");
  command->callback([&options, studioOptions] { runStudio(options, *studioOptions); });
}

}  // namespace tessivo::cli
