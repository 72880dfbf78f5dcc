// What feeds a module's input port: the host evaluates it when the module
// reads the port (an image, a control value) or at the start of a frame (on/off).
#pragma once

#include "tessivo/host/image.h"

#include <marlix/ports.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tessivo::host {

// A request the module placed on one of its ports, copied out of the module's memory.
struct InputRequest {
  uint32_t type = 0;      // 'imag', 'ctrl' or 'ddes'
  ValueRecord record{};   // the module's record as it was placed
  ImageDescriptor image{};  // the wanted image ('imag' requests)
  double time = 0.0;        // the request's time (every type)
};

// What a source answers.
struct InputValue {
  std::shared_ptr<const Image> image;  // 'imag': exactly the requested size and format
  std::optional<float> control;        // 'ctrl'
  std::optional<bool> enabled;         // 'ddes'
};

class InputSource {
 public:
  virtual ~InputSource() = default;
  // 'imag', 'ctrl' or 'ddes': the port type this source can feed.
  virtual uint32_t valueType() const = 0;
  // Short description for messages ("still 640x480", "Fader").
  virtual std::string describe() const = 0;
  // Evaluates the source for a request. May throw HostError. May run on a delivery thread.
  virtual InputValue read(const InputRequest& request) = 0;
};

}  // namespace tessivo::host
