// Editing a patch in memory, one KEY=VALUE at a time.
#pragma once

#include "chain.h"

#include <tessivo/host/bundle.h>
#include <tessivo/host/patch.h>

#include <string>

namespace tessivo::cli {

// KEY=VALUE on the node with this id: a module's setting, or a value on one of its inputs
// (a controller, an on/off value, or for an image input the id of the node
// that feeds it); value, on or path on the other kinds. CliError names the
// node and what it has.
void assignToNode(host::Patch& patch, host::Bundle& bundle, const std::string& id, const std::string& text);

// A chain's --settings, --set, --ctrl and --off on a patch's module nodes, in
// that order: the file's groups go to the nodes of those modules; [WHICH:]
// names a node id or a module code, and without it an assignment goes to
// every module node that has the key.
void applyChainOptions(host::Patch& patch, host::Bundle& bundle, const ChainOptions& options);

}  // namespace tessivo::cli
