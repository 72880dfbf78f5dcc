// ModuleMain's answers to every message, what load leaves behind, the
// factory's paths and the bundle's one exported symbol.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

#include "tessivo/test/fake_host.h"

using tessivo::test::BundleModuleMain;
using tessivo::test::FakeHost;
using Strings = std::vector<std::string>;

namespace {

constexpr uint32_t kUnknown = FourCC("zzzz");

TEST(Dispatch, AnswersEveryMessageWithoutAnInstance) {
  EXPECT_EQ(BundleModuleMain()(nullptr), 0u);
  FakeHost host;
  HostEvent event = FakeHost::event(nullptr);
  for (const int32_t code : {1, 2, 3001}) EXPECT_EQ(host.send(code, nullptr), 0u) << code;
  // Every other code: 0 with a null target; with a target but no instance, as listed.
  const std::pair<int32_t, uint32_t> answers[] = {
      {1001, 1}, {1002, 1}, {2001, 1}, {2002, 1}, {1003, 0}, {2003, 0}, {0, 0},    {-1, 0},   {3000, 0}, {3002, 1},
      {3200, 0}, {3201, 0}, {3202, 0}, {3210, 0}, {3220, 0}, {3230, 0}, {3300, 0}, {3301, 0}, {3302, 0}, {3310, 0},
      {3311, 0}};
  for (const auto &[code, answer] : answers) {
    EXPECT_EQ(host.send(code, nullptr), 0u) << code;
    EXPECT_EQ(host.send(code, &event), answer) << code;
  }
  EXPECT_TRUE(host.log.calls().empty());
  EXPECT_EQ(host.call().pluginObject, nullptr);
  // The message is the low word of its slot, read signed.
  host.call().message = static_cast<intptr_t>((uint64_t{7} << 32) | 1001);
  host.call().target = &event;
  EXPECT_EQ(BundleModuleMain()(&host.call()), 1u);
  host.call().message = static_cast<intptr_t>(uint64_t{1} << 32);
  EXPECT_EQ(BundleModuleMain()(&host.call()), 0u);
}

TEST(Dispatch, LoadRegistersGlobalInfoAndHandsOverTheRegistry) {
  FakeHost host;
  ASSERT_EQ(host.load(), 1u);
  auto *info = static_cast<GlobalInfo *>(host.call().pluginObject);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(host.log.functions(), Strings{"RegisterGlobalInfo"});
  // The registry is handed over after the host has taken the record (its slot still empty then).
  EXPECT_EQ(host.log.calls()[0].args, (std::vector<uintptr_t>{reinterpret_cast<uintptr_t>(info),
                                                              reinterpret_cast<uintptr_t>(&host.pluginRecord), 0}));
  EXPECT_EQ((std::vector<uint32_t>{info->kind, info->creator, uint32_t(info->version), uint32_t(info->count)}),
            (std::vector<uint32_t>{FourCC("ginf"), FourCC("kqzt"), 1, 1}));
  int probe = 0;
  EXPECT_EQ(info->passThrough(&probe), &probe);

  const ModuleSizeTable *sizes = info->sizeTable;
  ASSERT_EQ(sizes->count, 10u);
  const uint32_t heights[] = {75, 40, 75, 60, 40, 75, 60, 60, 75, 60};
  for (uint32_t i = 0; i < 10; ++i) {
    const ModuleSizeEntry &entry = sizes->entries[i];
    EXPECT_EQ((std::vector<uint32_t>{entry.zero, entry.width, entry.height, entry.extra}),
              (std::vector<uint32_t>{0, 96, heights[i], i == 9 ? 30u : 20u})) << i;
  }

  const ModuleRegistry *registry = host.pluginRecord.registry;
  ASSERT_NE(registry, nullptr);
  EXPECT_STREQ(registry->category, "Tessivo");
  EXPECT_EQ((std::vector<uint32_t>{registry->creator, registry->value22, registry->value1, registry->count}),
            (std::vector<uint32_t>{FourCC("kqzt"), 22, 1, 10}));
  const char codes[][5] = {"blur", "embs", "pixx", "fadr", "flsh", "iris", "lnlz", "jshn", "strp", "kgmi"};
  const char *names[] = {"Blur", "Emboss", "Pixxicato", "Fader", "Flash", "Irisation", "Linalize", "Jishin",
                         "Stripizator", "Kagami"};
  const uint8_t zeros[32] = {};
  for (uint32_t i = 0; i < 10; ++i) {  // in this order, and 'dfsn' not among them
    const ModuleRegistryEntry &entry = registry->entries[i];
    EXPECT_EQ(entry.code, FourCC(codes[i])) << i;
    EXPECT_STREQ(entry.name, names[i]);
    EXPECT_EQ(std::memcmp(entry.reserved, zeros, sizeof zeros), 0);
  }

  EXPECT_EQ(host.send(kPluginUnload, &host.pluginRecord), 1u);
  EXPECT_EQ(host.call().pluginObject, info);  // freed, but the slot is the host's to clear
  host.call().pluginObject = nullptr;
  EXPECT_EQ(host.unload(), 1u);  // nothing left to free

  FakeHost bare;  // no host table: still hands over the registry
  bare.call().hostTable = nullptr;
  EXPECT_EQ(bare.load(), 1u);
  EXPECT_EQ(bare.pluginRecord.registry, registry);
  EXPECT_EQ(bare.unload(), 1u);
}

TEST(Factory, BuildsFaderAndReportsAnUnknownCode) {
  FakeHost fader;
  ASSERT_EQ(fader.create(FourCC("fadr")), 1u);
  EXPECT_TRUE(fader.call().instance != nullptr && fader.log.count("ReportError") == 0u);
  ASSERT_NE(fader.classRecord.descriptor, nullptr);
  EXPECT_EQ(fader.classRecord.descriptor->code, FourCC("fadr"));
  void *instance = fader.call().instance;
  EXPECT_EQ(fader.send(kInstanceDestroy, &fader.classRecord), 1u);
  EXPECT_EQ(fader.call().instance, instance);  // deleted; the slot is the host's to clear
  fader.call().instance = nullptr;

  FakeHost host;
  host.classRecord.descriptor = reinterpret_cast<const ModuleClassDescriptor *>(&host);  // must stay untouched
  host.call().instance = &host;  // overwritten with the null result
  EXPECT_EQ(host.create(kUnknown), 0u);
  EXPECT_EQ(host.call().instance, nullptr);
  EXPECT_EQ(host.classRecord.descriptor, reinterpret_cast<const ModuleClassDescriptor *>(&host));
  ASSERT_EQ(host.log.functions(), (Strings{"AcquireService", "ReportError"}));
  EXPECT_EQ(host.log.calls()[0].args, (std::vector<uintptr_t>{FourCC("sapi"), FourCC("bmsv"), 5, 1}));
  EXPECT_EQ(host.log.calls()[1].args, (std::vector<uintptr_t>{FourCC("kqzt"), kUnknown, 0, 0, 0}));

  for (const int broken : {0, 1, 2, 3}) {  // null ReportError, no error table, no bitmap service, no service table
    FakeHost silent;
    if (broken == 0) silent.removeReportError();
    if (broken == 1) silent.removeErrorTable();
    silent.offerBitmapService = broken != 2;
    if (broken == 3) silent.call().serviceTable = nullptr;
    silent.call().instance = &silent;
    EXPECT_EQ(silent.create(broken < 2 ? kUnknown : FourCC("fadr")), 0u) << broken;
    EXPECT_EQ(silent.call().instance, nullptr) << broken;
    EXPECT_EQ(silent.log.functions(), broken == 3 ? Strings{} : Strings{"AcquireService"}) << broken;
  }
}

TEST(Exports, OnlyModuleMainIsDynamic) {
  const std::string command = std::string("nm -D --defined-only ") + tessivo::test::BundlePath();
  FILE *pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  Strings symbols;
  char line[512];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream fields(line);
    std::string address, type, name;
    if (fields >> address >> type >> name) symbols.push_back(name);
  }
  ASSERT_EQ(pclose(pipe), 0) << command;
  EXPECT_EQ(symbols, Strings{"ModuleMain"});
}

}  // namespace
