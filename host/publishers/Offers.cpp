#include "host/publishers/Offers.h"

#include <algorithm>
#include <initializer_list>

#include "model/Constants.h"
#include "model/input/Election.h"
#include "model/input/Hardware.h"
#include "sm/Renewal.h"
#include "sm/SensorUpdates.h"
#include "sm/States.h"

namespace Host {

namespace {

using Zef::Ptr;
using Zef::PtrInterface;
using Zef::String8;
using Zef::ZefAttr;
using Kind = ZefAttr::Kind;

bool isSupervisor(Zef::Entity const* part) {
  auto const* const card = dynamic_cast<EntityMib::Card const*>(part);
  return card != nullptr && card->tag() == "Supervisor";
}

// The name of the object that a reference points at; the trees compared hold no object in common.
String8 nameOf(Zef::Value const& reference) {
  auto const* const object = reference.get<Ptr<PtrInterface>>();
  auto const* const entity = object == nullptr ? nullptr : dynamic_cast<Zef::Entity const*>(object->get());
  return entity == nullptr ? String8() : entity->name().stringValue();
}

bool differs(ZefAttr const& attribute, PtrInterface const& live, PtrInterface const& wanted) {
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::optional:
      return !(attribute.get(live) == attribute.get(wanted));
    case Kind::reference:
      return !(nameOf(attribute.get(live)) == nameOf(attribute.get(wanted)));
    case Kind::valueMap:
      return attribute.keys(live) != attribute.keys(wanted);
    default:
      return false;
  }
}

void add(Ptr<Orvane::ComponentEntry> const& entry, std::set<U32>& rows) {
  if (entry) rows.insert(entry->entity()->index());
}

// The sensors that read the status of a transceiver: their component names are a tag, what its name has behind
// "Ethernet", and of a lane's a "/" and more.
void addDomSensors(Orvane::Root const& root, String8 const& xcvr, std::set<U32>& rows) {
  constexpr std::string_view prefix = "Ethernet";
  if (!xcvr.view().starts_with(prefix)) return;
  auto const addIfOurs = [&](Ptr<Orvane::ComponentEntry> const& entry) {
    if (!entry) return;
    auto const& part = entry->entity()->phyAttr();
    if (root.constants()->xcvrNameFromSensorName(entry->identifier(), part->label()) == xcvr) add(entry, rows);
  };
  for (Orvane::SensorKind const& kind : Orvane::sensorKinds()) {
    if (!kind.ofXcvr) continue;
    String8 const name = String8(kind.tag) + xcvr.substr(prefix.size(), -1);
    String8 const lanes = name + "/";
    addIfOurs(root.component(name));
    for (auto at = root.componentStartAt(lanes); at && at.key().view().starts_with(lanes.view()); ++at)
      addIfOurs(at.ptr());
  }
}

}  // namespace

// What counts of each type, the first that fits: those of its attributes whose change counts, who notes it, and whether
// another label makes another thing of it, since what stands below it takes its name from there.
struct Offers::Rule {
  Zef::ZefType const* (*type)();
  std::initializer_list<char const*> attributes;
  Note note;
  bool labelMakesIdentity = false;
};

Offers::Rule const Offers::rules[] = {
    {&Environment::Temperature::TempSensorStatus::_fwkType, {"hwStatus"}, &Offers::temperature},
    {&Environment::Temperature::TempSensorConfig::_fwkType,
     {"overheatThreshold", "criticalThreshold"},
     &Offers::component},
    {&Environment::Power::VoltageRailStatus::_fwkType, {}, &Offers::component},
    {&Environment::Power::VoltageRailConfig::_fwkType, {}, &Offers::component},
    {&Environment::Power::CurrentSensorStatus::_fwkType, {}, &Offers::component},
    {&Environment::Power::SupplyStatus::_fwkType, {}, &Offers::supply},
    {&Environment::Cooling::FanStatus::_fwkType, {}, &Offers::fan},
    {&Interface::IntfStatus::_fwkType, {}, &Offers::component},
    {&Interface::IntfConfig::_fwkType, {}, &Offers::component},
    {&Xcvr::XcvrConfig::_fwkType, {"xcvrState"}, &Offers::xcvrConfig},
    {&Xcvr::XcvrStatus::_fwkType, {"presence", "xcvrConfig", "domInfo", "domThreshold"}, &Offers::xcvrStatus},
    {&Hardware::Card::CardStatus::_fwkType, {"state"}, &Offers::card},
    {&Election::Status::_fwkType, {"redundancyMode", "peerState", "peerRedundancyMode"}, &Offers::election},
    {&EntityMib::FixedSystem::_fwkType, {}, nullptr},
    {&EntityMib::Card::_fwkType, {}, &Offers::part, true},
    {&EntityMib::CardSlot::_fwkType, {}, &Offers::slot, true},
    {&EntityMib::FanTraySlot::_fwkType, {}, nullptr, true},
    {&EntityMib::PowerSupplySlot::_fwkType, {}, nullptr, true},
    {&EntityMib::Fru::_fwkType, {"label", "alias"}, &Offers::part},
    {&EntityMib::PhysicalEntity::_fwkType, {"label"}, &Offers::part},
};

void Offers::begin(bool anythingIsPublished) {
  components_.clear();
  temperatures_.clear();
  cards_.clear();
  xcvrs_.clear();
  xcvrConfigs_.clear();
  rows_.clear();
  newRows_.clear();
  election_ = false;
  notes_ = anythingIsPublished;
}

bool Offers::run(Orvane::Root& root) {
  std::set<U32> rows = rows_;
  for (U32 const index : newRows_) {
    auto const state = root.stateMib()->stateEntity(index);
    if (state && state->operState() == Orvane::Constants::operStateUnknown) rows.insert(index);
  }
  for (String8 const& name : components_) add(root.component(name), rows);
  for (String8 const& name : temperatures_) {
    auto const entry = root.component(name);
    if (entry && !(entry->entity()->tag() == "TempSensor")) add(entry, rows);
  }
  for (String8 const& name : cards_) {
    auto const entry = root.card(name);
    add(entry, rows);
    election_ = election_ || (entry && entry->entity()->tag() == "Supervisor");
  }
  // Those who follow a configuration look for its own transceiver.
  if (!notes_) rebuild(root);
  for (String8 const& name : xcvrs_) follow(root, name);
  for (String8 const& name : xcvrConfigs_) {
    if (auto const found = referring_.find(name); found != referring_.end())
      xcvrs_.insert(found->second.begin(), found->second.end());
  }
  for (String8 const& name : xcvrs_) {
    add(root.xcvr(name), rows);
    addDomSensors(root, name, rows);
  }
  Orvane::renew(root, rows);
  return election_;
}

void Offers::rebuild(Orvane::Root const& root) {
  elsewhere_.clear();
  referring_.clear();
  if (!root.xcvrStatusDir()) return;
  for (auto at = root.xcvrStatusDir()->xcvrStatusIteratorConst(); at; ++at) follow(root, at->name());
}

void Offers::follow(Orvane::Root const& root, String8 const& status) {
  if (auto const old = elsewhere_.find(status); old != elsewhere_.end()) {
    auto const others = referring_.find(old->second);
    others->second.erase(status);
    if (others->second.empty()) referring_.erase(others);
    elsewhere_.erase(old);
  }
  auto const record = root.xcvrStatusDir() ? root.xcvrStatusDir()->xcvrStatus(status) : nullptr;
  if (!record || !record->xcvrConfig() || record->xcvrConfig()->name() == record->name()) return;
  String8 const& config = record->xcvrConfig()->name();
  elsewhere_[status] = config;
  referring_[config].insert(status);
}

Offers::Watched const& Offers::watched(PtrInterface const& object) const {
  Zef::ZefType const* const type = object.fwkType();
  auto const [at, isNew] = watched_.try_emplace(type);
  if (!isNew || type == nullptr) return at->second;
  auto const* const rule =
      std::find_if(std::begin(rules), std::end(rules), [&](Rule const& each) { return type->isA(each.type()); });
  if (rule == std::end(rules)) return at->second;
  at->second.rule = rule;
  for (char const* name : rule->attributes) at->second.attributes.push_back(type->attr(Zef::Name(name)));
  return at->second;
}

bool Offers::isAnother(PtrInterface const& live, PtrInterface const& wanted) const {
  Watched const& kind = watched(live);
  if (kind.rule == nullptr || !kind.rule->labelMakesIdentity) return false;
  auto const labelOf = [](PtrInterface const& part) {
    return static_cast<EntityMib::PhysicalEntity const&>(dynamic_cast<Zef::Entity const&>(part)).label();
  };
  return !(labelOf(live) == labelOf(wanted));
}

void Offers::note(PtrInterface const& object, Event event) {
  Rule const* const rule = notes_ ? watched(object).rule : nullptr;
  if (rule != nullptr && rule->note != nullptr) (this->*rule->note)(dynamic_cast<Zef::Entity const&>(object), event);
}

void Offers::going(PtrInterface const& object) { note(object, Event::went); }

void Offers::came(PtrInterface const& object) { note(object, Event::came); }

void Offers::staying(PtrInterface const& live, PtrInterface const& wanted) {
  auto const& attributes = watched(live).attributes;
  if (std::any_of(attributes.begin(), attributes.end(),
                  [&](ZefAttr const* attribute) { return differs(*attribute, live, wanted); })) {
    note(live, Event::changed);
  }
}

// Records, by whom they speak of.

void Offers::component(Zef::Entity const& record, Event /*event*/) { components_.insert(record.name().stringValue()); }

void Offers::temperature(Zef::Entity const& record, Event event) {
  (event == Event::changed ? temperatures_ : components_).insert(record.name().stringValue());
}

void Offers::fan(Zef::Entity const& record, Event /*event*/) {
  components_.insert(Orvane::fanSensorName(record.name().stringValue()));
}

void Offers::supply(Zef::Entity const& record, Event /*event*/) {
  components_.insert(Orvane::supplyComponent(record.name().stringValue()));
}

void Offers::card(Zef::Entity const& record, Event /*event*/) { cards_.insert(record.name().stringValue()); }

void Offers::xcvrConfig(Zef::Entity const& record, Event event) {
  if (event == Event::changed) xcvrConfigs_.insert(record.name().stringValue());
}

void Offers::xcvrStatus(Zef::Entity const& record, Event /*event*/) { xcvrs_.insert(record.name().stringValue()); }

void Offers::election(Zef::Entity const& /*record*/, Event /*event*/) { election_ = true; }

// Parts.

void Offers::slot(Zef::Entity const& part, Event event) {
  auto const& slot = static_cast<EntityMib::CardSlot const&>(part);
  // What comes in it is said by itself.
  if (event == Event::went && isSupervisor(slot.card().get())) election_ = true;
}

void Offers::part(Zef::Entity const& part, Event event) {
  if (isSupervisor(&part)) election_ = true;
  auto const& physical = static_cast<EntityMib::PhysicalEntity const&>(part);
  U32 const index = physical.physicalIndex().value();
  switch (event) {
    case Event::came:
      newRows_.insert(index);
      break;
    case Event::changed:
      rows_.insert(index);
      break;
    case Event::went:
      // A fan's state is told of its sensors.
      if (auto const fan = Zef::dynamicCast<EntityMib::Fan const>(Ptr<Zef::Entity const>(part.parent())))
        rows_.insert(fan->physicalIndex().value());
      break;
  }
}

}  // namespace Host
