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

struct GlobalOptions {
  std::string bundlePath;  // empty: TESSIVO_BUNDLE or the bundle beside the program
  bool noVImage = false;
};

// Loads the bundle chosen by the options.
std::unique_ptr<host::Bundle> loadBundle(const GlobalOptions& options);

// "fadr" -> its code. Unknown codes (neither listed nor buildable) are
// rejected with the list of valid ones.
uint32_t parseModuleCode(host::Bundle& bundle, std::string_view text);
// Every listed code, "fadr (Fader), ..." for error messages.
std::string listedCodes(const host::Bundle& bundle);

// Creates an instance; a refusal becomes a CliError naming the module.
std::unique_ptr<host::Instance> createInstance(host::Bundle& bundle, uint32_t code);

// Port text for listings: "in  imag image  Image Input (In)".
std::string portDirectionName(uint32_t direction);
std::string portKindName(uint32_t kind);

// The port matching a selector: its index, long name or short name
// (case-insensitive). CliError lists the module's ports otherwise.
const host::PortInfo& findInputPort(const host::Instance& instance, std::string_view selector);

// Splits "[CODE:]REST" where CODE is four characters; returns the code text (empty if none) and REST.
std::pair<std::string, std::string> splitModulePrefix(std::string_view text);

// Makes any message fit on one line.
std::string oneLine(std::string_view message);

// Subcommand registration; each lives in its own file.
void addListCommand(CLI::App& app, GlobalOptions& options);
void addInfoCommand(CLI::App& app, GlobalOptions& options);
void addApplyCommand(CLI::App& app, GlobalOptions& options);
void addPanelCommand(CLI::App& app, GlobalOptions& options);
void addDemoCommand(CLI::App& app, GlobalOptions& options);
void addRenderCommand(CLI::App& app, GlobalOptions& options);

}  // namespace tessivo::cli
