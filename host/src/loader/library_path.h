// Where the libraries that travel with the program are: in ../lib beside the
// running executable (the build tree and an install alike), else beside it.
#pragma once

#include <string>
#include <string_view>

namespace tessivo::host {

// The path of fileName in the first of those folders that has it; the bare
// name (for the dynamic loader's own search) when neither does.
std::string libraryBesideProgram(std::string_view fileName);

}  // namespace tessivo::host
