// Runs a fuzz target without libFuzzer: a number of pseudo-random inputs
// from a fixed seed, then each file named on the command line, or each file
// in a folder named (a corpus: seeds and saved crash inputs, to replay them
// in any build).
//   dispatch_fuzz_smoke [runs] [file or folder...]
// With FUZZ_SMOKE_INPUT=path set, each random input is written there before it
// runs, so the one that fails is left in that file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
  const unsigned long runs = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 3000;
  std::mt19937 random(20240611);
  std::vector<uint8_t> input;
  const char *keep = std::getenv("FUZZ_SMOKE_INPUT");
  for (unsigned long run = 0; run < runs; ++run) {
    input.resize(random() % 1024);
    for (uint8_t &byte : input) byte = static_cast<uint8_t>(random());
    if (keep != nullptr) std::ofstream(keep, std::ios::binary).write(reinterpret_cast<const char *>(input.data()),
                                                                      static_cast<std::streamsize>(input.size()));
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::vector<std::filesystem::path> files;
  for (int i = 2; i < argc; ++i) {
    std::error_code error;
    if (std::filesystem::is_directory(argv[i], error)) {
      const size_t first = files.size();
      for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin() + static_cast<long>(first), files.end());
    } else {
      files.emplace_back(argv[i]);
    }
  }
  for (const auto &path : files) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", path.c_str());
      return 1;
    }
    input.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%lu random inputs and %zu files passed\n", runs, files.size());
  return 0;
}
