// Reading inputs with a cap and writing outputs as Unix tools do: atomic
// replacement of regular files with their permissions kept, write-through for
// FIFOs and symlinks' targets, read-only files left alone unless allowed.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include <thread>

#include "host_test_support.h"
#include "tessivo/host/input_file.h"
#include "tessivo/host/output_file.h"

namespace tessivo::host {
namespace {

using testing::errorOf;
using testing::readText;
using testing::writeText;

mode_t modeOf(const std::filesystem::path &path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

std::size_t entries(const std::filesystem::path &folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(OutputFile, RegularFilesKeepTheirModeAndNewOnesFollowTheUmask) {
  testing::ScratchFolder folder;
  const mode_t previous = ::umask(027);
  writeOutputFile(folder / "new", "one");
  ::umask(previous);
  EXPECT_EQ(modeOf(folder / "new"), 0640u);

  writeText(folder / "private", "old");
  ::chmod((folder / "private").c_str(), 0600);
  writeOutputFile(folder / "private", "new");
  EXPECT_EQ(readText(folder / "private"), "new");
  EXPECT_EQ(modeOf(folder / "private"), 0600u);

  writeText(folder / "kept", "old");
  ::chmod((folder / "kept").c_str(), 0444);
  const std::string refusal = errorOf([&] { writeOutputFile(folder / "kept", "new", {false, "; ask first"}); });
  EXPECT_NE(refusal.find("cannot write " + (folder / "kept").string() + ": the file is read-only; ask first"),
            std::string::npos)
      << refusal;
  EXPECT_EQ(readText(folder / "kept"), "old");
  writeOutputFile(folder / "kept", "new", {true, ""});
  EXPECT_EQ(readText(folder / "kept"), "new");
  EXPECT_EQ(modeOf(folder / "kept"), 0444u);
  EXPECT_EQ(entries(folder.path), 3u);  // no temporaries left
}

TEST(OutputFile, SymlinksAndFifosAreWrittenThrough) {
  testing::ScratchFolder folder;
  std::filesystem::create_directory(folder / "real");
  std::filesystem::create_symlink("real/target", folder / "link");
  writeOutputFile(folder / "link", "through the link");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(readText(folder / "real" / "target"), "through the link");

  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = readText(folder / "fifo"); });
  writeOutputFile(folder / "fifo", "down the pipe");
  reader.join();
  EXPECT_EQ(received, "down the pipe");
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "fifo"));

  EXPECT_NE(errorOf([&] { writeOutputFile(folder / "real", "x"); }).find("Is a directory"), std::string::npos);
  EXPECT_NE(errorOf([&] { writeOutputFile(folder / "absent" / "x", "x"); }).find("cannot write"), std::string::npos);
  EXPECT_EQ(entries(folder.path), 3u);
  EXPECT_EQ(entries(folder / "real"), 1u);
}

// A write killed half-way leaves neither a temporary nor a partial output.
TEST(OutputFile, ATerminatedWriteLeavesNothing) {
  testing::ScratchFolder folder;
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    writeOutputFile(folder / "big", std::string(std::size_t{512} << 20, 'x'));
    ::_exit(0);
  }
  // Kill it once its temporary exists, while it writes.
  bool writing = false;
  for (int wait = 0; wait < 20000 && !writing; ++wait) {
    writing = entries(folder.path) > 0;
    if (!writing) ::usleep(500);
  }
  ::kill(child, SIGTERM);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(writing);
  if (WIFEXITED(status)) GTEST_SKIP() << "the write finished before the signal arrived";
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);  // it still dies of the signal
  EXPECT_EQ(entries(folder.path), 0u);
}

TEST(InputFile, ReadsAreCappedAndProblemsNamed) {
  testing::ScratchFolder folder;
  writeText(folder / "small", "0123456789");
  EXPECT_EQ(readInputFile(folder / "small", 10, "a test file"), "0123456789");
  EXPECT_NE(errorOf([&] { readInputFile(folder / "small", 9, "a test file"); })
                .find("small: larger than 9 bytes, the limit for a test file"),
            std::string::npos);
  // Devices and pipes have no size to check first: the cap holds while reading.
  EXPECT_NE(errorOf([&] { readInputFile("/dev/zero", 1 << 20, "a test file"); })
                .find("/dev/zero: larger than 1 MiB, the limit for a test file"),
            std::string::npos);
  EXPECT_NE(errorOf([&] { readInputFile(folder.path, 10, "a test file"); }).find("Is a directory, not a test file"),
            std::string::npos);
  EXPECT_NE(errorOf([&] { readInputFile(folder / "absent", 10, "a test file"); }).find("absent: cannot open"),
            std::string::npos);

  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the reader waits for its writer
    writeText(folder / "fifo", "from a writer");
  });
  EXPECT_EQ(readInputFile(folder / "fifo", 100, "a test file"), "from a writer");
  writer.join();
}

}  // namespace
}  // namespace tessivo::host
