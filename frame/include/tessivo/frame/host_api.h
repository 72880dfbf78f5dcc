// What every module's requestInputs, cancelInputs and render do with the
// host: derive requests, read inputs and wait for them, reach images.
#pragma once

#include <marlix/marlix.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>

namespace tessivo {

// The ValueRecord a render-time event carries (slot 17), or null.
ValueRecord *EventValue(void *target);
// The port index a render-time event carries (slot 16).
uint32_t EventPort(void *target);

// The time of a request: the first double of its requested ImageDescriptor (0 when absent).
double RequestTime(const ValueRecord &request);

// Passes the request on to an image input as it is.
uint32_t RequestImage(HostCall *call, uint32_t port, ValueRecord *request);
// Requests a controller input with a 'ctrl' copy of the request whose parameter
// points to timeSlot, set to the request's time. timeSlot must outlive the call.
uint32_t RequestControl(HostCall *call, uint32_t port, const ValueRecord &request, double *timeSlot);
// Where the times of a module's controller requests live. A host may read a
// request's time (through its parameter) after later requests were placed,
// so each request takes its own slot, in turn; a slot is reused only after
// kSlots newer requests. One per instance; give every controller request
// derived from one output request the same slot.
class RequestTimeSlots {
 public:
  static constexpr size_t kSlots = 16;
  double *next() {
    double *slot = &times_[next_];
    next_ = (next_ + 1) % kSlots;
    return slot;
  }

 private:
  double times_[kSlots] = {};
  size_t next_ = 0;
};

// Withdraws the requests derived from request on each port, in order.
void CancelPorts(HostCall *call, ValueRecord *request, std::initializer_list<uint32_t> ports);

// One input read: the record the host fills and its two flags.
struct PortRead {
  ValueRecord record{};
  uint8_t done = 0;
  uint8_t present = 0;

  HostImage *image() const { return static_cast<HostImage *>(record.data); }
  const ImageDescriptor *descriptor() const { return record.destination; }
  // The controller's value; empty when nothing was delivered.
  std::optional<float> control() const;
};

// Reads a port into read: words 0 to 4 copied from the request, flags cleared.
void ReadPort(HostCall *call, uint32_t port, const ValueRecord &request, PortRead &read);
// Marks a port the module does not read in its current state as done.
void SkipPort(PortRead &read);
// Spins until every read is done; the host may finish them from another thread.
void WaitUntilRead(std::initializer_list<const PortRead *> reads);

// The image a module's own output request asks it to write, and its descriptor.
inline HostImage *OutputImage(const ValueRecord &request) { return static_cast<HostImage *>(request.data); }
inline const ImageDescriptor *OutputDescriptor(const ValueRecord &request) { return request.destination; }

// Bitmap-service calls, with the host's cookie supplied.
uint32_t CopyImage(const BitmapService *service, HostImage *source, const ImageDescriptor *sourceDesc,
                   HostImage *destination, const ImageDescriptor *destinationDesc);
ImageDescriptor *LockImage(const BitmapService *service, HostImage *image);
ImageDescriptor *CreateImage(const BitmapService *service, HostImage *image, const ImageDescriptor *desc);
uint32_t ImageStamp(const BitmapService *service, HostImage *image);
// Tells the host the whole destination (0, 0, 1, 1) is about to be written.
uint32_t PrepareDestination(const BitmapService *service, ImageDescriptor *locked, const ImageDescriptor *desc);

}  // namespace tessivo
