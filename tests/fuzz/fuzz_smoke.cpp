// Runs a fuzz target without libFuzzer: a number of pseudo-random inputs
// from a fixed seed, then each file named on the command line (a saved
// crash input, say, to replay it in any build).
//   dispatch_fuzz_smoke [runs] [file...]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
  const unsigned long runs = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 3000;
  std::mt19937 random(20240611);
  std::vector<uint8_t> input;
  for (unsigned long run = 0; run < runs; ++run) {
    input.resize(random() % 1024);
    for (uint8_t &byte : input) byte = static_cast<uint8_t>(random());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  for (int i = 2; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    input.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%lu random inputs and %d files passed\n", runs, argc > 2 ? argc - 2 : 0);
  return 0;
}
