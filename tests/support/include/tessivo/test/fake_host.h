// A host for tests: loads the real bundle with dlopen, fills a HostCall and
// the host tables the frame uses with fakes that log each call (CallLog) and
// answer as scripted. Settings and panels are the reference host's own.
//
//   FakeHost host;
//   host.load();                              // PluginLoad
//   ASSERT_EQ(host.create(FourCC("fadr")), 1u);
//   TestImage in(8, 4, kPixelFormatARGB8888), out(8, 4, kPixelFormatARGB8888);
//   host.deliverImage(0, in);
//   host.deliverControl(2, 0.5f, FakeHost::Delivery::Later);
//   ValueRecord request = host.outputRequest(out);
//   HostEvent event = host.event(&request);
//   host.send(kRenderOutput, &event);
//   host.log.functions();                     // {"ReadInput", "ReadInput", "CreateImage", ...}
#pragma once

#include <marlix/marlix.h>

#include <cstdint>
#include <map>
#include <thread>
#include <vector>

#include "tessivo/host/scripted_panel.h"
#include "tessivo/host/settings_store.h"
#include "tessivo/test/call_log.h"
#include "tessivo/test/test_image.h"

namespace tessivo::test {

// The bundle's ModuleMain, from the library built by this tree (loaded once).
ModuleMainFn BundleModuleMain();
// Where that library is.
const char *BundlePath();
// Loads the vImage library into the process (globally, as a system framework)
// or unloads it; true when its functions are then found, or gone, as asked.
bool SetVImagePresent(bool present);

class FakeHost {
 public:
  enum class Delivery { Now, Later };  // Later: flags set from another thread after a short delay

  FakeHost();
  ~FakeHost();  // joins delivery threads
  FakeHost(const FakeHost &) = delete;
  FakeHost &operator=(const FakeHost &) = delete;

  CallLog log;
  host::SettingsStore settings;
  host::ScriptedPanel panel;

  // Scripts, read when the bundle calls.
  bool offerBitmapService = true;  // AcquireService answers null when false
  bool withVImage = true;          // load() makes the vImage library present or absent first
  std::map<uint32_t, uint32_t> requestResults;  // RequestInput result by port; 1 when absent
  uint32_t nextStamp = 100;                     // CurrentStamp answers this, then counts up
  bool lockFails = false;                       // LockImage answers null
  bool createFails = false;                     // CreateImage answers null

  // The record handed to ModuleMain, its tables, and the two records of load and creation.
  HostCall &call() { return call_; }
  HostTable hostTable{};
  ServiceTable serviceTable{};
  HostPortApi portApi{};
  ErrorTable errorTable{};
  BitmapService bitmapService{};
  PluginRecord pluginRecord{};
  ModuleClassRecord classRecord{};
  // Takes the error table out of the call, or leaves it with a null ReportError.
  void removeErrorTable() { call_.errorTable = nullptr; }
  void removeReportError() { errorTable.ReportError = nullptr; }

  // Sends a message with the given target through the bundle's ModuleMain.
  uint32_t send(int32_t message, void *target);
  // PluginLoad, with the vImage library loaded globally beforehand, or
  // unloaded, as withVImage says (the bundle looks it up at load); 0 without
  // PluginLoad when that cannot be done (a bundle still loaded holds the library).
  uint32_t load();
  // Unload and destroy clear the call's slot afterwards, as a host does (the bundle leaves it).
  uint32_t unload();
  uint32_t create(uint32_t code);
  uint32_t destroy();

  // What ReadInput answers on a port. A port with nothing scripted is done and not present.
  void deliverImage(uint32_t port, TestImage &image, Delivery when = Delivery::Now);
  void deliverControl(uint32_t port, float value, Delivery when = Delivery::Now);
  // Present, but without a value pointer.
  void deliverEmptyControl(uint32_t port, Delivery when = Delivery::Now);
  // A value pointer, but the present (valid) flag left clear.
  void deliverInvalidControl(uint32_t port, float value, Delivery when = Delivery::Now);
  // The image's handle without its descriptor.
  void deliverImageWithoutDescriptor(uint32_t port, TestImage &image, Delivery when = Delivery::Now);
  void deliverNothing(uint32_t port, Delivery when = Delivery::Now);

  // A module's own output request for writing output (its descriptor is also
  // the requested one, whose time the module forwards).
  ValueRecord outputRequest(TestImage &output);
  // A render-time event record carrying value (slot 17) and port (slot 16).
  static HostEvent event(ValueRecord *value, uint32_t port = 0);

  // Records handed over with RegisterRecord, in order.
  std::vector<const RecordHeader *> registeredRecords() const;

 private:
  struct Answer {
    enum class Kind { Nothing, Image, BareImage, Control, EmptyControl, InvalidControl } kind = Kind::Nothing;
    TestImage *image = nullptr;
    float value = 0.0f;
    Delivery when = Delivery::Now;
  };
  static FakeHost &Log(void *cookie, const char *function, std::vector<uintptr_t> args,
                       std::vector<double> reals = {});
  void answer(uint32_t port, Answer answer) { answers_[port] = answer; }

  static uint32_t RegisterGlobalInfo(void *cookie, GlobalInfo *info, PluginRecord *plugin);
  static void *AcquireService(void *cookie, uint32_t family, uint32_t service, uint32_t version, uint32_t flags);
  static uint32_t ReportError(void *cookie, uint32_t creator, uint32_t code, uintptr_t a3, uintptr_t a4,
                              uintptr_t a5);
  static uint32_t RegisterRecord(void *cookie, const void *record);
  static uint32_t CurrentStamp(void *cookie);
  static uint32_t RequestInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request);
  static uint32_t ReadInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *record, uint8_t *done,
                            uint8_t *present);
  static uint32_t CancelInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request);
  static uint32_t CopyImage(void *cookie, HostImage *src, const ImageDescriptor *srcDesc, HostImage *dst,
                            const ImageDescriptor *dstDesc);
  static ImageDescriptor *LockImage(void *cookie, HostImage *image);
  static ImageDescriptor *CreateImage(void *cookie, HostImage *image, const ImageDescriptor *desc);
  static uint32_t ImageStamp(void *cookie, HostImage *image);
  static uint32_t PrepareDestination(void *cookie, ImageDescriptor *locked, const ImageDescriptor *desc,
                                     const double rect[4], uintptr_t zero1, uintptr_t zero2, float one);

  HostCall call_{};
  std::map<uint32_t, Answer> answers_;
  std::vector<std::thread> deliveries_;
};

}  // namespace tessivo::test
