#include "tests/sm/Bench.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "runtime/reflection/ActivityManagerConfig.h"
#include "tests/Varbinds.h"

namespace Orvane {

using namespace EntityMib;  // the parts, a dozen of them

namespace {

std::string nameOf(std::string const& identity) {
  static std::map<std::string, std::string> const identities{{"1.3.6.1.2.1.47.2.0.1", "entConfigChange"},
                                                             {"1.3.6.1.2.1.131.0.1", "entStateOperEnabled"},
                                                             {"1.3.6.1.2.1.131.0.2", "entStateOperDisabled"},
                                                             {"1.3.6.1.4.1.59871.3.12.0.1", "kelvraEntSensorAlarm"}};
  auto const found = identities.find(identity);
  return found == identities.end() ? identity : found->second;
}

template <class Part>
Zef::Ptr<Part> make(char const* tag, Zef::String8 const& label = "1") {
  auto const part = Zef::make<Part>(tag);
  part->tagIs(tag);
  part->labelIs(label);
  return part;
}

template <class Use>
auto onSystem(Bench const& bench, Use use) {
  return bench.status->fixedSystem() ? use(bench.system()) : use(bench.chassis());
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

void Bench::makeRoot() {
  root = nullptr;
  root = rootFactory("orvane");
  entityMib = orvaneEntityMibFactory("entitymib");
  stateMib = orvaneStateMibFactory("entitystatemib");
  sensorMib = orvaneSensorMibFactory("entitysensormib");
  std::pair<char const*, Zef::Ptr<Zef::Entity>> const inputs[] = {
      {"entityMib", entityMib},         {"sensorMib", sensorMib},
      {"stateMib", stateMib},           {"status", status},
      {"xcvrStatusDir", xcvrStatusDir}, {"xcvrConfigDir", xcvrConfigDir},
      {"intfStatusDir", intfStatusDir}, {"intfConfigDir", intfConfigDir},
      {"coolingStatus", coolingStatus}, {"powerStatus", powerStatus},
      {"powerConfig", powerConfig},     {"tempStatus", tempStatus},
      {"tempConfig", tempConfig},       {"cardStatus", cardStatus}};
  for (auto const& [attribute, entity] : inputs)
    root->fwkType()->attr(Zef::Name(attribute))->set(*root, Zef::Value(Zef::Ptr<Zef::PtrInterface>(entity)));
}

void Bench::start() {
  makeRoot();
  root->handleInitialized();
}

void Bench::publishSystem() {
  Zef::Batch const batch;
  auto const fixed = make<FixedSystem>("FixedSystem");
  add<&Card::newSensor>(*fixed, 1, "TempSensor");
  add<&Card::newPort>(*fixed, 1, "Ethernet");
  add<&Card::newPort>(*fixed, 2, "Management");
  add<&Card::newXcvrSlot>(*fixed, 1, "XcvrSlot")->xcvrIs(makeXcvr("1", "Ethernet1"));
  add<&Card::newChip>(*fixed, 1, "Chip");
  add<&Card::newStorageDevices>(*fixed, 1, "Flash");
  status->fixedSystemIs(fixed);
  supplySlot(1, makeSupply());
  traySlot(2, makeTray(1));
}

void Bench::publishChassis() {
  Zef::Batch const batch;
  auto const modular = make<Chassis>("Chassis");
  modular->cardplaneIs(makeCardplane());
  status->chassisIs(modular);
  supplySlot(1, makeSupply());
  traySlot(2, makeTray(1));
  insertCard(3, "Linecard");
}

void Bench::insertCard(unsigned key, char const* tag) {
  Zef::Batch const batch;
  Zef::String8 const label = Zef::format("%u", key);
  auto const card = make<Card>(tag, label);
  add<&Card::newSensor>(*card, 1, "TempSensor");
  add<&Card::newPort>(*card, 5, "Ethernet");
  add<&Card::newXcvrSlot>(*card, 5, "XcvrSlot")->xcvrIs(makeXcvr("5", "Ethernet" + label + "/5"));
  add<&Card::newChip>(*card, 1, "Chip");
  if (!chassis().cardSlot(ParentIndex(key))) add<&Chassis::newCardSlot>(chassis(), key, "CardSlot");
  cardSlot(key).cardIs(card);
}

Card& Bench::board() const {
  if (status->fixedSystem()) return system();
  return *cardSlot(3).card();
}

void Bench::plugXcvr() const {
  xcvrSlot().xcvrIs(status->fixedSystem() ? makeXcvr("1", "Ethernet1") : makeXcvr("5", "Ethernet3/5"));
}

Zef::Ptr<PowerSupplySlot> Bench::supplySlot(unsigned key, Zef::Ptr<PowerSupply> const& in) const {
  return onSystem(*this, [&]<class System>(System& on) {
    Zef::Batch const batch;
    auto slot = on.powerSupplySlot(ParentIndex(key));
    if (!slot) slot = add<&System::newPowerSupplySlot>(on, key, "PowerSupplySlot", Zef::format("P%u", key));
    if (in) slot->powerSupplyIs(in);
    return slot;
  });
}

Zef::Ptr<FanTraySlot> Bench::traySlot(unsigned key, Zef::Ptr<FanTray> const& in) const {
  return onSystem(*this, [&]<class System>(System& on) {
    Zef::Batch const batch;
    auto slot = on.fanTraySlot(ParentIndex(key));
    if (!slot) slot = add<&System::newFanTraySlot>(on, key, "FanTraySlot");
    if (in) slot->fanTrayIs(in);
    return slot;
  });
}

void Bench::supplySlotDel(unsigned key) const {
  onSystem(*this, [&](auto& on) { return on.powerSupplySlotDel(ParentIndex(key)); });
}

void Bench::traySlotDel(unsigned key) const {
  onSystem(*this, [&](auto& on) { return on.fanTraySlotDel(ParentIndex(key)); });
}

Zef::Ptr<PowerSupply> makeSupply() {
  auto const supply = make<PowerSupply>("PowerSupply");
  add<&Fan::newSensor>(*add<&PowerSupply::newFan>(*supply, 1, "Fan"), 1, "FanSensor");
  add<&PowerSupply::newSensor>(*supply, 1, "VoltageSensor");
  return supply;
}

Zef::Ptr<FanTray> makeTray(unsigned fans) {
  auto const tray = make<FanTray>("FanTray");
  for (unsigned key = 1; key <= fans; ++key) {
    auto const fan = add<&FanTray::newFan>(*tray, key, "Fan");
    add<&Fan::newSensor>(*fan, 1, "FanSensor", fan->label());
  }
  return tray;
}

Zef::Ptr<EntityMib::Xcvr> makeXcvr(Zef::String8 const& label, Zef::String8 const& alias) {
  using EntityMib::Xcvr;
  auto const xcvr = make<Xcvr>("Xcvr", label);
  xcvr->aliasIs(alias);
  add<&Xcvr::newSensor>(*xcvr, 1, "DomTemperatureSensor", label);
  auto const lane = add<&Xcvr::newLane>(*xcvr, 1, "Lane", label + "/2");
  add<&Lane::newSensor>(*lane, 1, "DomRxPowerSensor", lane->label());
  return xcvr;
}

Zef::Ptr<Cardplane> makeCardplane() { return make<Cardplane>("CardPlane"); }

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
  unsigned slots = 0;
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
    if (at->zefTypeName() != "XcvrSlot") continue;
    ++slots;
    require(root->xcvrSlotSm(PhysicalIndex(at->index())) != nullptr, "slot without its reactor", at->index());
  }
  for (auto at = entityMib->containsIteratorConst(); at; ++at) have.emplace(at->containerIndex(), at->containeeIndex());
  require(have == wanted, "contains rows differ from containedIn, rows:", static_cast<U32>(have.size()));
  require(root->xcvrSlotSmCount() == slots, "reactors of slots", root->xcvrSlotSmCount());
  require(root->componentCount() + root->xcvrCount() + root->cardCount() == named, "names", root->componentCount());
  for (auto at = stateMib->stateEntityIteratorConst(); at; ++at)
    require(isRow(at->index()), "state alone", at->index());
  for (auto at = sensorMib->sensorEntityIteratorConst(); at; ++at) require(isRow(at.key()), "sensor alone", at.key());
  for (auto at = sensorMib->thresholdEntityIteratorConst(); at; ++at)
    require(sensorMib->sensorEntity(at.key()) == at.ptr(), "threshold alone", at.key());
  for (auto at = entityMib->virtualContainerIteratorConst(); at; ++at)
    require(entityMib->physicalEntity(at->entity()->index()) == at->entity(), "container alone", at->entity()->index());
  std::set<U32> told;
  for (auto at = root->pendingStateTrapIteratorConst(); at; ++at)
    require(told.insert(at->index()).second, "two notifications of one row", at->index());
  return found;
}

}  // namespace Orvane
