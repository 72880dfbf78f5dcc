#include "atomic_file.h"

#include "tessivo/host/error.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivo::host {

namespace {

[[noreturn]] void fail(const std::filesystem::path &path, int error) {
  throw HostError("cannot write " + path.string() + ": " + std::strerror(error));
}

bool writeAll(int fd, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t written = ::write(fd, contents.data(), contents.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    contents.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

void writeFileAtomically(const std::filesystem::path &path, std::string_view contents) {
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  std::string temp = (folder / ("." + path.filename().string() + ".tmp-XXXXXX")).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) fail(path, errno);
  ::fchmod(fd, 0644);
  const bool ok = writeAll(fd, contents) && ::fsync(fd) == 0;
  const int writeError = errno;
  if (::close(fd) != 0 || !ok) {
    const int error = ok ? errno : writeError;
    ::unlink(temp.c_str());
    fail(path, error);
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temp.c_str());
    fail(path, error);
  }
}

}  // namespace tessivo::host
