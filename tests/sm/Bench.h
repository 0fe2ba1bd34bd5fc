#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/Constants.h"
#include "model/input/EntityMib.h"
#include "runtime/Activity.h"
#include "sm/EntitySm.h"
#include "sm/FixedSystemSm.h"
#include "sm/Root.h"
#include "tests/Support.h"

class Receiver;

namespace Orvane {

// A notification as it was handed to the agent: its name, the index of its row (0 for none), and all its varbinds but
// the first in words: "OID type value".
struct Sent {
  std::string name;
  U32 index;
  std::vector<std::string> varbinds;
  double time;
};

// Takes the agent's place as the receiver of notifications.
class Notifications {
 public:
  explicit Notifications(SteppedTime const& time);
  // What has come since the last call.
  std::vector<Sent> take() { return std::exchange(sent_, {}); }

 private:
  std::vector<Sent> sent_;
  std::shared_ptr<Receiver> receiver_;
};

struct Tracing : TraceCapture {
  explicit Tracing(U32 levels) : TraceCapture("Orvane", levels) {}
};

// A projection on a bench: the model entities, the inputs to publish into, and Root over both.
struct Bench {
  SteppedTime time;
  Notifications notifications{time};
  Zef::Ptr<OrvaneEntityMib> entityMib = orvaneEntityMibFactory("entitymib");
  Zef::Ptr<OrvaneSensorMib> sensorMib = orvaneSensorMibFactory("entitysensormib");
  Zef::Ptr<OrvaneStateMib> stateMib = orvaneStateMibFactory("entitystatemib");
  Zef::Ptr<EntityMib::Status> status = Zef::make<EntityMib::Status>("status");
  Zef::Ptr<Xcvr::AllStatusDir> xcvrStatusDir = Zef::make<Xcvr::AllStatusDir>("xcvrStatusDir");
  Zef::Ptr<Xcvr::AllConfigDir> xcvrConfigDir = Zef::make<Xcvr::AllConfigDir>("xcvrConfigDir");
  Zef::Ptr<Interface::AllIntfStatusDir> intfStatusDir = Zef::make<Interface::AllIntfStatusDir>("intfStatusDir");
  Zef::Ptr<Interface::AllIntfConfigDir> intfConfigDir = Zef::make<Interface::AllIntfConfigDir>("intfConfigDir");
  Zef::Ptr<Environment::Cooling::Status> coolingStatus = Zef::make<Environment::Cooling::Status>("coolingStatus");
  Zef::Ptr<Environment::Power::Status> powerStatus = Zef::make<Environment::Power::Status>("powerStatus");
  Zef::Ptr<Environment::Power::Config> powerConfig = Zef::make<Environment::Power::Config>("powerConfig");
  Zef::Ptr<Environment::Temperature::Status> tempStatus = Zef::make<Environment::Temperature::Status>("tempStatus");
  Zef::Ptr<Environment::Temperature::Config> tempConfig = Zef::make<Environment::Temperature::Config>("tempConfig");
  Zef::Ptr<Hardware::Card::Status> cardStatus = Zef::make<Hardware::Card::Status>("cardStatus");
  Zef::Ptr<Root> root = rootFactory("orvane");

  // As the bootstrap does it: the inputs by attribute name, and then the start.
  void start();

  EntityMib::FixedSystem& system() const { return *status->fixedSystem(); }
  FixedSystemSm& systemSm() const { return *root->entitySm()->fixedSystemSm(); }
  // A system that stands whole before anyone hears of it.
  void publishSystem();

  // Lets time pass as the agent's loop does: moves to each moment at which a timer is due, and runs the clock.
  void pass(double seconds);
  // entStateOper, entStateAdmin of a row, and when it last changed.
  std::string stateOf(U32 index) const;

  // Whether the last step changed the configuration; forgets it.
  bool configurationChanged();

  // Every row in words: index, parent, class, position, name, and which of state, sensor, threshold and mirrors it has.
  std::vector<std::string> rows() const;
  // All that must agree with one another: contains with containedIn, name maps with rows, state and sensor rows with
  // physical ones, mirrors with live rows. Empty when it does.
  std::vector<std::string> disagreements() const;
};

// Publishes one object, complete before anyone hears of it.
template <class Make>
auto publish(Make make, char const* tag, char const* label) {
  Zef::Batch const batch;
  auto const object = make();
  object->tagIs(tag);
  object->labelIs(label);
  object->descriptionIs(Zef::String8(tag) + " " + label);
  return object;
}

// A supply with a fan, the fan's sensor and a sensor of its own; not yet in any slot.
Zef::Ptr<EntityMib::PowerSupply> makeSupply();
// A tray with fans that have a sensor each; not yet in any slot.
Zef::Ptr<EntityMib::FanTray> makeTray(unsigned fans);

}  // namespace Orvane
