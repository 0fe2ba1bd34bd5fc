#include "tests/sm/Bench.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "runtime/reflection/ActivityManagerConfig.h"
#include "tests/Varbinds.h"

namespace Orvane {

using EntityMib::ParentIndex;

namespace {

std::string nameOf(std::string const& identity) {
  static std::map<std::string, std::string> const identities{{"1.3.6.1.2.1.47.2.0.1", "entConfigChange"},
                                                             {"1.3.6.1.2.1.131.0.1", "entStateOperEnabled"},
                                                             {"1.3.6.1.2.1.131.0.2", "entStateOperDisabled"},
                                                             {"1.3.6.1.4.1.59871.3.12.0.1", "kelvraEntSensorAlarm"}};
  auto const found = identities.find(identity);
  return found == identities.end() ? identity : found->second;
}

}  // namespace

Notifications::Notifications(SteppedTime const& time)
    : receiver_(std::make_shared<Receiver>([this, &time](std::vector<Answer> const& varbinds) {
        Sent sent{nameOf(varbinds.front().value), 0, {}, time.now()};
        for (std::size_t at = 1; at < varbinds.size(); ++at) {
          auto const& [name, type, value] = varbinds[at];
          sent.index = static_cast<U32>(name.back());
          sent.varbinds.push_back(text(name) + " " + std::to_string(type) + " " + value);
        }
        sent_.push_back(sent);
      })) {}

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

void Bench::start() {
  auto const set = [&](char const* attribute, Zef::Ptr<Zef::Entity> const& entity) {
    root->fwkType()->attr(Zef::Name(attribute))->set(*root, Zef::Value(Zef::Ptr<Zef::PtrInterface>(entity)));
  };
  set("entityMib", entityMib);
  set("sensorMib", sensorMib);
  set("stateMib", stateMib);
  set("status", status);
  set("xcvrStatusDir", xcvrStatusDir);
  set("xcvrConfigDir", xcvrConfigDir);
  set("intfStatusDir", intfStatusDir);
  set("intfConfigDir", intfConfigDir);
  set("coolingStatus", coolingStatus);
  set("powerStatus", powerStatus);
  set("powerConfig", powerConfig);
  set("tempStatus", tempStatus);
  set("tempConfig", tempConfig);
  set("cardStatus", cardStatus);
  root->handleInitialized();
}

void Bench::publishSystem() {
  Zef::Batch const batch;
  auto const system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
  system->tagIs("FixedSystem");
  system->labelIs("1");
  publish([&] { return system->newSensor(ParentIndex(1)); }, "TempSensor", "1");
  publish([&] { return system->newPort(ParentIndex(1)); }, "Ethernet", "1");
  publish([&] { return system->newPort(ParentIndex(2)); }, "Management", "2");
  publish([&] { return system->newXcvrSlot(ParentIndex(1)); }, "XcvrSlot", "1");
  publish([&] { return system->newChip(ParentIndex(1)); }, "Chip", "1");
  publish([&] { return system->newStorageDevices(ParentIndex(1)); }, "Flash", "1");
  auto const supplySlot = publish([&] { return system->newPowerSupplySlot(ParentIndex(1)); }, "PowerSupplySlot", "P1");
  auto const traySlot = publish([&] { return system->newFanTraySlot(ParentIndex(2)); }, "FanTraySlot", "2");
  status->fixedSystemIs(system);
  supplySlot->powerSupplyIs(makeSupply());
  traySlot->fanTrayIs(makeTray(1));
}

Zef::Ptr<EntityMib::PowerSupply> makeSupply() {
  auto const supply = Zef::make<EntityMib::PowerSupply>("powerSupply");
  supply->tagIs("PowerSupply");
  supply->labelIs("1");
  auto const fan = publish([&] { return supply->newFan(ParentIndex(1)); }, "Fan", "1");
  publish([&] { return fan->newSensor(ParentIndex(1)); }, "FanSensor", "1");
  publish([&] { return supply->newSensor(ParentIndex(1)); }, "VoltageSensor", "1");
  return supply;
}

Zef::Ptr<EntityMib::FanTray> makeTray(unsigned fans) {
  auto const tray = Zef::make<EntityMib::FanTray>("fanTray");
  tray->tagIs("FanTray");
  tray->labelIs("1");
  for (unsigned key = 1; key <= fans; ++key) {
    Zef::String8 const label = Zef::format("%u", key);
    auto const fan = publish([&] { return tray->newFan(ParentIndex(key)); }, "Fan", label.charPtr());
    publish([&] { return fan->newSensor(ParentIndex(1)); }, "FanSensor", label.charPtr());
  }
  return tray;
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
  auto const complain = [&](std::string const& what, U32 index) {
    found.push_back(what + " " + std::to_string(index));
  };
  std::set<std::pair<U32, U32>> wanted;
  unsigned named = 0;
  for (auto at = entityMib->physicalEntityIteratorConst(); at; ++at) {
    if (at->containedIn() != 0) wanted.emplace(at->containedIn(), at->index());
    if (at->containedIn() != 0 && !entityMib->physicalEntity(at->containedIn())) complain("orphan row", at->index());
    if (!at->phyAttr()) continue;
    ++named;
    bool const isXcvr = at->tag() == "Xcvr";
    auto const entry = isXcvr ? root->xcvr(at->alias().empty() ? at->componentName() : at->alias())
                       : at->zefTypeName() == "Card"
                           ? root->card(root->constants()->cardNameFromComponentName(at.ptr()))
                           : root->component(at->componentName());
    if (!entry || entry->entity() != at.ptr()) complain("row without its name", at->index());
    if ((at->zefTypeName() == "XcvrSlot") != static_cast<bool>(root->xcvrSlotSm(EntityMib::PhysicalIndex(at->index()))))
      complain("slot without its reactor", at->index());
  }
  std::set<std::pair<U32, U32>> have;
  for (auto at = entityMib->containsIteratorConst(); at; ++at) have.emplace(at->containerIndex(), at->containeeIndex());
  if (have != wanted) complain("contains rows differ from containedIn, rows:", static_cast<U32>(have.size()));
  if (root->componentCount() + root->xcvrCount() + root->cardCount() != named)
    complain("names", root->componentCount());
  for (auto at = stateMib->stateEntityIteratorConst(); at; ++at) {
    if (!entityMib->physicalEntity(at->index())) complain("state row alone", at->index());
  }
  for (auto at = sensorMib->thresholdEntityIteratorConst(); at; ++at) {
    if (sensorMib->sensorEntity(at.key()) != at.ptr()) complain("threshold row alone", at.key());
  }
  for (auto at = root->pendingStateTrapIteratorConst(); at; ++at) {
    auto const same = [&](auto const& other) { return other.index() == at->index(); };
    unsigned count = 0;
    for (auto other = root->pendingStateTrapIteratorConst(); other; ++other) count += same(*other);
    if (count != 1) complain("two notifications of one row", at->index());
  }
  for (auto at = sensorMib->sensorEntityIteratorConst(); at; ++at) {
    if (!entityMib->physicalEntity(at->index())) complain("sensor row alone", at->index());
  }
  for (auto at = entityMib->virtualContainerIteratorConst(); at; ++at) {
    if (entityMib->physicalEntity(at->entity()->index()) != at->entity())
      complain("container alone", at->entity()->index());
  }
  return found;
}

}  // namespace Orvane
