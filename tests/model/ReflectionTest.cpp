// Objects and values by name alone, as publishers and inspection see them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "model/OrvaneLib.h"
#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "model/input/Interface.h"
#include "model/input/Xcvr.h"
#include "runtime/reflection/GenericIf.h"
#include "runtime/reflection/Introspection.h"
#include "tests/Support.h"
#include "tests/model/Forms.h"

namespace {

using EntityMib::ParentIndex;
using Forms::Everything;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Zef::GenericIf;
using Zef::make;
using Zef::Ptr;
using Zef::PtrInterface;
using Zef::Value;
using Zef::ZefAttr;
using Zef::ZefType;
using Op = GenericIf::AttributeOp;
using Kind = ZefAttr::Kind;

constexpr char const* isConst = "attempting to modify a const instance";
constexpr char const* keys[] = {"1", "Ethernet1", "1/6"};  // one of these fits into any collection

std::string text(Zef::String8 const& string) { return std::string(string.view()); }

Ptr<GenericIf> shown(Value const& value) { return Zef::typeOf<U32>()->genericIf(value, true); }

Ptr<GenericIf> view(Ptr<PtrInterface> const& object, bool readOnly = false) {
  return object->fwkType()->genericIf(object, readOnly);
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

// What listeners have heard: "value" for a scalar, "map[the number 1]" for one key.
std::vector<std::string>& heard() {
  static std::vector<std::string> all;
  return all;
}
std::vector<std::string> takeHeard() { return std::exchange(heard(), {}); }

class Listener final : public GenericIf::Listener {
 public:
  void onAttribute(Zef::AttributeId attribute, Ptr<GenericIf const> const& key) override {
    heard().push_back(text(Everything::_fwkType()->attr(attribute)->name()) +
                      (key ? "[" + text(key->value().description()) + "]" : ""));
  }
};

// Hears of all changes of the object while it lives.
Ptr<PtrInterface::NotifieeConst> listen(Ptr<Everything> const& object) {
  return Zef::dynamicCast<Zef::GenericIfEntity>(view(object, true))->listen(make<Listener>());
}

TEST(Reflection, EachFormComesAndGoesByNameAndTellsItsOwnSlotOnce) {
  auto const object = make<Everything>("everything");
  auto const all = view(object);
  std::vector const listeners = {listen(object), listen(object)};
  Ptr<GenericIf> const no;
  struct {
    char const* attribute;
    Ptr<GenericIf> key;
    Op::Code come;
    Ptr<GenericIf> value;
    Op::Code go;
    Ptr<GenericIf> valueBefore;
    char const* told;
  } const forms[] = {
      {"value", no, Op::set, shown(7), Op::set, shown(0), "value"},
      {"reference", no, Op::set, view(make<Forms::Part>("other")), Op::set, no, "reference"},
      {"entity", no, Op::create, no, Op::del, no, "entity"},
      {"hash", shown("a"), Op::create, no, Op::del, no, "hash[the text \"a\"]"},
      {"tree", shown(1), Op::create, no, Op::del, no, "tree[the number 1]"},
      {"map", shown(1), Op::set, shown("x"), Op::del, no, "map[the number 1]"},
      {"optional", no, Op::set, shown(7), Op::del, no, "optional"},
  };
  for (auto const& form : forms) {
    SCOPED_TRACE(form.attribute);
    auto const now = [&] {
      auto const there = op(all, Op::get, form.attribute, form.key);
      return there ? there->value() : Value();
    };
    Value const before = now();
    for (bool const comes : {true, false}) {
      auto const change = [&] {
        op(all, comes ? form.come : form.go, form.attribute, form.key, comes ? form.value : form.valueBefore);
      };
      change();
      Value const after = now();
      EXPECT_EQ(after == before, !comes);
      EXPECT_THAT(takeHeard(), ElementsAre(form.told, form.told));
      if (form.key) {
        EXPECT_EQ(op(all, Op::count, form.attribute)->value(), Value(comes ? 1 : 0));
      }
      change();
      EXPECT_EQ(now(), after);
      EXPECT_THAT(takeHeard(), IsEmpty());
    }
  }
  for (auto const& [attribute, key] : {std::pair("entity", no), std::pair("hash", shown("a"))}) {
    auto const child = op(all, Op::create, attribute, key);
    EXPECT_EQ(child->type(), Forms::Part::_fwkType());
    auto const part = Zef::dynamicCast<Zef::Entity>(*child->value().get<Ptr<PtrInterface>>());
    EXPECT_EQ(part->parent(), object);
    EXPECT_EQ(part->parentAttr(), attribute);
  }
}

TEST(Reflection, EveryTypeHasItsAttributesAndTakesWhatTheyGive) {
  unsigned attributes = 0;
  for (ZefType const* type : ZefType::all()) {
    if (type == Zef::entityType() || !type->isA(Zef::entityType())) continue;
    SCOPED_TRACE(text(type->qualifiedName()));
    Ptr<PtrInterface> object;
    if (refusal([&] { object = type->newObject("1"); }) != "no refusal") continue;
    EXPECT_EQ(object->fwkType(), type);
    for (ZefAttr const* attribute : type->allAttributes()) {
      SCOPED_TRACE(text(attribute->name()));
      ++attributes;
      EXPECT_EQ(view(object)->attributeId(attribute->name()), attribute->id());
      EXPECT_EQ(view(object)->attributeString(attribute->id()), attribute->name().stringValue());
      if (attribute->keyType() != nullptr) {
        EXPECT_TRUE(std::any_of(std::begin(keys), std::end(keys), [&](char const* key) {
          return refusal([&] { attribute->key(key); }) == "no refusal";
        }));
      } else if (attribute->access() == ZefAttr::Access::readOnly) {
        EXPECT_THAT(refusal([&] { attribute->set(*object, Value(1)); }), HasSubstr("cannot be set"));
      } else if (attribute->kind() != Kind::function && attribute->kind() != Kind::entity) {
        Value const given = attribute->get(*object);
        attribute->set(*object, given);
        EXPECT_EQ(attribute->get(*object), given);
      }
    }
  }
  EXPECT_GT(attributes, 300U);
}

// What a file can say wrong is refused in the tests of the inventory.
TEST(Reflection, ValuesThatDoNotFitAreRefusedInWordsAndChangeNothing) {
  Ptr<Environment::Cooling::FanStatus> const fan = make<Environment::Cooling::FanStatus>("Fan1");
  Ptr<Interface::IntfStatus> const interface = make<Interface::IntfStatus>("Ethernet1");
  Ptr<Xcvr::XcvrStatus> const xcvr = make<Xcvr::XcvrStatus>("Ethernet1");
  Value::Record const oneLimit{{"highAlarm", Value(75)}};
  auto const config = make<Environment::Temperature::TempSensorConfig>("TempSensor1");
  struct Case {
    PtrInterface& object;
    char const* attribute;
    Value value;
    char const* reason;
  };
  Case const cases[] = {
      {*fan, "fanFault", Value(), "true or false is needed, not nothing"},
      {*fan, "properties", Value(Value::Record{{"maxRpm", Value(-1)}}), "maxRpm: a whole number"},
      {*interface, "operStatus", Value(8), "not the number 8"},
      {*xcvr, "domThreshold", Value(Value::Record{{"heat", Value(oneLimit)}}),
       "heat: no such name in a group of temperature, voltage"},
      {*xcvr, "domThreshold", Value(Value::Record{{"voltage", Value(7)}}), "voltage: a group of highAlarm, lowAlarm,"},
      // What a model bounds: an attribute, a fixed one, a group.
      {*fan, "speed", Value(100001), "a number of at most 100000 is needed, not the number 100001"},
      {*fan, "properties", Value(Value::Record{{"maxRpm", Value(1000001)}}), "maxRpm: a number of at most 1000000"},
      {*config, "overheatThreshold", Value(-1e9), "a number from -100000000 to 100000000 is needed"},
      {*xcvr, "domThreshold", Value(Value::Record{{"txPower", Value(oneLimit)}}), "txPower: highAlarm: a number of at"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(std::string(c.attribute) + " " + text(c.value.description()));
    ZefAttr const& attribute = *c.object.fwkType()->attr(c.attribute);
    Value const before = attribute.get(c.object);
    EXPECT_THAT(refusal([&] { attribute.set(c.object, c.value); }), HasSubstr(c.reason));
    EXPECT_EQ(attribute.get(c.object), before);
  }
  fan->speedIs(100001);  // a setter takes all that the type holds
  EXPECT_EQ(fan->speed(), 100001);

  // An open enumeration takes numbers without a name.
  ZefAttr const& hwStatus = *fan->fwkType()->attr("hwStatus");
  hwStatus.set(*fan, Value(7));
  EXPECT_EQ(static_cast<U32>(fan->hwStatus()), 7U);
  EXPECT_EQ(hwStatus.get(*fan), Value(7));
  hwStatus.set(*fan, Value("ok"));
  EXPECT_EQ(fan->hwStatus(), Environment::Cooling::FanStatus::HwStatus::ok);
}

TEST(Reflection, AKeyHasOneSpelling) {
  ZefAttr const& cardSlot = *ZefType::byName("EntityMib::Chassis")->attr("cardSlot");
  ZefAttr const& lane = *ZefType::byName("Xcvr::XcvrStatus")->attr("domInfo");
  ZefAttr const& interface = *ZefType::byName("Interface::AllIntfStatusDir")->attr("intfStatus");
  EXPECT_EQ(cardSlot.key("64"), "64");
  EXPECT_EQ(lane.key("255"), "255");
  EXPECT_EQ(interface.key("Ethernet3/5"), "Ethernet3/5");
  for (char const* key : {"", "x", "01", "-1", "+1", " 1", "1 ", "1.0", "4294967296"}) {
    EXPECT_THAT(refusal([&] { cardSlot.key(key); }), HasSubstr("a key from 0 to 4294967295")) << key;
  }
  EXPECT_THAT(refusal([&] { lane.key("256"); }), HasSubstr("a key from 0 to 255"));
  for (char const* key : {"", "5", "Ethernet 5", "Ethernet5\n"}) {
    EXPECT_THAT(refusal([&] { interface.key(key); }), HasSubstr("no name of an interface")) << key;
  }
}

TEST(Reflection, MembersThatOutliveTheirOwnerHaveNoParent) {
  Ptr<EntityMib::FanTray> tray = make<EntityMib::FanTray>("tray");
  Ptr<EntityMib::Fan> const fan = tray->fanIs(ParentIndex(1));
  Ptr<EntityMib::Fan> const other = tray->newFan(ParentIndex(1));
  EXPECT_FALSE(fan->parent());
  EXPECT_EQ(tray->fan(ParentIndex(1)), other);
  EXPECT_EQ(tray->fanCount(), 1U);
  tray = nullptr;
  EXPECT_FALSE(other->parent());
}

TEST(Reflection, AWalkMayDeleteAndTellsOfEachMember) {
  auto const object = make<Everything>("everything");
  auto const all = view(object);
  auto const listener = listen(object);
  auto const fill = [&] {
    for (U32 key = 1; key <= 5; ++key) object->treeIs(key);
    takeHeard();
  };
  fill();
  for (auto at = object->treeIterator(); at; ++at) {
    if (at.key() % 2 == 1) at.deleteMember();
  }
  EXPECT_THAT(takeHeard(), ElementsAre("tree[the number 1]", "tree[the number 3]", "tree[the number 5]"));
  object->treeDelAll();
  EXPECT_THAT(takeHeard(), ElementsAre("tree[the number 2]", "tree[the number 4]"));

  // By name.
  fill();
  for (auto at = all->attributeIterator(Everything::treeAttr); at->more(); at->advance()) {
    if (*at->key()->value().get<std::int64_t>() % 2 == 1) at->deleteMember();
  }
  for (auto at = view(object, true)->attributeIteratorConst(Everything::treeAttr); at->more(); at->advance()) {
    EXPECT_TRUE(at->value()->isConst());
    EXPECT_EQ(refusal([&] { at->deleteMember(); }), isConst);
  }
  EXPECT_TRUE(object->treeCount() == 2 && object->tree(2) && object->tree(4));

  // From a key, or from what follows it.
  auto const entities = make<Orvane::OrvaneEntityMib>("mib");
  for (U32 containee : {3U, 5U, 9U}) entities->containsIs({1, containee});
  auto const from = [&](Value const& key) {
    auto const at = view(entities)->attributeIteratorKey(Orvane::OrvaneEntityMib::containsAttr, shown(key));
    return at->more() ? op(at->key(), Op::get, "containee")->value() : Value();
  };
  EXPECT_EQ(from(Value::Record{{"containee", 5}, {"container", 1}}), Value(5));
  EXPECT_EQ(from("1/6"), Value(9));
  EXPECT_EQ(from("2/0"), Value());
  for (U32 key = 1; key <= 3; ++key) object->mapIs(key, "entry");
  auto at = all->attributeIteratorKey(Everything::mapAttr, shown(2));
  for (; at->more(); at->advance()) at->deleteMember();
  EXPECT_THAT(object->mapMap(), ElementsAre(testing::Key(1)));
}

TEST(GenericIf, RefusesInWords) {
  auto const object = make<EntityMib::FanTray>("tray");
  auto const tray = view(object);
  auto const constTray = view(object, true);
  auto const constants = view(Orvane::constantsFactory());
  auto const sensors = view(make<Orvane::OrvaneSensorMib>("sensors"));
  auto const model = make<Orvane::OrvaneEntityMib>("entities");
  auto const constRow = view(model->physicalEntityIs(1), true);
  auto const entry = view(model->virtualContainerIs({1, "Fan"}));
  Ptr<GenericIf> const no;
  struct Case {
    Ptr<GenericIf> on;
    Op::Code code;
    char const* attribute;
    Ptr<GenericIf> key, value;
    std::string reason;
  };
  Case const cases[] = {
      {constTray, Op::create, "fan", shown(9), no, isConst},
      {entry, Op::set, "entity", no, constRow, isConst},
      {tray, Op::get, "nonsense", no, no, "EntityMib::FanTray has no attribute 0"},
      {tray, Op::get, "label", shown(1), no, "bad index for attribute label"},
      {tray, Op::get, "fan", no, no, "bad index for attribute fan"},
      {constants, Op::call, "domInfoToOperState", shown(1), no, "bad index for attribute domInfoToOperState"},
      // What an attribute of this kind does not do.
      {tray, Op::count, "label", no, no, "operation 1 is not supported on attribute label"},
      {tray, Op::set, "fan", shown(1), no, "operation 128 is not supported on attribute fan with a key"},
      {tray, Op::create, "deviation", shown("D"), no,
       "operation 129 is not supported on attribute deviation with a key"},
      {tray, Op::set, "physicalIndex", no, shown(1), "operation 128 is not supported on attribute physicalIndex"},
      {sensors, Op::create, "sensorEntity", shown(1), no,
       "operation 129 is not supported on attribute sensorEntity with a key"},
      {constants, Op::get, "domInfoToOperState", no, no,
       "operation 0 is not supported on attribute domInfoToOperState"},
      {constants, Op::callMutating, "domInfoToOperState", no, arguments({true}),
       "operation 131 is not supported on attribute domInfoToOperState"},
      // Values, keys and arguments that do not fit.
      {tray, Op::set, "label", no, shown(1), "label: a text is needed, not the number 1"},
      {tray, Op::get, "fan", shown("x"), no, "fan: a key from 0 to 4294967295 is needed, not \"x\""},
      {tray, Op::get, "fan", shown(1.5), no, "fan: no EntityMib::ParentIndex is the number 1.5"},
      {tray, Op::set, "deviation", shown(""), shown("bent"), "deviation: a key cannot be empty"},
      {view(model), Op::get, "contains", shown(Value::Record{{"container", 1}, {"x", 2}}), no,
       "contains: the field containee is missing"},
      {constants, Op::call, "domInfoToOperState", no, no, "domInfoToOperState: argument 1, domInfoValid, is missing"},
      {constants, Op::call, "domInfoToOperState", no, arguments({true, 2}), "domInfoToOperState takes no argument 2"},
      {constants, Op::call, "domInfoToOperState", no, shown(1), "domInfoToOperState: a list of arguments is needed"},
      {constants, Op::call, "domInfoToOperState", no, arguments({"red"}),
       "domInfoToOperState: argument 1, domInfoValid, does not fit: true or false is needed, not the text \"red\""},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(refusal([&] { op(c.on, c.code, c.attribute, c.key, c.value); }), c.reason);
  }
  EXPECT_EQ(refusal([&] { op(view(make<Everything>("e")), Op::set, "reference", no, tray); }),
            "reference: a Part is needed, not a FanTray");
  EXPECT_EQ(refusal([&] { tray->attributeIterator(EntityMib::FanTray::labelAttr); }),
            "operation 0 is not supported on attribute label");
  EXPECT_EQ(tray->attributeString(99), "unknown");
  EXPECT_FALSE(ZefAttr::attr("EntityMib::FanTray::label"));  // it is PhysicalEntity's
  EXPECT_EQ(ZefAttr::attr("EntityMib::FanTray::fan").get(), tray->type()->attr(Zef::Name("fan")));
  EXPECT_EQ(op(constants, Op::get, "unitsCelsius")->value(), Value("Celsius"));
  EXPECT_EQ(op(constants, Op::call, "hwStatusToOperState", {}, arguments({"ok"}))->value(), Value(3));
}

TEST(GenericIf, HandsOutConstWhereItIsConst) {
  auto const tray = make<EntityMib::FanTray>("tray");
  tray->fanIs(ParentIndex(1));
  EXPECT_TRUE(op(view(tray, true), Op::get, "fan", shown(1))->isConst());
  EXPECT_FALSE(op(view(tray), Op::get, "fan", shown(1))->isConst());
  EXPECT_TRUE(EntityMib::FanTray::GenericIf_(Ptr<EntityMib::FanTray const>(tray)).isConst());
  // A reference to a const object.
  auto const xcvr = make<Xcvr::XcvrStatus>("Ethernet1");
  xcvr->xcvrConfigIs(make<Xcvr::XcvrConfig>("Ethernet1"));
  EXPECT_TRUE(op(view(xcvr), Op::get, "xcvrConfig")->isConst());
  // The fields of a value.
  auto const model = make<Orvane::OrvaneEntityMib>("mib");
  auto const entry = op(view(model->containsIs({1, 2})), Op::get, "entry");
  EXPECT_TRUE(entry->type() == Orvane::ContainsEntry::_fwkType() && entry->type()->isValue());
  EXPECT_EQ(op(entry, Op::get, "containee")->value(), Value(2));
  EXPECT_EQ(op(entry, Op::get, "containee")->type(), Zef::Builtin<U32>::_fwkType());
  EXPECT_EQ(refusal([&] { op(entry, Op::set, "containee", {}, shown(3)); }), isConst);
}

TEST(Introspection, KnowsWhatAModelDeclares) {
  using Flags = ZefAttr::ZefAttrIntrospectionFlags;
  std::map<std::string, Zef::IntrospectionReactor::Node> nodes;
  std::string order;
  for (auto const& node : Zef::IntrospectionReactor::global().nodes()) {
    EXPECT_EQ(ZefType::byName(node.type->qualifiedName()), node.type);
    EXPECT_EQ(node.attributes.size(), node.type->attributes().size()) << node.type->qualifiedName();
    if (node.nameSpace == "Forms") order += text(node.type->name()) + " ";
    nodes.emplace(text(node.type->qualifiedName()), node);
  }
  EXPECT_EQ(order, "Part Row Everything ");

  auto const& everything = nodes.at("Forms::Everything");
  EXPECT_TRUE(everything.isEntity && everything.hasGenericIfSupport && !everything.isValue);
  auto const& hash = everything.attributes.at(3);
  EXPECT_EQ(hash.name, "hash");
  EXPECT_EQ(hash.id, Everything::hashAttr);
  EXPECT_EQ(hash.type, "Forms::Part");
  EXPECT_EQ(hash.furtherType, "Zef::Name");
  EXPECT_EQ(hash.flags, Flags::hasInternalIndex_());
  EXPECT_EQ(nodes.at("EntityMib::FanTray").base, EntityMib::Fru::_fwkType());
  auto const& entry = nodes.at("Orvane::ContainsEntry");
  EXPECT_TRUE(entry.isValue && !entry.isEntity);
  EXPECT_EQ(entry.constructor.at(1).name, "containee");
  EXPECT_EQ(entry.constructor.at(1).type, "U32");
  auto const& functions = nodes.at("Orvane::Constants").attributes;
  auto const function = std::find_if(functions.begin(), functions.end(),
                                     [](auto const& each) { return each.name == "hwStatusToOperState"; });
  EXPECT_EQ(function->flags, Flags::isFunction_());
  EXPECT_EQ(function->parameters.at(0).name, "hwStatus");
  EXPECT_EQ(function->parameters.at(0).type, "Environment::Cooling::FanStatus::HwStatus");
  EXPECT_EQ(function->type, "U32");
  EXPECT_EQ(refusal([] { Flags const flags(64); }), "ZefAttrIntrospectionFlags::value > 0x3f not allowed");
}

}  // namespace
