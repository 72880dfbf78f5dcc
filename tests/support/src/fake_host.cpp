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
    if (bundle == nullptr) {
      std::fprintf(stderr, "cannot load the bundle %s: %s\n", BundlePath(), dlerror());
      std::abort();
    }
    auto entry = reinterpret_cast<ModuleMainFn>(dlsym(bundle, "ModuleMain"));
    if (entry == nullptr) {
      std::fprintf(stderr, "the bundle %s has no ModuleMain\n", BundlePath());
      std::abort();
    }
    return entry;
  }();
  return moduleMain;
}

FakeHost::FakeHost() {
  hostTable.cookie = this;
  hostTable.RegisterGlobalInfo = &RegisterGlobalInfo;
  hostTable.hostValue5 = 0x5555;
  hostTable.hostValue6 = 0x6666;
  serviceTable.cookie = this;
  serviceTable.AcquireService = &AcquireService;
  errorTable.cookie = this;
  errorTable.ReportError = &ReportError;
  portApi.cookie = this;
  portApi.RegisterRecord = &RegisterRecord;
  portApi.CurrentStamp = &CurrentStamp;
  portApi.RequestInput = &RequestInput;
  portApi.ReadInput = &ReadInput;
  portApi.CancelInput = &CancelInput;
  bitmapService.cookie = this;
  bitmapService.CopyImage = &CopyImage;
  bitmapService.LockImage = &LockImage;
  bitmapService.CreateImage = &CreateImage;
  bitmapService.ImageStamp = &ImageStamp;
  bitmapService.CacheImage = &CacheImage;
  bitmapService.CopyCacheToOutput = &CopyCacheToOutput;
  bitmapService.OpenForWriting = &OpenForWriting;
  bitmapService.PrepareDestination = &PrepareDestination;
  bitmapService.FillRect = &FillRect;
  bitmapService.BlitRect = &BlitRect;
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

uint32_t FakeHost::destroy() { return send(kInstanceDestroy, &classRecord); }

void FakeHost::deliverImage(uint32_t port, TestImage &image, Delivery when) {
  answer(port, {Answer::Kind::Image, &image, 0.0f, when});
}

void FakeHost::deliverControl(uint32_t port, float value, Delivery when) {
  answer(port, {Answer::Kind::Control, nullptr, value, when});
}

void FakeHost::deliverEmptyControl(uint32_t port, Delivery when) {
  answer(port, {Answer::Kind::EmptyControl, nullptr, 0.0f, when});
}

void FakeHost::deliverNothing(uint32_t port, Delivery when) { answer(port, {Answer::Kind::Nothing, nullptr, 0.0f, when}); }

ValueRecord FakeHost::outputRequest(TestImage &output, void *cache) {
  ValueRecord request{};
  request.stamp = nextStamp++;
  request.type = FourCC("imag");
  request.parameter = &output.descriptor();
  request.data = output.handle();
  request.cache = cache;
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

TestImage &FakeHost::cacheImageFor(HostImage *output) {
  auto found = cacheImages_.find(output);
  if (found == cacheImages_.end()) {
    found = cacheImages_.try_emplace(output, 0, 0, kPixelFormatARGB8888).first;
    found->second.hasContents = false;
  }
  return found->second;
}

uint32_t FakeHost::RegisterGlobalInfo(void *cookie, GlobalInfo *info, PluginRecord *plugin) {
  Self(cookie).log.add({"RegisterGlobalInfo", {Ptr(info), Ptr(plugin)}, {}, {}});
  return 1;
}

void *FakeHost::AcquireService(void *cookie, uint32_t family, uint32_t service, uint32_t version, uint32_t flags) {
  FakeHost &self = Self(cookie);
  self.log.add({"AcquireService", {family, service, version, flags}, {}, {}});
  return self.offerBitmapService ? &self.bitmapService : nullptr;
}

uint32_t FakeHost::ReportError(void *cookie, uint32_t creator, uint32_t code, uintptr_t a3, uintptr_t a4,
                               uintptr_t a5) {
  Self(cookie).log.add({"ReportError", {creator, code, a3, a4, a5}, {}, {}});
  return 1;
}

uint32_t FakeHost::RegisterRecord(void *cookie, const void *record) {
  Self(cookie).log.add({"RegisterRecord", {Ptr(record)}, {}, {}});
  return 1;
}

uint32_t FakeHost::CurrentStamp(void *cookie) {
  FakeHost &self = Self(cookie);
  self.log.add({"CurrentStamp", {}, {}, {}});
  return self.nextStamp++;
}

uint32_t FakeHost::RequestInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *request) {
  FakeHost &self = Self(cookie);
  LoggedCall logged{"RequestInput", {port, zero, Ptr(request)}, {}, {}};
  if (request != nullptr) {
    // The record may be a temporary of the module: keep what it asked for.
    logged.args.insert(logged.args.end(), {request->stamp, request->type, Ptr(request->parameter)});
    if (request->type == FourCC("ctrl") && request->parameter != nullptr) {
      logged.reals.push_back(*static_cast<const double *>(request->parameter));
    }
  }
  self.log.add(std::move(logged));
  auto result = self.requestResults.find(port);
  return result != self.requestResults.end() ? result->second : 1;
}

uint32_t FakeHost::ReadInput(void *cookie, uint32_t port, uint32_t zero, ValueRecord *record, uint8_t *done,
                             uint8_t *present) {
  FakeHost &self = Self(cookie);
  self.log.add({"ReadInput", {port, zero, Ptr(record)}, {}, {}});
  Answer answer;
  auto scripted = self.answers_.find(port);
  if (scripted != self.answers_.end()) answer = scripted->second;
  float *value = scripted != self.answers_.end() ? &scripted->second.value : nullptr;
  auto fill = [answer, value, record, done, present] {
    switch (answer.kind) {
      case Answer::Kind::Nothing: break;
      case Answer::Kind::Image:
        record->data = answer.image->handle();
        record->destination = &answer.image->descriptor();
        break;
      case Answer::Kind::Control: record->data = value; break;
      case Answer::Kind::EmptyControl: record->data = nullptr; break;
    }
    __atomic_store_n(present, answer.kind == Answer::Kind::Nothing ? 0 : 1, __ATOMIC_RELEASE);
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
  Self(cookie).log.add({"CancelInput", {port, zero, Ptr(request)}, {}, {}});
  return 1;
}

uint32_t FakeHost::CopyImage(void *cookie, HostImage *src, const ImageDescriptor *srcDesc, HostImage *dst,
                             const ImageDescriptor *dstDesc) {
  Self(cookie).log.add({"CopyImage", {Ptr(src), Ptr(srcDesc), Ptr(dst), Ptr(dstDesc)}, {}, {}});
  if (src == nullptr || dst == nullptr || dstDesc == nullptr) return 0;
  TestImage &destination = *TestImage::From(dst);
  const ImageDescriptor wanted = *dstDesc;  // may be dst's own descriptor, which reshape rewrites
  destination.reshape(wanted.width, wanted.height, wanted.pixelFormat);
  destination.copyPixelsFrom(*TestImage::From(src));
  return 1;
}

ImageDescriptor *FakeHost::LockImage(void *cookie, HostImage *image) {
  FakeHost &self = Self(cookie);
  self.log.add({"LockImage", {Ptr(image)}, {}, {}});
  if (self.lockFails || image == nullptr || !TestImage::From(image)->hasContents) return nullptr;
  return &TestImage::From(image)->descriptor();
}

ImageDescriptor *FakeHost::CreateImage(void *cookie, HostImage *image, const ImageDescriptor *desc) {
  FakeHost &self = Self(cookie);
  self.log.add({"CreateImage", {Ptr(image), Ptr(desc)}, {}, {}});
  if (self.createFails || image == nullptr || desc == nullptr) return nullptr;
  TestImage &created = *TestImage::From(image);
  const ImageDescriptor wanted = *desc;
  created.reshape(wanted.width, wanted.height, wanted.pixelFormat);
  created.descriptor().time = wanted.time;
  return &created.descriptor();
}

uint32_t FakeHost::ImageStamp(void *cookie, HostImage *image) {
  Self(cookie).log.add({"ImageStamp", {Ptr(image)}, {}, {}});
  return image != nullptr ? TestImage::From(image)->stamp : 0;
}

HostImage *FakeHost::CacheImage(void *cookie, const ValueRecord *request) {
  FakeHost &self = Self(cookie);
  self.log.add({"CacheImage", {Ptr(request)}, {}, {}});
  if (request == nullptr) return nullptr;
  return self.cacheImageFor(static_cast<HostImage *>(request->data)).handle();
}

uint32_t FakeHost::CopyCacheToOutput(void *cookie, HostImage *cache, HostImage *output, const ImageDescriptor *desc) {
  Self(cookie).log.add({"CopyCacheToOutput", {Ptr(cache), Ptr(output), Ptr(desc)}, {}, {}});
  if (cache == nullptr || output == nullptr || desc == nullptr) return 0;
  const ImageDescriptor wanted = *desc;
  TestImage::From(output)->reshape(wanted.width, wanted.height, wanted.pixelFormat);
  TestImage::From(output)->copyPixelsFrom(*TestImage::From(cache));
  return 1;
}

ImageDescriptor *FakeHost::OpenForWriting(void *cookie, HostImage *output) {
  Self(cookie).log.add({"OpenForWriting", {Ptr(output)}, {}, {}});
  return output != nullptr ? &TestImage::From(output)->descriptor() : nullptr;
}

uint32_t FakeHost::PrepareDestination(void *cookie, ImageDescriptor *locked, const ImageDescriptor *desc,
                                      const double rect[4], uintptr_t zero1, uintptr_t zero2, float one) {
  LoggedCall logged{"PrepareDestination", {Ptr(locked), Ptr(desc), zero1, zero2}, {}, {}};
  if (rect != nullptr) logged.reals.assign(rect, rect + 4);
  logged.reals.push_back(one);
  Self(cookie).log.add(std::move(logged));
  return 1;
}

uint32_t FakeHost::FillRect(void *cookie, void *pixels, uint32_t rowBytes, uint32_t format, const HostRect *rect,
                            uintptr_t color0, uintptr_t color1, float opacity) {
  LoggedCall logged{"FillRect", {Ptr(pixels), rowBytes, format, color0, color1}, {}, {}};
  if (rect != nullptr) logged.reals = {rect->top, rect->left, rect->bottom, rect->right};
  logged.reals.push_back(opacity);
  Self(cookie).log.add(std::move(logged));
  return 1;
}

uint32_t FakeHost::BlitRect(void *cookie, const void *srcPixels, uint32_t srcRowBytes, uint32_t srcFormat,
                            const HostRect *srcRect, void *dstPixels, uint32_t dstRowBytes, uint32_t dstFormat,
                            const HostRect *dstRect, float opacity) {
  LoggedCall logged{"BlitRect", {Ptr(srcPixels), srcRowBytes, srcFormat, Ptr(dstPixels), dstRowBytes, dstFormat},
                    {}, {}};
  for (const HostRect *rect : {srcRect, dstRect}) {
    if (rect != nullptr) logged.reals.insert(logged.reals.end(), {rect->top, rect->left, rect->bottom, rect->right});
  }
  logged.reals.push_back(opacity);
  Self(cookie).log.add(std::move(logged));
  return 1;
}

}  // namespace tessivo::test
