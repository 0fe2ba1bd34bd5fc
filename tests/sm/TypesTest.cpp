// The registry of types, of the whole system.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/reflection/Introspection.h"
#include "sm/Root.h"

extern char const zefTypeNames[];  // in the section .zef.type

namespace Orvane {
namespace {

TEST(Types, TheProgramFileListsTheTypesInTheOrderOfTheirRegistration) {
  std::vector<std::string> registered;
  for (auto const& node : Zef::IntrospectionReactor::global().nodes()) {
    if (node.nameSpace == "Orvane") registered.emplace_back(node.type->qualifiedName().view());
  }
  std::vector<std::string> listed;
  for (char const* at = zefTypeNames; *at != '\0'; at += listed.back().size() + 1) listed.emplace_back(at);
  EXPECT_EQ(listed, registered);
  EXPECT_THAT(listed, testing::Contains("Orvane::Root"));
}

}  // namespace
}  // namespace Orvane
