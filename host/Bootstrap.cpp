#include "host/Bootstrap.h"

#include <array>

#include "model/OrvaneLib.h"
#include "model/input/Election.h"
#include "platform/agent/Registration.h"
#include "platform/agent/SnmpUtil.h"

namespace Host {

namespace {

constexpr std::array inputNames{"status",        "xcvrStatusDir", "xcvrConfigDir", "intfStatusDir",
                                "intfConfigDir", "coolingStatus", "powerStatus",   "powerConfig",
                                "tempStatus",    "tempConfig",    "cardStatus",    "redundancy"};

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

Bootstrap::Bootstrap() : inputs_(store_.dirIs("input")), root_(Orvane::rootFactory("root")) {
  auto const model = [this](char const* attribute, char const* path, Zef::Ptr<Zef::Entity> const& entity) {
    store_.dirIs(path)->entityIs(entity);
    set(attribute, entity);
  };
  model("entityMib", "snmp/fru", Orvane::orvaneEntityMibFactory("entitymib"));
  model("sensorMib", "snmp/sensor", Orvane::orvaneSensorMibFactory("entitysensormib"));
  model("stateMib", "snmp/state", Orvane::orvaneStateMibFactory("entitystatemib"));

  for (char const* name : inputNames) set(name, inputTypes().at(name)->newEntity(name, inputs_.get()));

  SnmpUtil::systemRootIs(store_.root());
  Snmp::AutoRegistree::initAll();
  root_->fwkType()->attr(Zef::Name("handleInitialized"))->call(*root_, {});
}

void Bootstrap::followElection() {
  auto const status = Zef::dynamicCast<EntityMib::Status>(inputs_->entity("status"));
  auto const redundancy = Zef::dynamicCast<Zef::Dir>(inputs_->entity("redundancy"));
  auto const election = redundancy->entity("election");
  if (status->chassis() && election) {
    root_->fwkType()
        ->attr(Zef::Name("handleRedundancy"))
        ->call(*root_, {Zef::Value(Zef::Ptr<Zef::PtrInterface>(election))});
  } else {
    root_->redundancySmDel();
  }
}

void Bootstrap::set(char const* attribute, Zef::Ptr<Zef::Entity> const& entity) {
  root_->fwkType()->attr(Zef::Name(attribute))->set(*root_, Zef::Value(Zef::Ptr<Zef::PtrInterface>(entity)));
}

}  // namespace Host
