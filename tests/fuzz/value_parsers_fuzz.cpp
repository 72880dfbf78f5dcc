// The parsers of the values users type after --set and --ctrl: numbers,
// flags, colours and control expressions in t, evaluated at times that
// include negative, huge and non-finite ones. A number accepted must read
// back the same from its own decimal form.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "tessivo/host/control_expression.h"
#include "tessivo/host/error.h"
#include "tessivo/host/user_values.h"
#include "settings/value_text.h"

namespace {

void Fail(const char *what, const std::string &text) {
  std::fprintf(stderr, "%s: \"%s\"\n", what, text.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  using namespace tessivo::host;
  if (const auto integer = parseInteger(text); integer && parseInteger(std::to_string(*integer)) != integer)
    Fail("an integer does not read back", text);
  if (const auto real = parseDouble(text); real && std::isfinite(*real)) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", *real);
    if (parseDouble(buffer) != real) Fail("a number does not read back", text);
  }
  parseBoolean(text);
  parseColor(text);
  try {
    ControlExpression expression(text);
    for (const double t : {0.0, -1.0, 0.5, 1e20, -1e300, std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()})
      expression(t);
  } catch (const HostError &) {
  }
  return 0;
}
