#include "host/Bootstrap.h"

#include <array>
#include <stdexcept>

#include "model/input/Election.h"
#include "platform/agent/Registration.h"
#include "platform/agent/SnmpUtil.h"
#include "sm/RedundancySm.h"
#include "sm/Renewal.h"

namespace Host {

namespace {

using Zef::PtrInterface;
using Kind = Zef::ZefAttr::Kind;

constexpr std::array inputNames{"status",        "xcvrStatusDir", "xcvrConfigDir", "intfStatusDir",
                                "intfConfigDir", "coolingStatus", "powerStatus",   "powerConfig",
                                "tempStatus",    "tempConfig",    "cardStatus",    "redundancy"};

// Whether an object owns another one.
bool holdsAnything(Zef::Entity const& entity) {
  if (auto const* const dir = dynamic_cast<Zef::Dir const*>(&entity)) return !dir->entities().empty();
  for (Zef::ZefAttr const* attribute : entity.fwkType()->allAttributes()) {
    if (attribute->kind() == Kind::entity && attribute->child(entity)) return true;
    if (attribute->kind() == Kind::collection && attribute->walk(entity)->more()) return true;
  }
  return false;
}

std::set<U32> supervisorsOf(EntityMib::Chassis const& chassis) {
  std::set<U32> rows;
  for (auto at = chassis.cardSlotIteratorConst(); at; ++at) {
    auto const card = at->card();
    if (card && card->tag() == "Supervisor") rows.insert(card->physicalIndex().value());
  }
  return rows;
}

}  // namespace

EntityTypes const& inputTypes() {
  static EntityTypes const types = [] {
    EntityTypes all;
    for (char const* name : inputNames) all[name] = Orvane::Root::_fwkType()->attr(Zef::Name(name))->objectType();
    all["redundancy/election"] = Election::Status::_fwkType();
    return all;
  }();
  return types;
}

Bootstrap::Bootstrap()
    : entityMib_(Orvane::orvaneEntityMibFactory("entitymib")),
      sensorMib_(Orvane::orvaneSensorMibFactory("entitysensormib")),
      stateMib_(Orvane::orvaneStateMibFactory("entitystatemib")),
      inputs_(store_.dirIs("input")) {
  store_.dirIs("snmp/fru")->entityIs(entityMib_);
  store_.dirIs("snmp/sensor")->entityIs(sensorMib_);
  store_.dirIs("snmp/state")->entityIs(stateMib_);
  for (char const* name : inputNames) inputTypes().at(name)->newEntity(name, inputs_.get());
  start();
}

void Bootstrap::start() {
  root_ = Orvane::rootFactory("root");
  auto const set = [this](char const* attribute, Zef::Ptr<Zef::Entity> const& entity) {
    root_->fwkType()->attr(Zef::Name(attribute))->set(*root_, Zef::Value(Zef::Ptr<PtrInterface>(entity)));
  };
  set("entityMib", entityMib_);
  set("sensorMib", sensorMib_);
  set("stateMib", stateMib_);
  for (char const* name : inputNames) set(name, inputs_->entity(name));
  root_->fwkType()->attr(Zef::Name("handleInitialized"))->call(*root_, {});
}

void Bootstrap::serve() {
  SnmpUtil::systemRootIs(store_.root());
  Snmp::AutoRegistree::initAll();
}

Vorlin::Merge Bootstrap::planned(Zef::Dir const& wanted, Vorlin::Scope const& scope) {
  // The hardware before its statuses: some of these find their part only when they come behind it.
  Vorlin::Merge merge(*inputs_, wanted, scope, changes_, "status");
  names_.check(merge);
  return merge;
}

std::string Bootstrap::publish(Vorlin::Merge& merge, Zef::Dir const& wanted, Vorlin::Scope const& scope) {
  std::string trouble;
  auto const exceptions = PtrInterface::NotifieeConst::zefNotificationExceptions();
  try {
    bool anything = false;
    for (auto const& input : inputs_->entities()) anything = anything || holdsAnything(*input);
    offers_.begin(anything);
    merge.apply();
    names_.settle();
    followElection(offers_.run(*root_));
    physicalNames_.settle();
  } catch (std::exception const& error) {
    trouble = error.what();
  }
  if (trouble.empty() && PtrInterface::NotifieeConst::zefNotificationExceptions() != exceptions)
    trouble = "a reaction to it failed";
  if (trouble.empty()) return trouble;
  root_ = nullptr;
  Vorlin::Merge(*inputs_, wanted, scope, listeners_).make();
  rebuild();
  return trouble;
}

std::string Bootstrap::publish(Zef::Dir const& wanted) {
  Vorlin::Scope const whole;
  auto merge = planned(wanted, whole);
  return publish(merge, wanted, whole);
}

void Bootstrap::listenerIs(Vorlin::Changes& listener) {
  changes_.push_back(&listener);
  listeners_.push_back(&listener);
}

void Bootstrap::followElection(bool anew) {
  auto const chassis = Zef::dynamicCast<EntityMib::Status>(inputs_->entity("status"))->chassis();
  auto const election = Zef::dynamicCast<Zef::Dir>(inputs_->entity("redundancy"))->entity("election");
  auto const follow = [&] {
    if (anew) root_->redundancySmDel();
    if (chassis && election) {
      root_->fwkType()
          ->attr(Zef::Name("handleRedundancy"))
          ->call(*root_, {Zef::Value(Zef::Ptr<PtrInterface>(election))});
    } else {
      root_->redundancySmDel();
    }
  };
  // What an election has shown stands in the rows of the supervisors until these are made anew.
  if (anew && chassis) {
    Orvane::renew(*root_, supervisorsOf(*chassis), follow);
  } else {
    follow();
  }
}

// As at the start. The rows that stand are given up first, and with them what waits to be told: all is told anew.
void Bootstrap::rebuild() {
  auto const exceptions = PtrInterface::NotifieeConst::zefNotificationExceptions();
  root_ = nullptr;
  entityMib_->physicalEntityDelAll();
  entityMib_->containsDelAll();
  entityMib_->virtualContainerDelAll();
  sensorMib_->thresholdEntityDelAll();
  sensorMib_->sensorEntityDelAll();
  stateMib_->stateEntityDelAll();
  names_.rebuild(*inputs_->entity("status"));
  start();
  offers_.rebuild(*root_);
  followElection(false);
  physicalNames_.rebuild();
  if (PtrInterface::NotifieeConst::zefNotificationExceptions() != exceptions)
    throw std::runtime_error("it failed again when all was built anew");
}

}  // namespace Host
