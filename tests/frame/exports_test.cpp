// The bundle exports ModuleMain and nothing else.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "tessivo/test/fake_host.h"

namespace {

TEST(Exports, OnlyModuleMainIsDynamic) {
  const std::string command = std::string("nm -D --defined-only ") + tessivo::test::BundlePath();
  FILE *pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::string> symbols;
  char line[512];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream fields(line);
    std::string address, type, name;
    if (fields >> address >> type >> name) symbols.push_back(name);
  }
  ASSERT_EQ(pclose(pipe), 0) << command;
  EXPECT_EQ(symbols, std::vector<std::string>{"ModuleMain"});
}

}  // namespace
