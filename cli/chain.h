// The chain of modules that apply and render run: codes joined by +, with the
// settings, controls and switches given on the command line.
#pragma once

#include "cli_common.h"

#include <tessivo/host/graph.h>
#include <tessivo/host/image.h>

#include <string>
#include <vector>

namespace tessivo::cli {

struct ChainOptions {
  std::string chain;  // "fadr+embs"
  std::vector<std::string> sets;
  std::vector<std::string> controls;
  bool off = false;
  bool gray = false;
  std::string settingsFile;
};

// --set, --ctrl, --off, --gray and --settings.
void addChainOptions(CLI::App& command, ChainOptions& options);

struct Chain {
  host::NodeId source = 0;  // the still that feeds the first module
  host::NodeId output = 0;  // the last module
};

// The chain's codes, each checked (UsageError for an unknown one).
std::vector<uint32_t> parseChainCodes(host::Bundle& bundle, const std::string& chain);

// Adds a still holding `first` and the chain's modules to the graph, wired left
// to right, with settings and controls applied. Throws CliError.
Chain buildChain(host::Graph& graph, host::Bundle& bundle, const ChainOptions& options, host::Image first);

}  // namespace tessivo::cli
