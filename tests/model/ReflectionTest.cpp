// Everything that a publisher does by name: every attribute of every type of the models can be found, set, read and
// removed, and tells its own slot of each observer, once, when something really changes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "model/input/Interface.h"
#include "model/input/Xcvr.h"
#include "runtime/reflection/GenericIf.h"
#include "tests/model/Refusal.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Zef::make;
using Zef::Ptr;
using Zef::PtrInterface;
using Zef::Value;
using Zef::ZefAttr;
using Zef::ZefType;

using Kind = ZefAttr::Kind;
using Access = ZefAttr::Access;

// One of them fits any attribute that is set by a value, and is not its default.
std::vector<Value> candidates() {
  return {Value(true),
          Value(false),
          Value(2),
          Value(1),
          Value(3.5),
          Value("Ethernet1"),
          Value(Value::Record()),
          Value(Value::Record{{"maxRpm", Value(9000)}})};
}

std::string text(Zef::String8 const& string) { return std::string(string.view()); }

// What listeners have heard: "speed" for a scalar, "fan[1]" for one key of a collection.
std::vector<std::string>& heard() {
  static std::vector<std::string> all;
  return all;
}
std::vector<std::string> takeHeard() { return std::exchange(heard(), {}); }

void hear(std::string const& what) { heard().push_back(what); }
void hear(std::string const& what, Value const& key) {
  auto const* number = key.get<std::int64_t>();
  hear(what + "[" + (number == nullptr ? text(*key.get<Zef::String8>()) : std::to_string(*number)) + "]");
}

// Hears what a type tells of its own accord, by name.
class Listener final : public Zef::GenericIf::Listener {
 public:
  explicit Listener(ZefType const* type) : type_(type) {}
  void onAttribute(Zef::AttributeId attribute, Ptr<Zef::GenericIf const> const& key) override {
    std::string const what = text(type_->attr(attribute)->name());
    key ? hear(what, key->value()) : hear(what);
  }

 private:
  ZefType const* type_;
};

// Of the types without a generic notifiee a few stand for all, with an attribute of each form: the compiler writes them
// alike.
using EntityMib::ParentIndex;
class FanTrayHears : public EntityMib::FanTray::NotifieeConst {
 public:
  void onTag() override { hear("tag"); }
  void onModelName() override { hear("modelName"); }
  void onDeviation(Zef::String8 key) override { hear("deviation", Value(key)); }
  void onFan(ParentIndex key) override { hear("fan", Value(key.value())); }
};
class FanTraySlotHears : public EntityMib::FanTraySlot::NotifieeConst {
 public:
  void onLabel() override { hear("label"); }
  void onFanTray() override { hear("fanTray"); }
};
class XcvrStatusHears : public Xcvr::XcvrStatus::NotifieeConst {
 public:
  void onXcvrConfig() override { hear("xcvrConfig"); }
  void onPresence() override { hear("presence"); }
  void onDomInfo(Xcvr::LaneId key) override { hear("domInfo", Value(key.value())); }
  void onDomThreshold() override { hear("domThreshold"); }
};
class AllIntfStatusDirHears : public Interface::AllIntfStatusDir::NotifieeConst {
 public:
  void onIntfStatus(Morvet::IntfId key) override { hear("intfStatus", Value(key.stringValue())); }
};
struct Hearing {
  char const* type;
  std::vector<std::string> attributes;
  Ptr<PtrInterface::NotifieeConst> (*make)();
};
template <class T>
Ptr<PtrInterface::NotifieeConst> made() {
  return make<T>();
}
std::vector<Hearing> const hearings{
    {"EntityMib::FanTray", {"tag", "modelName", "deviation", "fan"}, &made<FanTrayHears>},
    {"EntityMib::FanTraySlot", {"label", "fanTray"}, &made<FanTraySlotHears>},
    {"Xcvr::XcvrStatus", {"xcvrConfig", "presence", "domInfo", "domThreshold"}, &made<XcvrStatusHears>},
    {"Interface::AllIntfStatusDir", {"intfStatus"}, &made<AllIntfStatusDirHears>},
};
Hearing const* hearingOf(ZefType const& type) {
  auto const found = std::find_if(hearings.begin(), hearings.end(),
                                  [&](Hearing const& hearing) { return type.qualifiedName() == hearing.type; });
  return found == hearings.end() ? nullptr : &*found;
}

// Hears of changes of the entity while it lives: of all, or of those in `hearings`. Null for a type that nothing hears.
Ptr<PtrInterface::NotifieeConst> listen(Ptr<Zef::Entity> const& entity) {
  ZefType const* const type = entity->fwkType();
  auto const view = Zef::dynamicCast<Zef::GenericIfEntity>(type->genericIf(Ptr<PtrInterface>(entity), true));
  if (type->newAdapter(make<Listener>(type))) return view->listen(make<Listener>(type));
  EXPECT_NE(refusal([&] { view->listen(make<Listener>(type)); }), "no refusal");
  Hearing const* const hearing = hearingOf(*type);
  if (hearing == nullptr) return nullptr;
  auto const notifiee = hearing->make();
  notifiee->notifierIs(entity);
  notifiee->isRegisteredNotifieeIs(true);
  return notifiee;
}

// What is told of the attribute at hand is expected once from each of the two observers, if they hear it.
bool isHeard = false;
auto twice(std::string const& what) {
  return testing::ElementsAreArray(isHeard ? std::vector{what, what} : std::vector<std::string>());
}

// By name, as one does who does not know the type; but what is fixed is set while the object is made.
void set(ZefAttr const& attribute, PtrInterface& object, Value const& value) {
  if (attribute.isFixed()) {
    attribute.set(object, value);
    return;
  }
  auto const view = object.fwkType()->genericIf(Ptr<PtrInterface>(&object), false);
  Zef::GenericIf::AttributeOp const op(Zef::GenericIf::AttributeOp::set, view->attributeId(attribute.name()));
  view->attributeOp(op, nullptr, attribute.type()->genericIf(value, false));
}

// A value that the attribute takes and that differs from what it holds; the attribute holds it afterwards.
Value change(ZefAttr const& attribute, PtrInterface& object) {
  Value before = attribute.get(object);
  for (Value const& candidate : candidates()) {
    try {
      set(attribute, object, candidate);
    } catch (Zef::RangeException const&) {
      EXPECT_EQ(attribute.get(object), before);
      continue;
    }
    if (!(attribute.get(object) == before)) return candidate;
    takeHeard();
  }
  ADD_FAILURE() << "nothing fits " << attribute.name();
  return before;
}

void checkValue(ZefAttr const& attribute, PtrInterface& object, std::string const& name) {
  Value const before = attribute.get(object);
  Value const value = change(attribute, object);
  EXPECT_THAT(takeHeard(), twice(name));
  set(attribute, object, value);
  EXPECT_THAT(takeHeard(), IsEmpty());
  set(attribute, object, before);
  EXPECT_EQ(attribute.get(object), before);
  EXPECT_THAT(takeHeard(), twice(name));
}

void checkFixed(ZefAttr const& attribute, PtrInterface& object) {
  change(attribute, object);
  EXPECT_THAT(takeHeard(), IsEmpty());
}

void checkReference(ZefAttr const& attribute, PtrInterface& object, std::string const& name) {
  ASSERT_NE(attribute.objectType(), nullptr);
  Value const other(attribute.objectType()->newObject("other"));
  set(attribute, object, other);
  EXPECT_EQ(attribute.get(object), other);
  EXPECT_THAT(takeHeard(), twice(name));
  set(attribute, object, other);
  Ptr<PtrInterface> const stranger = make<Zef::Dir>("stranger");
  EXPECT_THAT(refusal([&] { attribute.set(object, Value(stranger)); }), HasSubstr("is needed, not a Dir"));
  EXPECT_EQ(attribute.get(object), other);
  EXPECT_THAT(takeHeard(), IsEmpty());
  attribute.set(object, Value());
  EXPECT_THAT(takeHeard(), twice(name));
}

void checkChild(ZefAttr const& attribute, Zef::Entity& object, std::string const& name) {
  Ptr<Zef::Entity> const child = attribute.childIs(object);
  EXPECT_THAT(takeHeard(), twice(name));
  EXPECT_EQ(attribute.childIs(object), child);
  EXPECT_THAT(takeHeard(), IsEmpty());
  EXPECT_EQ(child->parent().get(), &object);
  EXPECT_EQ(child->parentAttr(), attribute.name());
  attribute.childDel(object);
  EXPECT_FALSE(attribute.child(object));
  EXPECT_FALSE(child->parent());
  EXPECT_THAT(takeHeard(), twice(name));
}

// A key that fits: a number, the name of an interface, or two fields.
Zef::String8 someKey(ZefAttr const& attribute) {
  for (char const* key : {"1", "Ethernet1"}) {
    if (refusal([&] { attribute.key(key); }) == "no refusal") return attribute.key(key);
  }
  return attribute.key("1/1");
}

void checkCollection(ZefAttr const& attribute, Zef::Entity& object, std::string const& name) {
  Zef::String8 const key = someKey(attribute);
  std::string const slot = name + "[" + text(key) + "]";
  Ptr<PtrInterface> const member = attribute.memberIs(object, key);
  EXPECT_THAT(takeHeard(), twice(slot));
  EXPECT_EQ(attribute.memberIs(object, key), member);
  EXPECT_THAT(takeHeard(), IsEmpty());
  EXPECT_THAT(attribute.keys(object), ElementsAre(key));
  EXPECT_EQ(member->fwkType(), attribute.objectType());
  if (auto const entity = Zef::dynamicCast<Zef::Entity>(member)) {
    EXPECT_EQ(entity->parent().get(), &object);
    EXPECT_EQ(entity->parentAttr(), attribute.name());
  }
  EXPECT_EQ(attribute.memberDel(object, key), member);
  EXPECT_THAT(takeHeard(), twice(slot));
  EXPECT_FALSE(attribute.memberDel(object, key));
  EXPECT_THAT(attribute.keys(object), IsEmpty());
  EXPECT_THAT(takeHeard(), IsEmpty());
}

void checkValueMap(ZefAttr const& attribute, PtrInterface& object, std::string const& name) {
  Zef::String8 const key = someKey(attribute);
  std::string const slot = name + "[" + text(key) + "]";
  Value entered;
  for (Value const& candidate : candidates()) {
    if (refusal([&] { attribute.entryIs(object, key, candidate); }) == "no refusal") {
      entered = candidate;
      break;
    }
  }
  EXPECT_THAT(takeHeard(), twice(slot));
  attribute.entryIs(object, key, entered);
  EXPECT_THAT(takeHeard(), IsEmpty());
  EXPECT_THAT(attribute.keys(object), ElementsAre(key));
  attribute.entryDel(object, key);
  EXPECT_TRUE(attribute.entry(object, key).isNull());
  EXPECT_THAT(takeHeard(), twice(slot));
  attribute.entryDel(object, key);
  EXPECT_THAT(takeHeard(), IsEmpty());
}

void checkAttribute(ZefAttr const& attribute, Zef::Entity& object) {
  std::string const name = text(attribute.name());
  EXPECT_EQ(object.attributeId(attribute.name()), attribute.id());
  EXPECT_EQ(object.attributeString(attribute.id()), attribute.name().stringValue());
  if (attribute.access() == Access::readOnly) {
    EXPECT_THAT(refusal([&] { attribute.set(object, Value(1)); }), HasSubstr("cannot be set"));
  } else if (attribute.access() == Access::fixed) {
    checkFixed(attribute, object);
  } else if (attribute.kind() == Kind::value || attribute.kind() == Kind::optional) {
    checkValue(attribute, object, name);
  } else if (attribute.kind() == Kind::reference) {
    checkReference(attribute, object, name);
  } else if (attribute.kind() == Kind::entity) {
    checkChild(attribute, object, name);
  } else if (attribute.kind() == Kind::collection) {
    if (refusal([&] { attribute.memberIs(object, someKey(attribute)); }).find("given") == std::string::npos) {
      attribute.memberDel(object, someKey(attribute));
      takeHeard();
      checkCollection(attribute, object, name);
    }
  } else if (attribute.kind() == Kind::valueMap) {
    checkValueMap(attribute, object, name);
  }
}

TEST(ReflectionTest, everyAttributeOfEveryTypeIsReachedByNameAndTellsItsOwnSlot) {
  unsigned attributes = 0;
  unsigned heardOf = 0;
  for (ZefType const* type : ZefType::all()) {
    if (!type->isEntity() || type == Zef::entityType()) continue;
    SCOPED_TRACE(text(type->qualifiedName()));
    auto const object = Zef::dynamicCast<Zef::Entity>(type->newObject("1"));
    ASSERT_TRUE(object);
    EXPECT_EQ(object->fwkType(), type);
    EXPECT_EQ(ZefType::byName(type->qualifiedName()), type);
    std::vector const notifiees = {listen(object), listen(object)};
    Hearing const* const hearing = hearingOf(*type);
    for (ZefAttr const* attribute : type->allAttributes()) {
      SCOPED_TRACE(text(attribute->name()));
      isHeard = notifiees[0] &&
                (hearing == nullptr ||
                 std::count(hearing->attributes.begin(), hearing->attributes.end(), text(attribute->name())) != 0);
      heardOf += isHeard ? 1 : 0;
      takeHeard();
      checkAttribute(*attribute, *object);
      ++attributes;
    }
  }
  EXPECT_GT(attributes, 300U);
  EXPECT_GT(heardOf, 12U);
}

TEST(ReflectionTest, valuesThatDoNotFitAreRefusedInWordsAndChangeNothing) {
  Ptr<Environment::Cooling::FanStatus> const fan = make<Environment::Cooling::FanStatus>("Fan1");
  Ptr<Interface::IntfStatus> const interface = make<Interface::IntfStatus>("Ethernet1");
  Ptr<Xcvr::XcvrStatus> const xcvr = make<Xcvr::XcvrStatus>("Ethernet1");
  Value::Record const oneLimit{{"highAlarm", Value(75)}};
  auto const config = make<Environment::Temperature::TempSensorConfig>("TempSensor1");
  auto const sensor = make<EntityMib::Sensor>("1");
  std::string const tooLong(33, 'x');
  struct Case {
    PtrInterface& object;
    char const* attribute;
    Value value;
    char const* reason;
  };
  Case const cases[] = {
      {*fan, "fanFault", Value(1), "true or false is needed, not the number 1"},
      {*fan, "fanFault", Value(), "true or false is needed, not nothing"},
      {*fan, "speedStatus", Value(-1), "a whole number from 0 to 4294967295 is needed, not the number -1"},
      {*fan, "speedStatus", Value(std::int64_t{4294967296}), "not the number 4294967296"},
      {*fan, "speedStatus", Value(1.5), "not the number 1.5"},
      {*fan, "speed", Value("fast"), "a number is needed, not the text \"fast\""},
      {*fan, "speed", Value(1e300), "a number from -3.40282e+38 to 3.40282e+38 is needed, not the number 1e+300"},
      {*fan, "hwStatus", Value("broken"),
       "one of unknown, ok, failed, or its number, is needed, not the text \"broken\""},
      {*fan, "properties", Value(Value::Record{{"maxRpm", Value(-1)}}), "maxRpm: a whole number"},
      {*fan, "properties", Value(Value::Record{{"minRpm", Value(1)}}), "minRpm: no such name in a group of maxRpm"},
      {*fan, "properties", Value(9000), "a group of maxRpm is needed, not the number 9000"},
      {*interface, "operStatus", Value(0), "not the number 0"},
      {*interface, "operStatus", Value(8), "not the number 8"},
      {*xcvr, "domThreshold", Value(Value::Record{{"heat", Value(oneLimit)}}),
       "heat: no such name in a group of temperature, voltage"},
      {*xcvr, "domThreshold", Value(Value::Record{{"voltage", Value(7)}}), "voltage: a group of highAlarm, lowAlarm,"},
      {*xcvr, "domThreshold", Value(Value::Record{{"voltage", Value(Value::Record{{"highAlarm", Value("x")}})}}),
       "voltage: highAlarm: a number is needed"},
      // what a model bounds: an attribute, a fixed one, a group
      {*fan, "speed", Value(100001), "a number of at most 100000 is needed, not the number 100001"},
      {*fan, "properties", Value(Value::Record{{"maxRpm", Value(1000001)}}), "maxRpm: a number of at most 1000000"},
      {*config, "overheatThreshold", Value(-1e9), "a number from -100000000 to 100000000 is needed"},
      {*xcvr, "domThreshold", Value(Value::Record{{"txPower", Value(oneLimit)}}), "txPower: highAlarm: a number of at"},
      {*sensor, "serialNum", Value(tooLong.c_str()), "a text of at most 32 bytes is needed, not one of 33"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(std::string(c.attribute) + " " + text(c.value.description()));
    ZefAttr const& attribute = *c.object.fwkType()->attr(c.attribute);
    Value const before = attribute.get(c.object);
    EXPECT_THAT(refusal([&] { attribute.set(c.object, c.value); }), HasSubstr(c.reason));
    EXPECT_EQ(attribute.get(c.object), before);
  }
  sensor->serialNumIs(tooLong.c_str());  // a setter takes all that the type holds
  EXPECT_EQ(sensor->serialNum(), tooLong.c_str());
}

TEST(ReflectionTest, anOpenEnumerationTakesNumbersWithoutAName) {
  Ptr<Environment::Cooling::FanStatus> const fan = make<Environment::Cooling::FanStatus>("Fan1");
  ZefAttr const& hwStatus = *fan->fwkType()->attr("hwStatus");
  hwStatus.set(*fan, Value(7));
  EXPECT_EQ(static_cast<U32>(fan->hwStatus()), 7U);
  EXPECT_EQ(hwStatus.get(*fan), Value(7));
  hwStatus.set(*fan, Value("ok"));
  EXPECT_EQ(fan->hwStatus(), Environment::Cooling::FanStatus::HwStatus::ok);
}

TEST(ReflectionTest, aKeyHasOneSpelling) {
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

TEST(ReflectionTest, anObjectThatRefusesItsPlaceLeavesTheTreeAsItWas) {
  Ptr<EntityMib::Status> const status = make<EntityMib::Status>("status");
  status->chassisIs(make<EntityMib::Chassis>("chassis"));
  EntityMib::Chassis& chassis = *status->chassis();
  ZefAttr const& cardSlot = *chassis.fwkType()->attr("cardSlot");
  EXPECT_THAT(refusal([&] { cardSlot.memberIs(chassis, "65"); }), HasSubstr("1 to 64"));
  EXPECT_THAT(cardSlot.keys(chassis), IsEmpty());
}

TEST(ReflectionTest, membersThatOutliveTheirOwnerHaveNoParent) {
  Ptr<EntityMib::FanTray> tray = make<EntityMib::FanTray>("tray");
  Ptr<EntityMib::Fan> const fan = tray->fanIs(EntityMib::ParentIndex(1));
  Ptr<EntityMib::Fan> const other = tray->newFan(EntityMib::ParentIndex(1));
  EXPECT_FALSE(fan->parent());
  EXPECT_EQ(tray->fan(EntityMib::ParentIndex(1)), other);
  EXPECT_EQ(tray->fanCount(), 1U);
  tray = nullptr;
  EXPECT_FALSE(other->parent());
}

TEST(ReflectionTest, aWalkMayDeleteAndTellsOfEachMember) {
  Ptr<EntityMib::FanTray> const tray = make<EntityMib::FanTray>("tray");
  for (U32 key = 1; key <= 5; ++key) tray->fanIs(EntityMib::ParentIndex(key));
  auto const observer = listen(tray);
  takeHeard();
  for (auto at = tray->fanIterator(); at; ++at) {
    if (at.key().value() % 2 == 1) at.deleteMember();
  }
  EXPECT_THAT(takeHeard(), testing::UnorderedElementsAre("fan[1]", "fan[3]", "fan[5]"));
  tray->fanDelAll();
  EXPECT_THAT(takeHeard(), testing::UnorderedElementsAre("fan[2]", "fan[4]"));
  EXPECT_EQ(tray->fanCount(), 0U);
}

}  // namespace
