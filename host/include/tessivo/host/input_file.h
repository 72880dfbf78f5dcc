// Reading a whole input file with a cap, whatever the path names: a regular
// file, standard input ("-"), a FIFO or a device.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

namespace tessivo::host {

inline constexpr std::uint64_t kMaxImageFileBytes = std::uint64_t{1} << 30;
inline constexpr std::uint64_t kMaxTextFileBytes = std::uint64_t{64} << 20;

// How long a FIFO may stay without a writer before the read gives up.
inline constexpr std::chrono::seconds kFifoWriterWait{10};

// The bytes of `path` ("-" is standard input). Throws HostError "<path>: <reason>"
// for a missing file, a folder, a FIFO nobody writes to within kFifoWriterWait,
// a terminal as standard input, or more than `limit` bytes (`what` names the
// kind of file in that message: "an image", "a settings file").
std::string readInputFile(const std::filesystem::path &path, std::uint64_t limit, const std::string &what);

// "standard input" for "-", the path otherwise.
std::string inputName(const std::filesystem::path &path);

}  // namespace tessivo::host
