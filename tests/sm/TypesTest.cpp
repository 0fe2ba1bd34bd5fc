// The registry of types, of the whole system.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/reflection/GenericIf.h"
#include "runtime/reflection/Introspection.h"
#include "sm/Root.h"

extern char const zefTypeNames[];  // in the section .zef.type

namespace Orvane {
namespace {

using Zef::GenericIf;
using Op = GenericIf::AttributeOp;

TEST(Types, EveryTypeIsMadeAndEveryAttributeReadByName) {
  for (Zef::ZefType const* type : Zef::ZefType::all()) {
    bool const isReactor = type->qualifiedName() == "Orvane::XcvrSlotSm";  // Root makes those
    if (isReactor || type->isValue() || type == Zef::entityType()) continue;
    SCOPED_TRACE(type->qualifiedName().charPtr());
    bool const twoPartKey = type->attr(Zef::Name("entry")) != nullptr;
    auto const view = type->genericIf(type->newObject(twoPartKey ? "1/2" : "1"), true);
    for (Zef::ZefAttr const* attribute : type->allAttributes()) {
      SCOPED_TRACE(attribute->name().charPtr());
      if (attribute->kind() == Zef::ZefAttr::Kind::function) continue;
      bool const keyed = attribute->keyType() != nullptr;
      auto const result = view->attributeOp(Op(keyed ? Op::count : Op::get, attribute->id()), nullptr, nullptr);
      ASSERT_EQ(static_cast<bool>(result), attribute->kind() != Zef::ZefAttr::Kind::entity || keyed);
      if (!result || keyed) continue;
      EXPECT_EQ(result->type(), attribute->type());
    }
  }
}

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
