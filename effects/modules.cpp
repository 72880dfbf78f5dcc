// The table of the bundle's modules: one row per class code.
#include <new>

#include "blur/blur_module.h"
#include "diffusion/diffusion_module.h"
#include "emboss/emboss_module.h"
#include "fader/fader_module.h"
#include "flash/flash_module.h"
#include "irisation/irisation_module.h"
#include "jishin/jishin_module.h"
#include "kagami/kagami_module.h"
#include "linalize/linalize_module.h"
#include "pixxicato/pixxicato_module.h"
#include "stripizator/stripizator_module.h"
#include "tessivo/frame/module_codes.h"
#include "tessivo/frame/module_factory.h"

namespace tessivo {
namespace {

using Constructor = ModuleInstance *(*)(HostCall *, ModuleClassRecord *, BitmapService *);

struct ModuleEntry {
  uint32_t code;
  Constructor construct;
};

template <class Module>
ModuleInstance *Construct(HostCall *call, ModuleClassRecord *classRecord, BitmapService *service) {
  return new (std::nothrow) Module(call, classRecord, service);
}

// Keep the rows in the order of the codes.
constexpr ModuleEntry kModules[] = {
    {kBlurCode, &Construct<BlurModule>},
    {kDiffusionCode, &Construct<DiffusionModule>},
    {kEmbossCode, &Construct<EmbossModule>},
    {kFaderCode, &Construct<FaderModule>},
    {kFlashCode, &Construct<FlashModule>},
    {kIrisationCode, &Construct<IrisationModule>},
    {kJishinCode, &Construct<JishinModule>},
    {kKagamiCode, &Construct<KagamiModule>},
    {kLinalizeCode, &Construct<LinalizeModule>},
    {kPixxicatoCode, &Construct<PixxicatoModule>},
    {kStripizatorCode, &Construct<StripizatorModule>},
};

}  // namespace

ModuleInstance *ConstructModule(uint32_t code, HostCall *call, ModuleClassRecord *classRecord,
                                BitmapService *service) {
  for (const ModuleEntry &entry : kModules) {
    if (entry.code == code) return entry.construct(call, classRecord, service);
  }
  return nullptr;
}

}  // namespace tessivo
