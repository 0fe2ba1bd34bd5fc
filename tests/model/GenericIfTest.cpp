// Objects and values by name and id alone: what an operation gives, what it refuses, and what a const view allows.

#include "runtime/reflection/GenericIf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/OrvaneLib.h"
#include "model/input/Xcvr.h"
#include "runtime/reflection/Introspection.h"
#include "tests/Support.h"

namespace {

using testing::ElementsAre;
using Zef::AttributeId;
using Zef::GenericIf;
using Zef::make;
using Zef::Ptr;
using Zef::String8;
using Zef::Value;
using Zef::ZefAttr;
using Zef::ZefType;
using Op = GenericIf::AttributeOp;

Ptr<GenericIf> shown(Value const& value) { return Zef::typeOf<U32>()->genericIf(value, true); }

template <class T>
Ptr<GenericIf> view(Ptr<T> const& object, bool isConst = false) {
  return object->fwkType()->genericIf(Ptr<Zef::PtrInterface>(object), isConst);
}

// One operation by the attribute's name.
Ptr<GenericIf> op(Ptr<GenericIf> const& on, Op::Code code, char const* attribute, Ptr<GenericIf const> const& key = {},
                  Ptr<GenericIf> const& value = {}) {
  return on->attributeOp(Op(code, on->attributeId(attribute)), key, value);
}

Ptr<GenericIf> arguments(std::initializer_list<Value> values) {
  auto list = make<GenericIf::List>();
  for (Value const& value : values) list->enq(shown(value));
  return list;
}

class GenericIfTest : public testing::Test {
 protected:
  GenericIfTest() {
    for (U32 key : {1U, 2U, 5U}) tray_->fanIs(EntityMib::ParentIndex(key));
    tray_->labelIs("1");
  }

  Ptr<EntityMib::FanTray> tray_ = make<EntityMib::FanTray>("tray");
  Ptr<Xcvr::XcvrStatus> xcvr_ = make<Xcvr::XcvrStatus>("Ethernet1");
  Ptr<GenericIf> tray() const { return view(tray_); }
  Ptr<GenericIf> xcvr() const { return view(xcvr_); }
};

TEST_F(GenericIfTest, ReadsWritesMakesAndRemovesByName) {
  EXPECT_EQ(op(tray(), Op::get, "label")->value(), Value("1"));
  op(tray(), Op::set, "label", {}, shown("2"));
  EXPECT_EQ(tray_->label(), "2");
  EXPECT_EQ(op(tray(), Op::count, "fan")->value(), Value(3));
  auto const fan = op(tray(), Op::get, "fan", shown(2));
  EXPECT_EQ(fan->type(), EntityMib::Fan::_fwkType());
  EXPECT_EQ(fan->value(), Value(Ptr<Zef::PtrInterface>(tray_->fan(EntityMib::ParentIndex(2)))));
  op(fan, Op::set, "description", {}, shown("left"));
  EXPECT_EQ(tray_->fan(EntityMib::ParentIndex(2))->description(), "left");
  EXPECT_FALSE(op(tray(), Op::get, "fan", shown(3)));
  EXPECT_TRUE(op(tray(), Op::create, "fan", shown("3")));
  EXPECT_EQ(tray_->fanCount(), 4U);
  EXPECT_TRUE(op(tray(), Op::del, "fan", shown(3)));
  EXPECT_FALSE(op(tray(), Op::del, "fan", shown(3)));
  op(tray(), Op::set, "deviation", shown("D1"), shown("bent"));
  EXPECT_EQ(tray_->deviation("D1"), "bent");
  op(tray(), Op::del, "deviation", shown("D1"));
  EXPECT_FALSE(op(tray(), Op::get, "deviation", shown("D1")));

  auto const slot = make<EntityMib::FanTraySlot>("slot");
  EXPECT_FALSE(op(view(slot), Op::get, "fanTray"));
  auto const child = op(view(slot), Op::create, "fanTray");
  EXPECT_EQ(child->value(), Value(Ptr<Zef::PtrInterface>(slot->fanTray())));
  op(view(slot), Op::del, "fanTray");
  EXPECT_FALSE(slot->fanTray());
}

TEST_F(GenericIfTest, KnowsTheAttributesOfTheBases) {
  EXPECT_EQ(tray()->attributeId("label"), EntityMib::PhysicalEntity::labelAttr);
  EXPECT_EQ(tray()->attributeString(EntityMib::Fru::swappabilityAttr), "swappability");
  EXPECT_EQ(tray()->attributeString(99), "unknown");
  EXPECT_EQ(tray()->attributeId("nonsense"), 0);
  EXPECT_EQ(ZefAttr::attr("EntityMib::FanTray::fan").get(), EntityMib::FanTray::_fwkType()->attr(Zef::Name("fan")));
  EXPECT_FALSE(ZefAttr::attr("EntityMib::FanTray::label"));  // it is PhysicalEntity's
}

TEST_F(GenericIfTest, RefusesInWords) {
  auto const constants = view(Orvane::constantsFactory());
  auto const constTray = view(tray_, true);
  auto const sensors = view(make<Orvane::OrvaneSensorMib>("sensors"));
  auto const model = make<Orvane::OrvaneEntityMib>("entities");
  auto const entities = view(model);
  auto const constRow = view(model->physicalEntityIs(1), true);
  auto const entry = view(model->virtualContainerIs({1, "Fan"}));
  struct Case {
    Ptr<GenericIf> on;
    Op::Code code;
    char const* attribute;
    Ptr<GenericIf> key;
    Ptr<GenericIf> value;
    char const* reason;
  };
  Case const cases[] = {
      {constTray, Op::set, "label", {}, shown("2"), "attempting to modify a const instance"},
      {constTray, Op::create, "fan", shown(9), {}, "attempting to modify a const instance"},
      {constTray, Op::del, "nonsense", {}, {}, "attempting to modify a const instance"},
      {tray(), Op::get, "nonsense", {}, {}, "EntityMib::FanTray has no attribute 0"},
      {tray(), Op::get, "label", shown(1), {}, "bad index for attribute label"},
      {tray(), Op::get, "fan", {}, {}, "bad index for attribute fan"},
      {tray(), Op::count, "label", {}, {}, "operation 1 is not supported on attribute label"},
      {tray(), Op::del, "label", {}, {}, "operation 130 is not supported on attribute label"},
      {tray(), Op::set, "fan", shown(1), {}, "operation 128 is not supported on attribute fan with a key"},
      {tray(),
       Op::create,
       "deviation",
       shown("D"),
       {},
       "operation 129 is not supported on attribute deviation with a key"},
      {tray(), Op::set, "physicalIndex", {}, shown(1), "operation 128 is not supported on attribute physicalIndex"},
      {tray(), Op::set, "parentIndex", {}, shown(1), "operation 128 is not supported on attribute parentIndex"},
      {tray(), Op::set, "label", {}, shown(1), "label: a text is needed, not the number 1"},
      {tray(), Op::set, "label", {}, {}, "label: a text is needed, not nothing"},
      {tray(), Op::get, "fan", shown("x"), {}, "fan: a key from 0 to 4294967295 is needed, not \"x\""},
      {tray(), Op::get, "fan", shown(1.5), {}, "fan: no EntityMib::ParentIndex is the number 1.5"},
      {tray(), Op::create, "fan", shown(""), {}, "fan: a key from 0 to 4294967295 is needed, not \"\""},
      {tray(), Op::set, "deviation", shown(""), shown("bent"), "deviation: a key cannot be empty"},
      {sensors,
       Op::create,
       "sensorEntity",
       shown(1),
       {},
       "operation 129 is not supported on attribute sensorEntity with a key"},
      {entities,
       Op::get,
       "contains",
       shown(Value::Record{{"container", 1}, {"x", 2}}),
       {},
       "contains: the field containee is missing"},
      {entry, Op::set, "entity", {}, constRow, "attempting to modify a const instance"},
      {constants, Op::call, "hwStatusToOperState", {}, {}, "hwStatusToOperState: argument 1, hwStatus, is missing"},
      {constants, Op::call, "hwStatusToOperState", {}, arguments({1, 2}), "hwStatusToOperState takes no argument 2"},
      {constants, Op::call, "hwStatusToOperState", {}, shown(1), "hwStatusToOperState: a list of arguments is needed"},
      {constants,
       Op::call,
       "hwStatusToOperState",
       {},
       arguments({"red"}),
       "hwStatusToOperState: argument 1, hwStatus, does not fit: one of unknown, ok, failed, "
       "or its number, is needed, not the text \"red\""},
      {constants, Op::call, "hwStatusToOperState", shown(1), {}, "bad index for attribute hwStatusToOperState"},
      {constants,
       Op::get,
       "hwStatusToOperState",
       {},
       {},
       "operation 0 is not supported on attribute hwStatusToOperState"},
      {constants,
       Op::callMutating,
       "hwStatusToOperState",
       {},
       arguments({1}),
       "operation 131 is not supported on attribute hwStatusToOperState"},
      {constants,
       Op::set,
       "operStateEnabled",
       {},
       shown(1),
       "operation 128 is not supported on attribute operStateEnabled"},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(refusal([&] { op(c.on, c.code, c.attribute, c.key, c.value); }), c.reason);
  }
  EXPECT_EQ(tray_->label(), "1");
  EXPECT_EQ(refusal([&] { tray()->attributeIterator(EntityMib::FanTray::labelAttr); }),
            "operation 0 is not supported on attribute label");
  EXPECT_EQ(refusal([&] { constTray->attributeIterator(EntityMib::FanTray::fanAttr)->deleteMember(); }),
            "attempting to modify a const instance");
}

TEST_F(GenericIfTest, ReadsConstantsAndCallsFunctions) {
  auto const constants = view(Orvane::constantsFactory());
  EXPECT_EQ(op(constants, Op::get, "operStateEnabled")->value(), Value(Orvane::Constants::operStateEnabled));
  EXPECT_EQ(op(constants, Op::get, "unitsCelsius")->value(), Value("Celsius"));
  EXPECT_EQ(op(constants, Op::call, "hwStatusToOperState", {}, arguments({"ok"}))->value(), Value(3));
  EXPECT_EQ(op(constants, Op::call, "hwStatusToOperState", {}, arguments({2}))->value(), Value(2));
}

TEST_F(GenericIfTest, WalksAndDeletesOnTheWay) {
  auto const keys = [this] {
    std::vector<std::int64_t> found;
    for (auto at = view(tray_, true)->attributeIteratorConst(EntityMib::FanTray::fanAttr); at->more(); at->advance()) {
      found.push_back(*at->key()->value().get<std::int64_t>());
      EXPECT_TRUE(at->value()->isConst());
    }
    std::sort(found.begin(), found.end());
    return found;
  };
  EXPECT_THAT(keys(), ElementsAre(1, 2, 5));
  for (auto at = tray()->attributeIterator(EntityMib::FanTray::fanAttr); at->more(); at->advance()) {
    if (at->key()->value() == Value(2)) at->deleteMember();
  }
  EXPECT_THAT(keys(), ElementsAre(1, 5));
  EXPECT_EQ(refusal([this] { tray()->attributeIteratorConst(EntityMib::FanTray::fanAttr)->deleteMember(); }),
            "attempting to modify a const instance");

  auto const model = make<Orvane::OrvaneEntityMib>("mib");
  for (U32 containee : {3U, 5U, 9U}) model->containsIs({1, containee});
  auto const from = [&](Value const& key) {
    auto const at = view(model)->attributeIteratorKey(Orvane::OrvaneEntityMib::containsAttr, shown(key));
    return at->more() ? op(at->key(), Op::get, "containee")->value() : Value();
  };
  EXPECT_EQ(from(Value::Record{{"container", 1}, {"containee", 5}}), Value(5));
  EXPECT_EQ(from(Value::Record{{"containee", 5}, {"container", 1}}), Value(5));
  EXPECT_EQ(from("1/6"), Value(9));
  EXPECT_EQ(from("2/0"), Value());

  for (char const* name : {"a", "b", "c"}) tray_->deviationIs(name, name);
  std::vector<Value> entries;
  for (auto at = tray()->attributeIteratorKey(EntityMib::Fru::deviationAttr, shown("b")); at->more(); at->advance()) {
    entries.push_back(at->value()->value());
    at->deleteMember();
  }
  EXPECT_THAT(entries, ElementsAre(Value("b"), Value("c")));
  EXPECT_EQ(tray_->deviationMap().size(), 1U);
}

TEST_F(GenericIfTest, HandsOutConstWhereItIsConst) {
  EXPECT_TRUE(op(view(tray_, true), Op::get, "fan", shown(1))->isConst());
  EXPECT_FALSE(op(tray(), Op::get, "fan", shown(1))->isConst());
  // A reference to a const object.
  xcvr_->xcvrConfigIs(make<Xcvr::XcvrConfig>("Ethernet1"));
  EXPECT_TRUE(op(xcvr(), Op::get, "xcvrConfig")->isConst());
  EXPECT_TRUE(EntityMib::FanTray::GenericIf_(Ptr<EntityMib::FanTray const>(tray_)).isConst());
}

TEST_F(GenericIfTest, ShowsTheFieldsOfAValue) {
  auto const model = make<Orvane::OrvaneEntityMib>("mib");
  auto const entry = op(view(model->containsIs({1, 2})), Op::get, "entry");
  EXPECT_EQ(entry->type(), Orvane::ContainsEntry::_fwkType());
  EXPECT_TRUE(entry->type()->isValue());
  EXPECT_EQ(op(entry, Op::get, "containee")->value(), Value(2));
  EXPECT_EQ(op(entry, Op::get, "containee")->type(), Zef::Builtin<U32>::_fwkType());
  EXPECT_EQ(refusal([&] { op(entry, Op::set, "containee", {}, shown(3)); }), "attempting to modify a const instance");
}

TEST(Introspection, IsInTheOrderOfRegistration) {
  std::vector<std::string> types;
  for (auto const& node : Zef::IntrospectionReactor::global().nodes()) {
    EXPECT_EQ(ZefType::byName(node.type->qualifiedName()), node.type);
    EXPECT_EQ(node.attributes.size(), node.type->attributes().size()) << node.type->qualifiedName();
    if (node.nameSpace == "Orvane") types.emplace_back(node.type->name().view());
  }
  ASSERT_GT(types.size(), 5U);
  EXPECT_EQ(types.front(), "SensorSpec");
  EXPECT_EQ(types.back(), "OrvaneStateMib");
}

TEST(Introspection, KnowsWhatAModelDeclares) {
  auto const& nodes = Zef::IntrospectionReactor::global().nodes();
  auto const node = [&](char const* name) {
    return *std::find_if(nodes.begin(), nodes.end(), [&](auto const& n) { return n.type->qualifiedName() == name; });
  };
  auto const tray = node("EntityMib::FanTray");
  EXPECT_TRUE(tray.isEntity && tray.hasGenericIfSupport && !tray.isValue);
  EXPECT_EQ(tray.base, EntityMib::Fru::_fwkType());
  auto const& fan = tray.attributes.front();
  EXPECT_EQ(fan.name, "fan");
  EXPECT_EQ(fan.id, EntityMib::FanTray::fanAttr);
  EXPECT_EQ(fan.type, "EntityMib::Fan");
  EXPECT_EQ(fan.furtherType, "EntityMib::ParentIndex");
  EXPECT_EQ(fan.flags, ZefAttr::ZefAttrIntrospectionFlags::hasInternalIndex_());
  auto const entry = node("Orvane::ContainsEntry");
  EXPECT_TRUE(entry.isValue && !entry.isEntity);
  ASSERT_EQ(entry.constructor.size(), 2U);
  EXPECT_EQ(entry.constructor[1].name, "containee");
  EXPECT_EQ(entry.constructor[1].type, "U32");
  auto const& attributes = node("Orvane::Constants").attributes;
  auto const function =
      std::find_if(attributes.begin(), attributes.end(), [](auto const& a) { return a.name == "hwStatusToOperState"; });
  ASSERT_NE(function, attributes.end());
  EXPECT_EQ(function->flags, ZefAttr::ZefAttrIntrospectionFlags::isFunction_());
  ASSERT_EQ(function->parameters.size(), 1U);
  EXPECT_EQ(function->parameters[0].name, "hwStatus");
  EXPECT_EQ(function->parameters[0].type, "Environment::Cooling::FanStatus::HwStatus");
  EXPECT_EQ(function->type, "U32");
}

TEST(Introspection, RefusesFlagsThatDoNotExist) {
  EXPECT_EQ(ZefAttr::ZefAttrIntrospectionFlags(63).value(), 63U);
  EXPECT_EQ(refusal([] { ZefAttr::ZefAttrIntrospectionFlags const flags(64); }),
            "ZefAttrIntrospectionFlags::value > 0x3f not allowed");
}

}  // namespace
