// A log of every call the bundle makes into the host's tables and every
// message the host sends the bundle, in order, for tests and diagnostics.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tessivo::host {

struct RecordedCall {
  enum class Kind { HostFunction, Message };
  Kind kind = Kind::HostFunction;
  // Host function name ("RequestInput", "CopyImage", ...) or message name ("RenderOutput", ...).
  std::string function;
  // Code of the module instance concerned ('fadr'), 0 for bundle-wide calls.
  uint32_t module = 0;
  // Arguments after the cookie, rendered as text: numbers in decimal, codes as 'abcd',
  // pointers as "null" or "ptr", rectangles as "(top,left,bottom,right)".
  std::vector<std::string> arguments;

  // "fadr RequestInput(0, 0, ptr)".
  std::string text() const;
};

// Thread-safe: calls may arrive from the threads that deliver inputs.
class Recorder {
 public:
  void record(RecordedCall call);
  void clear();
  std::vector<RecordedCall> calls() const;
  // The function names in order, optionally only those of one module (0: all).
  std::vector<std::string> functions(uint32_t module = 0) const;
  // How many recorded calls have this function name.
  size_t count(const std::string& function) const;
  // One line per call.
  std::string transcript() const;

 private:
  mutable std::mutex mutex_;
  std::vector<RecordedCall> calls_;
};

}  // namespace tessivo::host
