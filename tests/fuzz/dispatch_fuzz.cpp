// Messages decoded from the input, sent to the bundle's ModuleMain (linked in)
// with a FakeHost's tables: known and arbitrary message codes, instances
// created and destroyed in any order, events with any port and any request
// words, scripted input deliveries and images of any size and format.
// The host never lies about memory: every pointer it hands over is null or
// points to a live record, and every image's buffer holds what its descriptor
// says. After each message every image's row padding must be untouched.
#include <marlix/marlix.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "tessivo/test/fake_host.h"

extern "C" uint32_t ModuleMain(HostCall *call);

namespace {

using tessivo::fuzz::FuzzInput;
using tessivo::test::FakeHost;
using tessivo::test::TestImage;

constexpr int32_t kMessages[] = {kHostMessage1001, kHostMessage1002, kHostMessage2001,  kHostMessage2002,
                                 kRenderStart,     kHostMessage3201, kRenderStop,       kRenderOutput,
                                 kInputValueArrived, kRequestCancelled, kHostMessage3300, kInputsConnected,
                                 kHostMessage3302, kOutputRequested};
constexpr uint32_t kClassCodes[] = {FourCC("fadr"), FourCC("blur"), FourCC("dfsn"), FourCC("embs"),
                                    FourCC("flsh"), FourCC("iris"), FourCC("jshn"), FourCC("kgmi"),
                                    FourCC("lnlz"), FourCC("pixx"), FourCC("strp"), 0};
constexpr uint32_t kValueTypes[] = {FourCC("imag"), FourCC("ddes"), FourCC("ctrl")};
constexpr size_t kMaxInstances = 4;

template <typename T, size_t N>
T Pick(FuzzInput &in, const T (&items)[N]) {
  return items[in.byte() % N];
}

// A host sends these only in its own order and with their own records;
// Create, Destroy and the start and end of each input send them.
bool Structural(uint32_t m) { return m == kPluginLoad || m == kPluginUnload || m == kInstanceCreate || m == kInstanceDestroy; }

std::unique_ptr<TestImage> Image(FuzzInput &in) {
  const uint32_t width = in.byte() % 41, height = in.byte() % 41, format = in.pixelFormat();
  // At least one byte of padding: TestImage cannot hold rows of no bytes.
  auto image = std::make_unique<TestImage>(width, height, format, 1 + in.byte() % 16);
  const uint32_t seed = in.byte();
  image->fill([seed](uint32_t x, uint32_t y) { return (x * 0x9E3779B1u) ^ (y * 0x85EBCA6Bu) ^ seed; });
  // The time's first word is also an arrived On/Off value: often 0 or 1.
  image->descriptor().time = in.byte() % 4 == 0 ? std::bit_cast<double>(static_cast<uint64_t>(in.byte() % 2)) : in.wide();
  return image;
}

// ARGB rows step by whole pixels (row bytes / 4), so in an ARGB image whose
// row bytes are not a multiple of four the rows written are not where
// TestImage looks for padding; only ASan watches those.
bool PaddingIntact(TestImage &image) {
  return (image.format() == kPixelFormatARGB8888 && image.descriptor().rowBytes % 4 != 0) || image.paddingIntact();
}

// The instances that write rows beyond their pixels: Kagami (every image as
// ARGB8888 rows) and Linalize (clears its canvas whole row bytes).
std::vector<void *> wholeWordWriters;

void Create(FakeHost &host, FuzzInput &in, std::vector<void *> &instances) {
  HostCall &call = host.call();
  call.target = in.byte() % 8 != 0 ? &host.classRecord : nullptr;
  host.offerBitmapService = in.byte() % 8 != 0;
  const uint8_t choice = in.byte() % 4;
  host.classRecord.classCode = choice < 2 ? kClassCodes[0] : choice == 2 ? Pick(in, kClassCodes) : in.word();
  call.message = kInstanceCreate;
  if (ModuleMain(&call) == 1 && call.instance != nullptr) {
    instances.push_back(call.instance);
    if (host.classRecord.classCode == FourCC("kgmi") || host.classRecord.classCode == FourCC("lnlz"))
      wholeWordWriters.push_back(call.instance);
  }
}

void Destroy(FakeHost &host, FuzzInput &in, std::vector<void *> &instances) {
  HostCall &call = host.call();
  call.target = in.byte() % 8 != 0 ? &host.classRecord : nullptr;
  const size_t pick = in.byte() % (instances.size() + 1);  // the last choice is no instance
  call.instance = pick < instances.size() ? instances[pick] : nullptr;
  call.message = kInstanceDestroy;
  if (ModuleMain(&call) == 1 && pick < instances.size()) {
    std::erase(wholeWordWriters, instances[pick]);
    instances.erase(instances.begin() + static_cast<long>(pick));
  }
}

void SendMessage(FakeHost &host, FuzzInput &in, const std::vector<void *> &instances) {
  const uint8_t kind = in.byte() % 8;
  uint32_t message = kind < 3    ? uint32_t{kRenderOutput}
                     : kind == 3 ? uint32_t{kInputsConnected}
                     : kind < 6  ? static_cast<uint32_t>(Pick(in, kMessages))
                                 : in.word();
  if (Structural(message)) message = kRenderOutput;
  const uint64_t highHalf = in.byte() % 4 == 0 ? in.word() : 0;  // not part of the message
  HostCall &call = host.call();
  call.message = static_cast<intptr_t>(highHalf << 32 | message);
  const size_t pick = in.byte() % (instances.size() + 1);
  call.instance = pick < instances.size() ? instances[pick] : nullptr;

  const std::unique_ptr<TestImage> input = Image(in), output = Image(in), other = Image(in);
  if (in.byte() % 4 != 0) host.deliverImage(0, *input); else host.deliverNothing(0);
  switch (in.byte() % 3) {
    case 0: host.deliverControl(2, in.byte() % 2 == 0 ? static_cast<float>(in.byte()) / 128.0f : in.real()); break;
    case 1: host.deliverEmptyControl(2); break;
    default: host.deliverNothing(2);
  }
  // Mostly nothing on the On/Off port (1), which leaves the module running.
  for (uint32_t port = 0; port < 3; ++port) host.requestResults[port] = in.byte() % (port == 1 ? 4 : 2) == 1;
  host.lockFails = in.byte() % 8 == 0, host.createFails = in.byte() % 8 == 0;

  const auto descriptor = [&](uint8_t choice) {
    return choice % 3 == 0 ? nullptr : choice % 3 == 1 ? &output->descriptor() : &other->descriptor();
  };
  ValueRecord request{};
  request.stamp = in.word(), request.type = in.byte() % 2 == 0 ? Pick(in, kValueTypes) : in.word();
  request.word2 = in.word(), request.word4 = in.word();
  request.parameter = descriptor(in.byte());
  request.data = in.byte() % 4 != 0 ? output->handle() : nullptr;
  request.destination = descriptor(in.byte());
  HostEvent event = FakeHost::event(in.byte() % 8 != 0 ? &request : nullptr);
  event.port = in.byte() % 2 == 0 ? in.byte() % 4 : uintptr_t{in.word()} << 32 | in.word();
  call.target = in.byte() % 8 != 0 ? &event : nullptr;

  ModuleMain(&call);
  host.deliverNothing(0);  // the image goes away with this message
  // Kagami treats every image as ARGB8888 whatever its format says, so in a
  // one-byte image it writes whole words up to the row bytes, and Linalize
  // clears whole rows: only ASan watches those rows.
  const bool wholeWords = std::find(wholeWordWriters.begin(), wholeWordWriters.end(), call.instance) !=
                          wholeWordWriters.end();
  if (!wholeWords && (!PaddingIntact(*input) || !PaddingIntact(*output) || !PaddingIntact(*other))) {
    std::fprintf(stderr, "message %u wrote into an image's row padding\n", message);
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  FakeHost host;
  HostCall &call = host.call();
  if (in.byte() % 8 == 0) host.removeReportError();
  call.hostTable = in.byte() % 8 != 0 ? &host.hostTable : nullptr;
  call.message = kPluginLoad, call.target = &host.pluginRecord;
  if (ModuleMain(&call) != 1) std::abort();
  call.hostTable = &host.hostTable;

  std::vector<void *> instances;
  Create(host, in, instances);
  for (int step = 0; step < 64 && !in.empty(); ++step) {
    const uint8_t op = in.byte() % 8;
    if (op == 0 && instances.size() < kMaxInstances) Create(host, in, instances);
    else if (op == 1) Destroy(host, in, instances);
    else SendMessage(host, in, instances);
  }
  for (void *instance : instances) {
    call.instance = instance, call.message = kInstanceDestroy, call.target = &host.classRecord;
    ModuleMain(&call);
  }
  call.message = kPluginUnload, call.target = &host.pluginRecord;
  ModuleMain(&call);
  return 0;
}
