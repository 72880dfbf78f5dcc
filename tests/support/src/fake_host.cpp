#include "tessivo/test/fake_host.h"

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace tessivo::test {
namespace {

uintptr_t Ptr(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

constexpr auto kLaterDelay = std::chrono::milliseconds(5);

}  // namespace

const char *BundlePath() { return TESSIVO_BUNDLE_PATH; }

ModuleMainFn BundleModuleMain() {
  static const ModuleMainFn moduleMain = [] {
    void *bundle = dlopen(BundlePath(), RTLD_NOW | RTLD_LOCAL);
    auto entry = bundle != nullptr ? reinterpret_cast<ModuleMainFn>(dlsym(bundle, "ModuleMain")) : nullptr;
    if (entry == nullptr) {
      std::fprintf(stderr, "cannot find ModuleMain in %s: %s\n", BundlePath(), dlerror());
      std::abort();
    }
    return entry;
  }();
  return moduleMain;
}

bool SetVImagePresent(bool present) {
  static void *library = nullptr;
  if (present && library == nullptr) library = dlopen(TESSIVO_ACCELERATE_PATH, RTLD_NOW | RTLD_GLOBAL);
  if (!present && library != nullptr) {
    dlclose(library);
    library = nullptr;
  }
  // Asked by name without loading, which (unlike a global symbol lookup) does
  // not tie the library to the caller.
  void *loaded = dlopen("libtessivo_accelerate.so", RTLD_NOW | RTLD_NOLOAD);
  if (loaded != nullptr) dlclose(loaded);
  return (loaded != nullptr) == present;
}

uint32_t FakeHost::load() {
  if (!SetVImagePresent(withVImage)) {
    std::fprintf(stderr, "cannot make the vImage library %s\n", withVImage ? "present" : "absent");
    return 0;
  }
  return send(kPluginLoad, &pluginRecord);
}

FakeHost::FakeHost() {
  hostTable.cookie = serviceTable.cookie = errorTable.cookie = portApi.cookie = bitmapService.cookie = this;
  hostTable.RegisterGlobalInfo = &RegisterGlobalInfo;
  serviceTable.AcquireService = &AcquireService;
  errorTable.ReportError = &ReportError;
  portApi.RegisterRecord = &RegisterRecord;
  portApi.CurrentStamp = &CurrentStamp;
  portApi.RequestInput = &RequestInput;
  portApi.ReadInput = &ReadInput;
  portApi.CancelInput = &CancelInput;
  bitmapService.CopyImage = &CopyImage;
  bitmapService.LockImage = &LockImage;
  bitmapService.CreateImage = &CreateImage;
  bitmapService.ImageStamp = &ImageStamp;
  bitmapService.PrepareDestination = &PrepareDestination;
  call_.hostTable = &hostTable;
  call_.serviceTable = &serviceTable;
  call_.portApi = &portApi;
  call_.errorTable = &errorTable;
}

FakeHost::~FakeHost() {
  for (std::thread &delivery : deliveries_) delivery.join();
}

uint32_t FakeHost::send(int32_t message, void *target) {
  call_.message = message;
  call_.target = target;
  return BundleModuleMain()(&call_);
}

uint32_t FakeHost::create(uint32_t code) {
  classRecord.classCode = code;
  return send(kInstanceCreate, &classRecord);
}

uint32_t FakeHost::destroy() {
  const uint32_t result = send(kInstanceDestroy, &classRecord);
  call_.instance = nullptr;
  return result;
}

uint32_t FakeHost::unload() {
  const uint32_t result = send(kPluginUnload, &pluginRecord);
  call_.pluginObject = nullptr;
  return result;
}

void FakeHost::deliverImage(uint32_t port, TestImage &image, Delivery when) {
  answer(port, {Answer::Kind::Image, &image, 0.0f, when});
}
void FakeHost::deliverControl(uint32_t port, float value, Delivery when) {
  answer(port, {Answer::Kind::Control, nullptr, value, when});
}
void FakeHost::deliverEmptyControl(uint32_t port, Delivery when) {
  answer(port, {Answer::Kind::EmptyControl, nullptr, 0.0f, when});
}
void FakeHost::deliverInvalidControl(uint32_t port, float value, Delivery when) {
  answer(port, {Answer::Kind::InvalidControl, nullptr, value, when});
}
void FakeHost::deliverImageWithoutDescriptor(uint32_t port, TestImage &image, Delivery when) {
  answer(port, {Answer::Kind::BareImage, &image, 0.0f, when});
}
void FakeHost::deliverNothing(uint32_t port, Delivery when) { answer(port, {Answer::Kind::Nothing, nullptr, 0.0f, when}); }

ValueRecord FakeHost::outputRequest(TestImage &output) {
  ValueRecord request{};
  request.stamp = nextStamp++;
  request.type = FourCC("imag");
  request.parameter = &output.descriptor();
  request.data = output.handle();
  request.destination = &output.descriptor();
  return request;
}

HostEvent FakeHost::event(ValueRecord *value, uint32_t port) {
  HostEvent event{};
  event.port = port;
  event.value = value;
  return event;
}

std::vector<const RecordHeader *> FakeHost::registeredRecords() const {
  std::vector<const RecordHeader *> records;
  for (const LoggedCall &call : log.named("RegisterRecord")) {
    records.push_back(reinterpret_cast<const RecordHeader *>(call.args.at(0)));
  }
  return records;
}

// Every fake logs its call first; Log answers the host so the fake can go on.
FakeHost &FakeHost::Log(void *cookie, const char *function, std::vector<uintptr_t> args, std::vector<double> reals) {
  FakeHost &self = *static_cast<FakeHost *>(cookie);
  self.log.add({function, std::move(args), {}, std::move(reals)});
  return self;
}

uint32_t FakeHost::RegisterGlobalInfo(void *cookie, GlobalInfo *info, PluginRecord *plugin) {
  // With what the plug-in record's registry slot holds at the time.
  Log(cookie, "RegisterGlobalInfo", {Ptr(info), Ptr(plugin), plugin != nullptr ? Ptr(plugin->registry) : 0});
  return 1;
}

void *FakeHost::AcquireService(void *cookie, uint32_t family, uint32_t service, uint32_t version, uint32_t flags) {
  FakeHost &self = Log(cookie, "AcquireService", {family, service, version, flags});
  return self.offerBitmapService ? &self.bitmapService : nullptr;
}

uint32_t FakeHost::ReportError(void *cookie, uint32_t creator, uint32_t code, uintptr_t a3, uintptr_t a4,
                               uintptr_t a5) {
  Log(cookie, "ReportError", {creator, code, a3, a4, a5});
  return 1;
}

uint32_t FakeHost::RegisterRecord(void *cookie, const void *record) {
  Log(cookie, "RegisterRecord", {Ptr(record)});
  return 1;
}

uint32_t FakeHost::CurrentStamp(void *cookie) { return Log(cookie, "CurrentStamp", {}).nextStamp++; }

uint32_t FakeHost::RequestInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request) {
  // The record may be a temporary of the module: keep what it asked for.
  std::vector<uintptr_t> args{port, zero, Ptr(request)};
  std::vector<double> reals;
  if (request != nullptr) {
    args.insert(args.end(), {request->stamp, request->type, Ptr(request->parameter)});
    if (request->type == FourCC("ctrl") && request->parameter != nullptr) {
      reals.push_back(*static_cast<const double *>(request->parameter));
    }
  }
  FakeHost &self = Log(cookie, "RequestInput", std::move(args), std::move(reals));
  auto result = self.requestResults.find(port);
  return result != self.requestResults.end() ? result->second : 1;
}

uint32_t FakeHost::ReadInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *record, uint8_t *done,
                             uint8_t *present) {
  FakeHost &self = Log(cookie, "ReadInput", {port, zero, Ptr(record)});
  auto scripted = self.answers_.find(port);
  const Answer answer = scripted != self.answers_.end() ? scripted->second : Answer{};
  float *value = scripted != self.answers_.end() ? &scripted->second.value : nullptr;
  auto fill = [answer, value, record, done, present] {
    using Kind = Answer::Kind;
    if (answer.kind == Kind::Image || answer.kind == Kind::BareImage) {
      record->data = answer.image->handle();
      if (answer.kind == Kind::Image) record->destination = &answer.image->descriptor();
    } else if (answer.kind != Kind::Nothing) {
      record->data = answer.kind == Kind::EmptyControl ? nullptr : value;
    }
    const bool valid = answer.kind != Kind::Nothing && answer.kind != Kind::InvalidControl;
    __atomic_store_n(present, valid ? 1 : 0, __ATOMIC_RELEASE);
    __atomic_store_n(done, 1, __ATOMIC_RELEASE);
  };
  if (answer.when == Delivery::Now) {
    fill();
  } else {
    self.deliveries_.emplace_back([fill] {
      std::this_thread::sleep_for(kLaterDelay);
      fill();
    });
  }
  return 1;
}

uint32_t FakeHost::CancelInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request) {
  Log(cookie, "CancelInput", {port, zero, Ptr(request)});
  return 1;
}

uint32_t FakeHost::CopyImage(void *cookie, HostImage *src, const ImageDescriptor *srcDesc, HostImage *dst,
                             const ImageDescriptor *dstDesc) {
  Log(cookie, "CopyImage", {Ptr(src), Ptr(srcDesc), Ptr(dst), Ptr(dstDesc)});
  if (src == nullptr || dst == nullptr || dstDesc == nullptr) return 0;
  const ImageDescriptor wanted = *dstDesc;  // may be dst's own descriptor, which reshape rewrites
  TestImage::From(dst)->reshape(wanted.width, wanted.height, wanted.pixelFormat);
  TestImage::From(dst)->copyPixelsFrom(*TestImage::From(src));
  return 1;
}

ImageDescriptor *FakeHost::LockImage(void *cookie, HostImage *image) {
  FakeHost &self = Log(cookie, "LockImage", {Ptr(image)});
  return self.lockFails || image == nullptr ? nullptr : &TestImage::From(image)->descriptor();
}

ImageDescriptor *FakeHost::CreateImage(void *cookie, HostImage *image, const ImageDescriptor *desc) {
  FakeHost &self = Log(cookie, "CreateImage", {Ptr(image), Ptr(desc)});
  if (self.createFails || image == nullptr || desc == nullptr) return nullptr;
  TestImage &created = *TestImage::From(image);
  const ImageDescriptor wanted = *desc;
  created.reshape(wanted.width, wanted.height, wanted.pixelFormat);
  created.descriptor().time = wanted.time;
  return &created.descriptor();
}

uint32_t FakeHost::ImageStamp(void *cookie, HostImage *image) {
  Log(cookie, "ImageStamp", {Ptr(image)});
  return image != nullptr ? TestImage::From(image)->stamp : 0;
}

uint32_t FakeHost::PrepareDestination(void *cookie, ImageDescriptor *locked, const ImageDescriptor *desc,
                                      const double rect[4], uintptr_t zero1, uintptr_t zero2, float one) {
  std::vector<double> reals;
  if (rect != nullptr) reals.assign(rect, rect + 4);
  reals.push_back(one);
  Log(cookie, "PrepareDestination", {Ptr(locked), Ptr(desc), zero1, zero2}, std::move(reals));
  return 1;
}

}  // namespace tessivo::test
