#include "tessivo/host/output_file.h"

#include "tessivo/host/error.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivo::host {

namespace {

[[noreturn]] void fail(const std::filesystem::path &path, const std::string &reason) {
  throw HostError("cannot write " + outputName(path) + ": " + reason);
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Temporaries being written. A fatal signal during a write removes them
// before the process dies, so nothing is left beside the output.
struct TempSlot {
  std::atomic<bool> used{false};
  char path[4096] = {};
};
std::array<TempSlot, 4> temps;
constexpr std::array<int, 3> kFatalSignals = {SIGINT, SIGTERM, SIGHUP};

extern "C" void removeTempsAndDie(int signal) {
  for (TempSlot &slot : temps)
    if (slot.used.load()) ::unlink(slot.path);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// Catches fatal signals for its lifetime and names the temporary they must
// remove. Only signals still at their default action are caught: a caller
// that handles them itself (a render stopping between frames) lets the write
// finish.
class TempGuard {
 public:
  TempGuard() {
    for (TempSlot &slot : temps)
      if (!slot.used.load()) {
        slot_ = &slot;
        break;
      }
    for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
      struct sigaction action {}, previous {};
      action.sa_handler = removeTempsAndDie;
      sigemptyset(&action.sa_mask);
      if (::sigaction(kFatalSignals[i], nullptr, &previous) == 0 && previous.sa_handler == SIG_DFL &&
          ::sigaction(kFatalSignals[i], &action, &previous) == 0)
        installed_[i] = true;
    }
  }
  ~TempGuard() {
    for (std::size_t i = 0; i < kFatalSignals.size(); ++i)
      if (installed_[i]) std::signal(kFatalSignals[i], SIG_DFL);
    forget();
  }
  TempGuard(const TempGuard &) = delete;
  TempGuard &operator=(const TempGuard &) = delete;

  // Called before the file is created, so no moment exists where it is on
  // disk but unknown to the handler.
  void track(const std::string &path) {
    forget();
    if (slot_ == nullptr || path.size() >= sizeof slot_->path) return;
    std::memcpy(slot_->path, path.c_str(), path.size() + 1);
    slot_->used.store(true);
  }
  void forget() {
    if (slot_ != nullptr) slot_->used.store(false);
  }

 private:
  TempSlot *slot_ = nullptr;
  std::array<bool, kFatalSignals.size()> installed_{};
};

// The file a chain of symlinks finally names (which need not exist yet).
std::filesystem::path followLinks(std::filesystem::path path) {
  for (int hops = 0; hops < 40; ++hops) {
    std::error_code error;
    if (!std::filesystem::is_symlink(std::filesystem::symlink_status(path, error))) return path;
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) fail(path, error.message());
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  fail(path, std::strerror(ELOOP));
}

void writeThrough(const std::filesystem::path &path, std::string_view bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) fail(path, std::strerror(errno));
  const bool ok = writeAll(fd, bytes);
  const int error = errno;
  if (::close(fd) != 0 || !ok) fail(path, std::strerror(ok ? errno : error));
}

void replaceAtomically(const std::filesystem::path &path, std::string_view bytes, const struct stat *existing) {
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  static unsigned counter = 0;
  TempGuard guard;
  std::string temp;
  int fd = -1;
  for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
    temp = (folder / ("." + path.filename().string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                      std::to_string(counter++)))
               .string();
    guard.track(temp);
    // 0666 so that the umask decides a new file's permissions, as for any program.
    fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) guard.forget();
    if (fd < 0 && errno != EEXIST) fail(path, std::strerror(errno));
  }
  if (fd < 0) fail(path, "no free temporary name");
  if (existing != nullptr) {
    ::fchmod(fd, existing->st_mode & 07777);
    [[maybe_unused]] const int ignored = ::fchown(fd, existing->st_uid, existing->st_gid);  // when allowed
  }
  const bool ok = writeAll(fd, bytes) && ::fsync(fd) == 0;
  const int writeError = errno;
  if (::close(fd) != 0 || !ok) {
    const int error = ok ? errno : writeError;
    ::unlink(temp.c_str());
    fail(path, std::strerror(error));
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temp.c_str());
    fail(path, std::strerror(error));
  }
}

}  // namespace

std::string outputName(const std::filesystem::path &path) { return path == "-" ? "standard output" : path.string(); }

void writeOutputFile(const std::filesystem::path &path, std::string_view bytes, const OutputOptions &options) {
  if (path == "-") {
    if (!writeAll(STDOUT_FILENO, bytes)) fail(path, std::strerror(errno));
    return;
  }
  const std::filesystem::path target = followLinks(path);
  struct stat status {};
  if (::stat(target.c_str(), &status) != 0) {
    if (errno != ENOENT) fail(path, std::strerror(errno));
    replaceAtomically(target, bytes, nullptr);
    return;
  }
  if (S_ISDIR(status.st_mode)) fail(path, std::strerror(EISDIR));
  if (!S_ISREG(status.st_mode)) {
    writeThrough(target, bytes);
    return;
  }
  // Permission bits, not access(): root may write anything, yet a 0444 file says "keep me".
  if (!options.replaceReadOnly && ((status.st_mode & 0222) == 0 || ::access(target.c_str(), W_OK) != 0))
    fail(path, "the file is read-only" + options.readOnlyHint);
  replaceAtomically(target, bytes, &status);
}

}  // namespace tessivo::host
