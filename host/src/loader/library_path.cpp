#include "loader/library_path.h"

#include <filesystem>

namespace tessivo::host {

std::string libraryBesideProgram(std::string_view fileName) {
  std::error_code error;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) {
    const auto dir = exe.parent_path();
    for (const auto &candidate : {dir / "../lib" / fileName, dir / fileName})
      if (std::filesystem::exists(candidate, error)) return candidate.lexically_normal().string();
  }
  return std::string(fileName);
}

}  // namespace tessivo::host
