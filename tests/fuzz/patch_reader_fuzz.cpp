// The patch reader on any text: JSON that is not a valid patch is refused
// with a HostError naming the patch, and a patch it accepts comes back the
// same through the writer and the reader again.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "tessivo/host/error.h"
#include "tessivo/host/patch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const nlohmann::json document =
      nlohmann::json::parse(data, data + size, nullptr, /*allow_exceptions=*/false, /*ignore_comments=*/false);
  if (document.is_discarded()) return 0;
  try {
    const tessivo::host::Patch patch = tessivo::host::patchFromJson(document, "fuzz.patch");
    const nlohmann::json written = tessivo::host::patchToJson(patch);
    if (tessivo::host::patchToJson(tessivo::host::patchFromJson(written, "fuzz.patch")) != written) {
      std::fprintf(stderr, "a patch changed on its way through the writer and the reader\n");
      std::abort();
    }
  } catch (const tessivo::host::HostError &error) {
    if (std::string(error.what()).find("fuzz.patch") == std::string::npos) {
      std::fprintf(stderr, "an error that does not name the patch: %s\n", error.what());
      std::abort();
    }
  }
  return 0;
}
