// Replacing a file so that readers see either the old or the new contents.
#pragma once

#include <filesystem>
#include <string_view>

namespace tessivo::host {

// Writes contents to a temporary file beside path, flushes it to disk and
// renames it over path. Throws std::runtime_error "cannot write <path>: <reason>";
// path is untouched on failure.
void writeFileAtomically(const std::filesystem::path &path, std::string_view contents);

}  // namespace tessivo::host
