// What every subcommand shares: the options that choose the bundle, module
// lookup with helpful errors, and one-line error reporting.
#pragma once

#include <tessivo/host/bundle.h>
#include <tessivo/host/instance.h>

#include <marlix/fourcc.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::host {
class SettingsStore;
struct ImageWriteOptions;
}

namespace CLI {
class App;
}

namespace tessivo::cli {

// Value types of ports and wires.
inline constexpr uint32_t kTypeImage = FourCC("imag");
inline constexpr uint32_t kTypeControl = FourCC("ctrl");
inline constexpr uint32_t kTypeOnOff = FourCC("ddes");

// A user-facing failure; main prints "tessivo: error: <message>" and exits 1.
class CliError : public std::runtime_error {
 public:
  explicit CliError(const std::string& message) : std::runtime_error(message) {}
};

// A mistake on the command line; main adds a pointer to the subcommand's
// --help and exits 2, as for the parser's own errors.
class UsageError : public CliError {
 public:
  using CliError::CliError;
};

// Exit statuses: failures and command-line mistakes.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// "tessivo: warning: <message>" on stderr.
void warn(std::string_view message);

struct GlobalOptions {
  std::string bundlePath;  // empty: TESSIVO_BUNDLE or the bundle beside the program
  bool noVImage = false;
};

// Loads the bundle chosen by the options.
std::unique_ptr<host::Bundle> loadBundle(const GlobalOptions& options);

// "fadr" -> its code. Unknown codes (neither listed nor buildable) are
// rejected (UsageError) with the nearest code and the list of valid ones.
uint32_t parseModuleCode(host::Bundle& bundle, std::string_view text);

// A module this build offers: listed by the registry, or documented and
// buildable by code though not listed.
struct OfferedModule {
  uint32_t code = 0;
  std::string name;
  bool listed = false;
};
std::vector<OfferedModule> offeredModules(host::Bundle& bundle);
// "blur (Blur), ..., dfsn (Diffusion, not listed)" for messages.
std::string offeredCodes(host::Bundle& bundle);

// Reads a settings file and checks it as the modules will read it: every
// group belongs to a module this build offers, every key is one of its
// settings, every value has the setting's type. CliError names the file,
// group, key and what was expected.
void loadSettingsFile(host::Bundle& bundle, host::SettingsStore& store, const std::string& path);

// Creates an instance; a refusal becomes a CliError naming the module.
std::unique_ptr<host::Instance> createInstance(host::Bundle& bundle, uint32_t code);

// Port text for listings: "in  imag image  Image Input (In)".
std::string portDirectionName(uint32_t direction);
std::string portKindName(uint32_t kind);

// The port matching a selector: its index, long name or short name
// (case-insensitive). UsageError names the nearest and lists the module's ports otherwise.
const host::PortInfo& findInputPort(const host::Instance& instance, std::string_view selector);

// Splits "[WHICH:]REST" where WHICH addresses modules of a chain: a code
// ("fadr"), a position from 1 ("2") or a code's n-th occurrence ("fadr#2").
// Returns WHICH (empty if none) and REST.
std::pair<std::string, std::string> splitModulePrefix(std::string_view text);

// Makes any message fit on one line.
std::string oneLine(std::string_view message);

// How a still is written: format, compression and permission to replace a read-only file.
struct StillOutputOptions {
  std::string format;  // empty: from OUT's extension (PNG for - and names without one)
  int pngLevel = 2;
  int quality = 90;
  bool force = false;
};
void addStillOutputOptions(CLI::App& command, StillOutputOptions& options);
// keepAlpha false: an all-opaque image is written as RGB (the input had no alpha).
host::ImageWriteOptions imageWriteOptions(const StillOutputOptions& options, bool keepAlpha);

// Subcommand registration; each lives in its own file.
void addListCommand(CLI::App& app, GlobalOptions& options);
void addInfoCommand(CLI::App& app, GlobalOptions& options);
void addApplyCommand(CLI::App& app, GlobalOptions& options);
void addPanelCommand(CLI::App& app, GlobalOptions& options);
void addDemoCommand(CLI::App& app, GlobalOptions& options);
void addRenderCommand(CLI::App& app, GlobalOptions& options);
void addPatchCommand(CLI::App& app, GlobalOptions& options);
void addStudioCommand(CLI::App& app, GlobalOptions& options);

}  // namespace tessivo::cli
