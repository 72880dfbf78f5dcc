// Every module rendered by the bundle's ModuleMain (linked in) through a
// FakeHost, after its saved settings have been replaced by arbitrary values of
// arbitrary types: images of any size from 0 up to a few thousand pixels a
// side, any row padding, either pixel format, and controller values that
// include NaN, the infinities and huge numbers. After each frame every image's
// row padding must be untouched.
#include <marlix/marlix.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string>

#include "fuzz_input.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/test/fake_host.h"

namespace {

using tessivo::fuzz::FuzzInput;
using tessivo::host::Color;
using tessivo::host::SettingValue;
using tessivo::test::FakeHost;
using tessivo::test::TestImage;

constexpr uint32_t kCodes[] = {tessivo::kBlurCode,     tessivo::kDiffusionCode, tessivo::kEmbossCode,
                               tessivo::kFaderCode,    tessivo::kFlashCode,     tessivo::kIrisationCode,
                               tessivo::kJishinCode,   tessivo::kKagamiCode,    tessivo::kLinalizeCode,
                               tessivo::kPixxicatoCode, tessivo::kStripizatorCode};

double Wild(FuzzInput &in) {
  static constexpr double kEdges[] = {std::numeric_limits<double>::quiet_NaN(),
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity(),
                                      0.0, -0.0, 0.5, 1.0, -1.0, 2.0, 255.0, 1e20, -1e20, 3e38, 1e300,
                                      std::numeric_limits<double>::denorm_min()};
  switch (in.byte() % 3) {
    case 0: return kEdges[in.byte() % std::size(kEdges)];
    case 1: return in.wide();
    default: return static_cast<double>(static_cast<int8_t>(in.byte())) / 8.0;
  }
}

SettingValue AnyValue(FuzzInput &in) {
  switch (in.byte() % 5) {
    case 0: {
      const int64_t edges[] = {0, 1, -1, 2, 3, 255, 0x7FFFFFFF, -0x80000000LL, INT64_MAX, INT64_MIN, 0x700000002};
      return in.byte() % 2 == 0 ? SettingValue(edges[in.byte() % std::size(edges)])
                                : SettingValue(static_cast<int64_t>(uint64_t{in.word()} << 32 | in.word()));
    }
    case 1: return SettingValue(Wild(in));
    case 2: return SettingValue(in.byte() % 2 == 0);
    case 3: {
      Color color{{}};
      const size_t count = in.byte() % 2 == 0 ? 4 : in.byte() % 6;
      for (size_t i = 0; i < count; ++i) color.components.push_back(Wild(in));
      return SettingValue(std::move(color));
    }
    default: return SettingValue(std::string(in.byte() % 8, static_cast<char>('a' + in.byte() % 26)));
  }
}

// 0 to 40 pixels mostly; sometimes up to 3000 along one side with the other small.
void Size(FuzzInput &in, uint32_t &width, uint32_t &height) {
  width = in.byte() % 41, height = in.byte() % 41;
  const uint8_t choice = in.byte() % 8;
  if (choice == 0) width = (in.word() % 3001), height %= 3;
  if (choice == 1) height = (in.word() % 3001), width %= 3;
}

const SettingsSaveRecord *SaveRecord(const FakeHost &host) {
  for (const RecordHeader *record : host.registeredRecords())
    if (record->kind == FourCC("isav")) return reinterpret_cast<const SettingsSaveRecord *>(record);
  return nullptr;
}

// Saves the module's settings, replaces some values (or all) by arbitrary
// ones, and loads them back.
void ScrambleSettings(FakeHost &host, FuzzInput &in) {
  const SettingsSaveRecord *record = SaveRecord(host);
  if (record == nullptr || record->save == nullptr || record->load == nullptr) return;
  record->save(record->settings, host.settings.table());
  for (const std::string &group : host.settings.groups())
    for (const std::string &key : host.settings.keys(group))
      if (in.byte() % 4 != 0) host.settings.set(group, key, AnyValue(in));
  record->load(record->settings, host.settings.table());
}

bool PaddingIntact(TestImage &image) {
  return (image.format() == kPixelFormatARGB8888 && image.descriptor().rowBytes % 4 != 0) || image.paddingIntact();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  FakeHost host;
  // The vImage library stays loaded: unloading it would take the coverage
  // counters libFuzzer reads with it (blur_kernel_fuzz covers its absence).
  host.withVImage = true;
  if (host.load() != 1) return 0;
  const uint32_t code = kCodes[in.byte() % std::size(kCodes)];
  if (host.create(code) != 1) std::abort();
  ScrambleSettings(host, in);
  host.requestResults[1] = 0;  // nothing delivers On/Off: the module runs
  HostEvent connected = FakeHost::event(nullptr);
  host.send(kInputsConnected, &connected);

  for (int frame = 0; frame < 3 && !in.empty(); ++frame) {
    uint32_t width = 0, height = 0;
    Size(in, width, height);
    const uint32_t format = in.byte() % 2 == 0 ? uint32_t{kPixelFormatARGB8888} : 0u;
    // The input usually matches the output; sometimes it has a size of its own.
    uint32_t inWidth = width, inHeight = height;
    if (in.byte() % 4 == 0) Size(in, inWidth, inHeight);
    TestImage input(inWidth, inHeight, format, 1 + in.byte() % 16);
    TestImage output(width, height, format, 1 + in.byte() % 16);
    const uint32_t seed = in.word();
    input.fill([seed](uint32_t x, uint32_t y) { return (x * 0x9E3779B1u) ^ (y * 0x85EBCA6Bu) ^ seed; });
    if (in.byte() % 8 != 0) host.deliverImage(0, input); else host.deliverNothing(0);
    for (uint32_t port = 2; port < 8; ++port) {
      if (in.byte() % 8 == 0) host.deliverNothing(port);
      else host.deliverControl(port, static_cast<float>(Wild(in)));
    }
    if (in.byte() % 8 == 0) ScrambleSettings(host, in);

    ValueRecord request = host.outputRequest(output);
    output.descriptor().time = Wild(in);
    HostEvent event = FakeHost::event(&request);
    host.send(kOutputRequested, &event);
    host.send(kRenderStart, &event);
    host.send(kRenderOutput, &event);
    host.send(kRenderStop, &event);
    host.deliverNothing(0);
    // Kagami, and Blur's tent filter, write whole ARGB words whatever the
    // format says, and Linalize clears its canvas whole row bytes: ASan alone
    // watches their rows.
    const bool wholeRows = code == tessivo::kKagamiCode || code == tessivo::kLinalizeCode ||
                           (code == tessivo::kBlurCode && format == 0);
    if (!wholeRows && (!PaddingIntact(input) || !PaddingIntact(output))) {
      std::fprintf(stderr, "module %08x wrote into an image's row padding (%ux%u, format %u)\n", code, width,
                   height, format);
      std::abort();
    }
  }
  host.destroy();
  host.unload();
  return 0;
}
