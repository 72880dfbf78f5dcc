// The constant descriptions of all eleven module classes: port types, port
// squares on the module box, names and kinds.
#include "tessivo/frame/module_descriptors.h"

#include <array>
#include <cstddef>

#include "tessivo/frame/module_codes.h"

namespace tessivo {
namespace {

// One port as the tables below spell it; expanded into the host's two records.
struct PortRow {
  uint32_t direction;
  uint32_t type;
  uint32_t kind;
  int32_t x;
  int32_t y;
  const char *longName;
  const char *shortName;
};

constexpr int32_t kPortSide = 10;
constexpr int32_t kInputColumn = 5;
constexpr int32_t kOutputColumn = 81;

constexpr PortRow kImageIn = {kPortInput, kTypeImage, kPortKindImage, kInputColumn, 5, "Image Input", "In"};
constexpr PortRow kOnOffIn = {kPortInput, kTypeOnOff, kPortKindValue, kInputColumn, 25, "Enable Input", "On/Off"};
constexpr PortRow kImageOut = {kPortOutput, kTypeImage, kPortKindImage, kOutputColumn, 5, "Image Output", "Out"};
constexpr PortRow kXController = {kPortInput, kTypeControl, kPortKindXYController, kInputColumn, 45, "X Controller",
                                   "X"};
constexpr PortRow kYController = {kPortInput, kTypeControl, kPortKindXYController, kInputColumn, 60, "Y Controller",
                                   "Y"};
// A row that is declared but entirely zero (Emboss keeps two of them).
constexpr PortRow kBlankRow = {0, 0, 0, 0, 0, nullptr, nullptr};

constexpr PortRow ValueInput(int32_t y, const char *longName, const char *shortName) {
  return {kPortInput, kTypeControl, kPortKindValue, kInputColumn, y, longName, shortName};
}

template <size_t N>
struct PortTables {
  std::array<PortTypeEntry, N> types{};
  std::array<PortDescriptor, N> ports{};
};

template <size_t N>
constexpr PortTables<N> MakePorts(const std::array<PortRow, N> &rows) {
  PortTables<N> tables;
  for (size_t i = 0; i < N; ++i) {
    const PortRow &row = rows[i];
    tables.types[i].direction = row.direction;
    tables.types[i].type = row.type;
    PortDescriptor &port = tables.ports[i];
    if (row.longName == nullptr) continue;  // blank rows stay zero, rectangle included
    port.x = row.x;
    port.y = row.y;
    port.width = kPortSide;
    port.height = kPortSide;
    port.longName = row.longName;
    port.shortName = row.shortName;
    port.kind = row.kind;
  }
  return tables;
}

constexpr auto kBlurPorts = MakePorts<5>({kImageIn, kOnOffIn, kXController, kYController, kImageOut});
constexpr auto kDiffusionPorts =
    MakePorts<4>({kImageIn, kOnOffIn, ValueInput(45, "Strength Input", "Strength"), kImageOut});
constexpr auto kEmbossPorts = MakePorts<5>({kImageIn, kOnOffIn, kImageOut, kBlankRow, kBlankRow});
constexpr auto kFaderPorts = MakePorts<4>({kImageIn, kOnOffIn, ValueInput(45, "Fade Input", "Fade"), kImageOut});
constexpr auto kFlashPorts = MakePorts<3>({kImageIn, kOnOffIn, kImageOut});
constexpr auto kIrisationPorts = MakePorts<5>({kImageIn, kOnOffIn, kXController, kYController, kImageOut});
constexpr auto kJishinPorts =
    MakePorts<4>({kImageIn, kOnOffIn, ValueInput(45, "Strength Input", "Strength"), kImageOut});
constexpr auto kKagamiPorts =
    MakePorts<4>({kImageIn, kOnOffIn, ValueInput(45, "Strength Input", "Strength"), kImageOut});
constexpr auto kLinalizePorts =
    MakePorts<4>({kImageIn, kOnOffIn, ValueInput(45, "Speed Controller", "Speed"), kImageOut});
constexpr auto kPixxicatoPorts = MakePorts<5>({kImageIn, kOnOffIn, kXController, kYController, kImageOut});
constexpr auto kStripizatorPorts =
    MakePorts<5>({kImageIn, kOnOffIn, ValueInput(45, "Radius Controller", "Radius"),
                  ValueInput(60, "Stripes Width Controller", "Width"), kImageOut});

template <size_t N>
constexpr ModuleDescription Describe(uint32_t code, const PortTables<N> &tables) {
  ModuleDescription description{};
  description.descriptor.code = code;
  description.descriptor.portCount = N;
  description.descriptor.portTypes = tables.types.data();
  description.layout.portCount = N;
  description.layout.ports = tables.ports.data();
  return description;
}

// Writable only so that the static initialiser below can set the two layout
// names, which are CFStrings made at run time.
ModuleDescription gDescriptions[] = {
    Describe(kBlurCode, kBlurPorts),           Describe(kDiffusionCode, kDiffusionPorts),
    Describe(kEmbossCode, kEmbossPorts),       Describe(kFaderCode, kFaderPorts),
    Describe(kFlashCode, kFlashPorts),         Describe(kIrisationCode, kIrisationPorts),
    Describe(kJishinCode, kJishinPorts),       Describe(kKagamiCode, kKagamiPorts),
    Describe(kLinalizeCode, kLinalizePorts),   Describe(kPixxicatoCode, kPixxicatoPorts),
    Describe(kStripizatorCode, kStripizatorPorts),
};

ModuleDescription *MutableDescription(uint32_t code) {
  for (ModuleDescription &description : gDescriptions) {
    if (description.descriptor.code == code) return &description;
  }
  return nullptr;
}

// Only Blur's and Stripizator's layouts carry a name.
struct LayoutNames {
  LayoutNames() {
    MutableDescription(kBlurCode)->layout.name = CFSTR("Blur");
    MutableDescription(kStripizatorCode)->layout.name = CFSTR("Stripizator");
  }
};
const LayoutNames gLayoutNames;

}  // namespace

const ModuleDescription *FindModuleDescription(uint32_t code) { return MutableDescription(code); }

}  // namespace tessivo
