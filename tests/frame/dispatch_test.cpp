// ModuleMain's answers to every message, and what load leaves behind.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tessivo/test/fake_host.h"

using tessivo::test::BundleModuleMain;
using tessivo::test::FakeHost;

namespace {

constexpr int32_t kAllCodes[] = {1, 2, 1001, 1002, 2001, 2002, 3001, 3002, 3200, 3201, 3202,
                                 3210, 3220, 3230, 3300, 3301, 3302, 3310};

TEST(Dispatch, NullCallOrTargetIsRefusedForEveryMessage) {
  EXPECT_EQ(BundleModuleMain()(nullptr), 0u);
  FakeHost host;
  for (int32_t code : kAllCodes) {
    EXPECT_EQ(host.send(code, nullptr), 0u) << code;
  }
  EXPECT_TRUE(host.log.calls().empty());
  EXPECT_EQ(host.call().pluginObject, nullptr);
}

TEST(Dispatch, PlainAnswersWithoutInstance) {
  FakeHost host;
  HostEvent event = FakeHost::event(nullptr);
  for (int32_t code : {1001, 1002, 2001, 2002}) EXPECT_EQ(host.send(code, &event), 1u) << code;
  for (int32_t code : {1003, 2003, 0, -1, 3000, 3311}) EXPECT_EQ(host.send(code, &event), 0u) << code;
  EXPECT_EQ(host.send(kInstanceDestroy, &event), 1u);
  for (int32_t code : {3200, 3201, 3202, 3210, 3220, 3230, 3300, 3301, 3302, 3310}) {
    EXPECT_EQ(host.send(code, &event), 0u) << code;
  }
  EXPECT_TRUE(host.log.calls().empty());
}

TEST(Dispatch, MessageIsTheLowWordOfItsSlotReadSigned) {
  FakeHost host;
  HostEvent event = FakeHost::event(nullptr);
  host.call().message = static_cast<intptr_t>((uint64_t{7} << 32) | 1001);
  host.call().target = &event;
  EXPECT_EQ(BundleModuleMain()(&host.call()), 1u);
  host.call().message = static_cast<intptr_t>(uint64_t{1} << 32);  // low word 0
  EXPECT_EQ(BundleModuleMain()(&host.call()), 0u);
}

TEST(Dispatch, LoadRegistersGlobalInfoAndHandsOverTheRegistry) {
  FakeHost host;
  ASSERT_EQ(host.load(), 1u);
  auto *info = static_cast<GlobalInfo *>(host.call().pluginObject);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(host.log.functions(), std::vector<std::string>{"RegisterGlobalInfo"});
  const auto &registered = host.log.calls()[0];
  EXPECT_EQ(registered.args[0], reinterpret_cast<uintptr_t>(info));
  EXPECT_EQ(registered.args[1], reinterpret_cast<uintptr_t>(&host.pluginRecord));

  EXPECT_EQ(info->kind, FourCC("ginf"));
  EXPECT_EQ(info->creator, FourCC("kqzt"));
  EXPECT_EQ(info->version, 1);
  EXPECT_EQ(info->count, 1);
  int probe = 0;
  EXPECT_EQ(info->passThrough(&probe), &probe);

  const ModuleSizeTable *sizes = info->sizeTable;
  ASSERT_EQ(sizes->count, 10u);
  const uint32_t heights[] = {75, 40, 75, 60, 40, 75, 60, 60, 75, 60};
  for (uint32_t i = 0; i < 10; ++i) {
    const ModuleSizeEntry &entry = sizes->entries[i];
    EXPECT_EQ(entry.zero, 0u);
    EXPECT_EQ(entry.width, 96u) << i;
    EXPECT_EQ(entry.height, heights[i]) << i;
    EXPECT_EQ(entry.extra, i == 9 ? 30u : 20u) << i;
  }

  const ModuleRegistry *registry = host.pluginRecord.registry;
  ASSERT_NE(registry, nullptr);
  EXPECT_STREQ(registry->category, "Tessivo");
  EXPECT_EQ(registry->creator, FourCC("kqzt"));
  EXPECT_EQ(registry->value22, 22u);
  EXPECT_EQ(registry->value1, 1u);
  ASSERT_EQ(registry->count, 10u);
  const char *codes[] = {"blur", "embs", "pixx", "fadr", "flsh", "iris", "lnlz", "jshn", "strp", "kgmi"};
  const char *names[] = {"Blur",      "Emboss",   "Pixxicato", "Fader",       "Flash",
                         "Irisation", "Linalize", "Jishin",    "Stripizator", "Kagami"};
  for (uint32_t i = 0; i < 10; ++i) {
    const ModuleRegistryEntry &entry = registry->entries[i];
    EXPECT_EQ(entry.code, (uint32_t{uint8_t(codes[i][0])} << 24 | uint32_t{uint8_t(codes[i][1])} << 16 |
                           uint32_t{uint8_t(codes[i][2])} << 8 | uint8_t(codes[i][3])))
        << i;
    EXPECT_NE(entry.code, FourCC("dfsn"));
    EXPECT_STREQ(entry.name, names[i]);
    const uint8_t zeros[32] = {};
    EXPECT_EQ(std::memcmp(entry.reserved, zeros, sizeof zeros), 0);
  }

  EXPECT_EQ(host.unload(), 1u);
  EXPECT_EQ(host.call().pluginObject, nullptr);
  EXPECT_EQ(host.unload(), 1u);  // nothing left to free
}

TEST(Dispatch, LoadWithoutHostTableStillHandsOverTheRegistry) {
  FakeHost host;
  host.call().hostTable = nullptr;
  EXPECT_EQ(host.load(), 1u);
  EXPECT_NE(host.pluginRecord.registry, nullptr);
  EXPECT_EQ(host.unload(), 1u);
}

}  // namespace
