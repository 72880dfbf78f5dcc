// Writing an output file the way a user expects of a Unix tool.
//
// - "-" is standard output.
// - A regular file (or a new name) is replaced atomically: the bytes go to a
//   temporary beside it, which is renamed over it, so readers see the old or
//   the new contents and a failed or interrupted write leaves the old file.
//   An existing file keeps its permission bits; a new one gets 0666 less the
//   umask. A read-only file is replaced only when the caller allows it.
// - A symlink is followed: its target is written as above, the link stays.
// - FIFOs, devices and sockets are written through, never replaced.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tessivo::host {

struct OutputOptions {
  bool replaceReadOnly = false;  // replace a file that has no write permission
  std::string readOnlyHint;      // appended to the read-only refusal: how to allow it
};

// Throws HostError "cannot write <path>: <reason>"; on failure an existing
// regular file is untouched and no temporary is left behind (also when the
// process is interrupted by SIGINT, SIGTERM or SIGHUP during the write).
void writeOutputFile(const std::filesystem::path &path, std::string_view bytes, const OutputOptions &options = {});

// "standard output" for "-", the path otherwise.
std::string outputName(const std::filesystem::path &path);

}  // namespace tessivo::host
