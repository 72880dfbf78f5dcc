#include "tessivo/test/call_log.h"

namespace tessivo::test {

std::vector<std::string> CallLog::functions() const {
  std::vector<std::string> names;
  names.reserve(calls_.size());
  for (const LoggedCall &call : calls_) names.push_back(call.function);
  return names;
}

std::vector<LoggedCall> CallLog::named(std::string_view function) const {
  std::vector<LoggedCall> found;
  for (const LoggedCall &call : calls_) {
    if (call.function == function) found.push_back(call);
  }
  return found;
}

}  // namespace tessivo::test
