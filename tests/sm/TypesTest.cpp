// The registry of types, of the whole system: each type can be made, and each of its attributes read, by name.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/reflection/GenericIf.h"
#include "runtime/reflection/Introspection.h"
#include "sm/Root.h"

extern char const zefTypeNames[];  // in the section .zef.type

namespace Orvane {
namespace {

using Zef::AttributeId;
using Zef::GenericIf;
using Zef::Ptr;
using Zef::ZefAttr;
using Zef::ZefType;
using Op = GenericIf::AttributeOp;
using Kind = ZefAttr::Kind;

// What reads an attribute of its kind; what the result says of its type.
void read(GenericIf const& view, ZefAttr const& attribute) {
  AttributeId const id = attribute.id();
  EXPECT_EQ(view.attributeString(id), attribute.name().stringValue());
  // A type that declares an attribute of its base again answers to the name itself.
  EXPECT_EQ(view.attributeId(attribute.name()), view.type()->attr(attribute.name())->id());
  if (attribute.kind() == Kind::function) return;
  bool const keyed = attribute.keyType() != nullptr;
  Ptr<GenericIf> const result = view.attributeOp(Op(keyed ? Op::count : Op::get, id), nullptr, nullptr);
  if (keyed) {
    EXPECT_EQ(result->value(), Zef::Value(0));
    EXPECT_FALSE(view.attributeIteratorConst(id)->more());
  } else if (attribute.kind() == Kind::entity) {
    EXPECT_FALSE(result);
  } else {
    ASSERT_TRUE(result);
    EXPECT_EQ(result->type(), attribute.type());
    Zef::Value const value = result->value();
    if (auto const* fields = value.get<Zef::Value::Record>()) {
      for (auto const& [name, field] : *fields) EXPECT_NE(result->attributeId(name), 0) << name;
    }
  }
}

std::size_t readFields(ZefType const& type) {
  Zef::Value::Record record;
  for (auto const& field : type.attributes()) record.emplace_back(field->name(), static_cast<U32>(record.size()));
  Ptr<GenericIf> const view = type.genericIf(Zef::Value(record), true);
  for (auto const& [name, value] : record) {
    EXPECT_EQ(view->attributeOp(Op(Op::get, view->attributeId(name)), nullptr, nullptr)->value(), value) << name;
  }
  return record.size();
}

TEST(Types, EveryAttributeOfEveryTypeIsReadByName) {
  std::size_t attributes = 0;
  for (ZefType const* type : ZefType::all()) {
    bool const isReactor = type->qualifiedName() == "Orvane::XcvrSlotSm";  // Root makes those
    if (isReactor || type == Zef::entityType()) continue;
    if (type->isValue()) {
      attributes += readFields(*type);
      continue;
    }
    SCOPED_TRACE(type->qualifiedName().charPtr());
    bool const twoPartKey = type->attr(Zef::Name("entry")) != nullptr;
    Ptr<Zef::PtrInterface> const object = type->newObject(twoPartKey ? "1/2" : "1");
    Ptr<GenericIf> const view = type->genericIf(object, true);
    ASSERT_EQ(view->type(), type);
    for (ZefAttr const* attribute : type->allAttributes()) {
      SCOPED_TRACE(attribute->name().charPtr());
      read(*view, *attribute);
      ++attributes;
    }
  }
  EXPECT_GT(attributes, 700U);
}

TEST(Types, TheProgramFileListsTheTypesInTheOrderOfTheirRegistration) {
  std::vector<std::string> registered;
  for (auto const& node : Zef::IntrospectionReactor::global().nodes()) {
    if (node.nameSpace == "Orvane") registered.emplace_back(node.type->qualifiedName().view());
  }
  std::vector<std::string> listed;
  for (char const* at = zefTypeNames; *at != '\0'; at += listed.back().size() + 1) listed.emplace_back(at);
  EXPECT_EQ(listed, registered);
  EXPECT_EQ(listed.front(), "Orvane::SensorSpec");
  EXPECT_EQ(listed.back(), "Orvane::Root");
}

}  // namespace
}  // namespace Orvane
