#include "tessivo/host/input_file.h"

#include "tessivo/host/error.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivo::host {

namespace {

std::string sizeText(std::uint64_t bytes) {
  if (bytes >= (std::uint64_t{1} << 30) && bytes % (std::uint64_t{1} << 30) == 0)
    return std::to_string(bytes >> 30) + " GiB";
  if (bytes >= (std::uint64_t{1} << 20) && bytes % (std::uint64_t{1} << 20) == 0)
    return std::to_string(bytes >> 20) + " MiB";
  return std::to_string(bytes) + " bytes";
}

[[noreturn]] void tooLarge(const std::string &name, std::uint64_t limit, const std::string &what) {
  throw HostError(name + ": larger than " + sizeText(limit) + ", the limit for " + what);
}

struct Descriptor {
  int fd = -1;
  bool owned = false;
  ~Descriptor() {
    if (owned) ::close(fd);
  }
};

// Waits until a writer has put something into the FIFO (or opened and closed it).
void waitForWriter(int fd, const std::string &name) {
  pollfd request{fd, POLLIN, 0};
  const int timeoutMs = static_cast<int>(std::chrono::milliseconds(kFifoWriterWait).count());
  int ready;
  do ready = ::poll(&request, 1, timeoutMs);
  while (ready < 0 && errno == EINTR);
  if (ready < 0) throw HostError(name + ": " + std::strerror(errno));
  if (ready == 0)
    throw HostError(name + ": no program wrote to this FIFO within " + std::to_string(kFifoWriterWait.count()) + " s");
}

}  // namespace

std::string inputName(const std::filesystem::path &path) { return path == "-" ? "standard input" : path.string(); }

std::string readInputFile(const std::filesystem::path &path, std::uint64_t limit, const std::string &what) {
  const std::string name = inputName(path);
  Descriptor input;
  if (path == "-") {
    input.fd = STDIN_FILENO;
    if (::isatty(input.fd)) throw HostError(name + ": is a terminal; pipe " + what + " in or name a file");
  } else {
    // Not blocking, so that opening a FIFO nobody writes to returns at once.
    input.fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (input.fd < 0) throw HostError(name + ": cannot open: " + std::strerror(errno));
    input.owned = true;
  }
  struct stat status {};
  if (::fstat(input.fd, &status) != 0) throw HostError(name + ": " + std::strerror(errno));
  if (S_ISDIR(status.st_mode)) throw HostError(name + ": " + std::strerror(EISDIR) + ", not " + what);
  if (S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) > limit) tooLarge(name, limit, what);
  if (S_ISFIFO(status.st_mode) && input.owned) waitForWriter(input.fd, name);
  if (input.owned) ::fcntl(input.fd, F_SETFL, ::fcntl(input.fd, F_GETFL) & ~O_NONBLOCK);

  std::string bytes;
  if (S_ISREG(status.st_mode)) bytes.reserve(static_cast<std::size_t>(status.st_size));
  char chunk[1 << 16];
  while (true) {
    const ssize_t got = ::read(input.fd, chunk, sizeof chunk);
    if (got < 0) {
      if (errno == EINTR) continue;
      throw HostError(name + ": read error: " + std::strerror(errno));
    }
    if (got == 0) break;
    if (bytes.size() + static_cast<std::size_t>(got) > limit) tooLarge(name, limit, what);
    bytes.append(chunk, static_cast<std::size_t>(got));
  }
  return bytes;
}

}  // namespace tessivo::host
