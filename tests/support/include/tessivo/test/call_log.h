// The calls the bundle made into the fake host, in order, with their arguments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::test {

struct LoggedCall {
  std::string function;
  std::vector<uintptr_t> args;     // integer and pointer arguments in order, the cookie left out
  std::vector<std::string> texts;  // string arguments (groups, keys, labels)
  std::vector<double> reals;       // floating arguments, rectangles element by element
};

class CallLog {
 public:
  void add(LoggedCall call) { calls_.push_back(std::move(call)); }
  void clear() { calls_.clear(); }
  const std::vector<LoggedCall> &calls() const { return calls_; }
  // Function names in call order.
  std::vector<std::string> functions() const;
  std::vector<LoggedCall> named(std::string_view function) const;
  size_t count(std::string_view function) const { return named(function).size(); }

 private:
  std::vector<LoggedCall> calls_;
};

}  // namespace tessivo::test
