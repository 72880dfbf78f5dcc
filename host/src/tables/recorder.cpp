#include "tessivo/host/recorder.h"

#include "tessivo/host/error.h"

#include <algorithm>

namespace tessivo::host {

std::string RecordedCall::text() const {
  std::string line = module != 0 ? codeToString(module) + " " : std::string();
  line += function + "(";
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i != 0) line += ", ";
    line += arguments[i];
  }
  return line + ")";
}

void Recorder::record(RecordedCall call) {
  std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

void Recorder::clear() {
  std::lock_guard lock(mutex_);
  calls_.clear();
}

std::vector<RecordedCall> Recorder::calls() const {
  std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<std::string> Recorder::functions(uint32_t module) const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& call : calls_)
    if (module == 0 || call.module == module) names.push_back(call.function);
  return names;
}

size_t Recorder::count(const std::string& function) const {
  std::lock_guard lock(mutex_);
  return static_cast<size_t>(
      std::count_if(calls_.begin(), calls_.end(), [&](const RecordedCall& c) { return c.function == function; }));
}

std::string Recorder::transcript() const {
  std::lock_guard lock(mutex_);
  std::string text;
  for (const auto& call : calls_) text += call.text() + "\n";
  return text;
}

}  // namespace tessivo::host
