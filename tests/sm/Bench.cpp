#include "tests/sm/Bench.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "runtime/reflection/ActivityManagerConfig.h"
#include "runtime/reflection/Type.h"

namespace Orvane {

namespace {

// The last step of a path, by the object that it starts from.
struct Place {
  Zef::Ptr<Zef::PtrInterface> owner;  // null when a step before it leads nowhere
  Zef::ZefAttr const* attribute = nullptr;
  std::string key = "";

  bool isKeyed() const { return attribute->kind() == Zef::ZefAttr::Kind::collection; }
  Zef::Ptr<Zef::PtrInterface> object() const {
    if (!owner) return nullptr;
    return isKeyed() ? attribute->member(*owner, key.c_str()) : attribute->child(*owner);
  }
};

Place placeOf(EntityMib::Status& status, std::string const& path) {
  Place place{&status};
  std::string name;
  for (std::istringstream steps(path); std::getline(steps, name, '.');) {
    if (place.attribute != nullptr) place.owner = place.object();
    if (!place.owner) break;
    place.attribute = place.owner->fwkType()->attr(Zef::Name(name.c_str()));
    if (place.isKeyed()) std::getline(steps, place.key, '.');
  }
  return place;
}

}  // namespace

void Bench::makeRoot() {
  root = nullptr;
  root = rootFactory("orvane");
  entityMib = orvaneEntityMibFactory("entitymib");
  stateMib = orvaneStateMibFactory("entitystatemib");
  sensorMib = orvaneSensorMibFactory("entitysensormib");
  root->entityMibIs(entityMib);
  root->stateMibIs(stateMib);
  root->sensorMibIs(sensorMib);
  for (auto const& each : inputs)
    root->fwkType()->attr(each->name())->set(*root, Zef::Value(Zef::Ptr<Zef::PtrInterface>(each)));
}

void Bench::start() {
  makeRoot();
  root->handleInitialized();
}

void Bench::publishSystem() {
  Zef::Batch const batch;
  put({{"fixedSystem", "FixedSystem"},
       {"fixedSystem.sensor.1", "TempSensor"},
       {"fixedSystem.port.1", "Ethernet"},
       {"fixedSystem.port.2", "Management"},
       {"fixedSystem.xcvrSlot.1", "XcvrSlot"},
       {"fixedSystem.chip.1", "Chip"},
       {"fixedSystem.storageDevices.1", "Flash"},
       {"fixedSystem.powerSupplySlot.1", "PowerSupplySlot", "P1"},
       {"fixedSystem.fanTraySlot.2", "FanTraySlot"}});
  put(xcvr());
  put(supplyIn("fixedSystem.powerSupplySlot.1"));
  put(trayIn("fixedSystem.fanTraySlot.2"));
}

void Bench::publishChassis() {
  Zef::Batch const batch;
  put({{"chassis", "Chassis"},
       {"chassis.cardplane", "CardPlane"},
       {"chassis.powerSupplySlot.1", "PowerSupplySlot", "P1"},
       {"chassis.fanTraySlot.2", "FanTraySlot"},
       {"chassis.cardSlot.3", "CardSlot"}});
  put(supplyIn("chassis.powerSupplySlot.1"));
  put(trayIn("chassis.fanTraySlot.2"));
  put(cardIn("chassis.cardSlot.3"));
}

Parts Bench::xcvr() const {
  return status->fixedSystem() ? xcvrIn(xcvrSlot(), "1", "Ethernet1") : xcvrIn(xcvrSlot(), "5", "Ethernet3/5");
}

void Bench::put(Parts const& parts) const {
  Zef::Batch const batch;
  for (auto const& [path, tag, label, alias] : parts) {
    Place const place = placeOf(*status, path);
    auto const made = place.isKeyed() ? place.attribute->memberIs(*place.owner, place.key.c_str())
                                      : place.attribute->childIs(*place.owner);
    auto const part = Zef::dynamicCast<EntityMib::PhysicalEntity>(made);
    part->tagIs(tag);
    part->labelIs(!label.empty() ? label.c_str() : place.isKeyed() ? place.key.c_str() : "1");
    part->descriptionIs(Zef::String8(tag) + " " + part->label());
    if (!alias.empty()) Zef::dynamicCast<EntityMib::Fru>(part)->aliasIs(alias.c_str());
  }
}

void Bench::drop(std::string const& path) const {
  Place const place = placeOf(*status, path);
  if (place.isKeyed()) {
    place.attribute->memberDel(*place.owner, place.key.c_str());
  } else {
    place.attribute->childDel(*place.owner);
  }
}

Zef::Ptr<Zef::PtrInterface> Bench::find(std::string const& path) const { return placeOf(*status, path).object(); }

Parts supplyIn(std::string const& slot) {
  std::string const supply = slot + ".powerSupply";
  return {{supply, "PowerSupply"},
          {supply + ".fan.1", "Fan"},
          {supply + ".fan.1.sensor.1", "FanSensor"},
          {supply + ".sensor.1", "VoltageSensor"}};
}

Parts trayIn(std::string const& slot) {
  std::string const tray = slot + ".fanTray";
  return {{tray, "FanTray"}, {tray + ".fan.1", "Fan"}, {tray + ".fan.1.sensor.1", "FanSensor"}};
}

Parts xcvrIn(std::string const& slot, std::string const& label, std::string const& alias) {
  std::string const xcvr = slot + ".xcvr";
  return {{xcvr, "Xcvr", label, alias},
          {xcvr + ".sensor.1", "DomTemperatureSensor", label},
          {xcvr + ".lane.1", "Lane", label + "/2"},
          {xcvr + ".lane.1.sensor.1", "DomRxPowerSensor", label + "/2"}};
}

Parts cardIn(std::string const& slot, char const* tag) {
  std::string const card = slot + ".card";
  std::string const number = slot.substr(slot.rfind('.') + 1);
  Parts parts = {{card, tag, number},
                 {card + ".sensor.1", "TempSensor"},
                 {card + ".port.5", "Ethernet"},
                 {card + ".xcvrSlot.5", "XcvrSlot"},
                 {card + ".chip.1", "Chip"}};
  for (Part& part : xcvrIn(card + ".xcvrSlot.5", "5", "Ethernet" + number + "/5")) parts.push_back(std::move(part));
  return parts;
}

void Bench::pass(double seconds) {
  auto const clock = Zef::processClock();
  double const end = time.now() + seconds;
  for (;;) {
    double const due = clock->timeMin();
    if (due > end) break;
    if (due > time.now()) time.step(due - time.now());
    clock->run();
  }
  time.step(end - time.now());
}

std::string Bench::stateOf(U32 index) const {
  auto const state = stateMib->stateEntity(index);
  if (!state) return "none";
  return std::to_string(state->operState()) + "," + std::to_string(state->adminState()) + " at " +
         std::to_string(static_cast<long>(state->lastChanged() - 1.0e9));
}

std::vector<std::string> Bench::takeWaiting() {
  std::vector<std::string> found;
  while (auto const trap = root->pendingStateTrapDeq())
    found.push_back(std::to_string(trap->index()) + " " + std::to_string(trap->operState()) + "," +
                    std::to_string(trap->adminState()));
  return found;
}

bool Bench::configurationChanged() {
  bool const flagged = root->configTrapFlag();
  EXPECT_EQ(flagged, entityMib->lastChangeTime() == time.now()) << "the flag and the time move together";
  root->configTrapFlagIs(false);
  time.step(1);
  return flagged;
}

std::vector<std::string> Bench::rows() const {
  std::vector<std::string> rows;
  for (auto at = entityMib->physicalEntityIteratorConst(); at; ++at) {
    std::ostringstream row;
    row << at->index() << " in " << at->containedIn() << " class " << at->physicalClass() << " pos " << at->relPos()
        << " " << at->componentName();
    if (!at->description().empty()) row << " '" << at->description() << "'";
    if (!at->alias().empty()) row << " alias " << at->alias();
    if (stateMib->stateEntity(at->index())) row << " state";
    if (sensorMib->sensorEntity(at->index())) row << " sensor";
    if (sensorMib->thresholdEntity(at->index())) row << " threshold";
    rows.push_back(row.str());
  }
  return rows;
}

std::vector<std::string> Bench::disagreements() const {
  std::vector<std::string> found;
  auto const require = [&](bool holds, std::string const& otherwise, U32 index) {
    if (!holds) found.push_back(otherwise + " " + std::to_string(index));
  };
  auto const isRow = [&](U32 index) { return static_cast<bool>(entityMib->physicalEntity(index)); };
  std::set<std::pair<U32, U32>> wanted;
  std::set<std::pair<U32, U32>> have;
  unsigned named = 0;
  for (auto at = entityMib->physicalEntityIteratorConst(); at; ++at) {
    if (at->containedIn() != 0) wanted.emplace(at->containedIn(), at->index());
    require(at->containedIn() == 0 || isRow(at->containedIn()), "orphan row", at->index());
    if (!at->phyAttr()) continue;
    ++named;
    auto const entry = at->tag() == "Xcvr" ? root->xcvr(at->alias().empty() ? at->componentName() : at->alias())
                       : at->zefTypeName() == "Card"
                           ? root->card(root->constants()->cardNameFromComponentName(at.ptr()))
                           : root->component(at->componentName());
    require(entry && entry->entity() == at.ptr(), "row without its name", at->index());
  }
  for (auto at = entityMib->containsIteratorConst(); at; ++at) have.emplace(at->containerIndex(), at->containeeIndex());
  require(have == wanted, "contains rows differ from containedIn, rows:", static_cast<U32>(have.size()));
  require(root->componentCount() + root->xcvrCount() + root->cardCount() == named, "names", root->componentCount());
  for (auto at = stateMib->stateEntityIteratorConst(); at; ++at)
    require(isRow(at->index()), "state alone", at->index());
  for (auto at = sensorMib->sensorEntityIteratorConst(); at; ++at) require(isRow(at.key()), "sensor alone", at.key());
  for (auto at = sensorMib->thresholdEntityIteratorConst(); at; ++at)
    require(sensorMib->sensorEntity(at.key()) == at.ptr(), "threshold alone", at.key());
  for (auto at = entityMib->virtualContainerIteratorConst(); at; ++at)
    require(entityMib->physicalEntity(at->entity()->index()) == at->entity(), "container alone", at->entity()->index());
  return found;
}

}  // namespace Orvane
