#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/Constants.h"
#include "model/input/EntityMib.h"
#include "runtime/reactors/Activity.h"
#include "sm/ChassisSm.h"
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
  Zef::Ptr<OrvaneEntityMib> entityMib;
  Zef::Ptr<OrvaneSensorMib> sensorMib;
  Zef::Ptr<OrvaneStateMib> stateMib;
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
  Zef::Ptr<Root> root;

  // Another Root over tables of its own, with the inputs as they are; as the bootstrap does it.
  void makeRoot();
  void start();

  // A system that stands whole before anyone hears of it: fixed, or a chassis with one line card, in slot 3. Both have
  // a supply in slot 1, a tray with one fan in slot 2 and a transceiver.
  void publishSystem();
  void publishChassis();
  void insertCard(unsigned key, char const* tag);

  EntityMib::FixedSystem& system() const { return *status->fixedSystem(); }
  EntityMib::Chassis& chassis() const { return *status->chassis(); }
  SystemSm& systemSm() const { return *root->entitySm()->systemSm(); }
  // The fixed system itself, or the line card.
  EntityMib::Card& board() const;
  EntityMib::XcvrSlot& xcvrSlot() const { return *board().xcvrSlotIteratorConst().ptr(); }
  void plugXcvr() const;
  EntityMib::CardSlot& cardSlot(unsigned key) const { return *chassis().cardSlot(EntityMib::ParentIndex(key)); }
  // Get or create, on either system; with what is in it, if that is given.
  Zef::Ptr<EntityMib::PowerSupplySlot> supplySlot(unsigned key, Zef::Ptr<EntityMib::PowerSupply> const& in = {}) const;
  Zef::Ptr<EntityMib::FanTraySlot> traySlot(unsigned key, Zef::Ptr<EntityMib::FanTray> const& in = {}) const;
  void supplySlotDel(unsigned key) const;
  void traySlotDel(unsigned key) const;

  // Lets time pass as the agent's loop does: moves to each moment at which a timer is due, and runs the clock.
  void pass(double seconds);
  // entStateOper, entStateAdmin of a row, and when it last changed.
  std::string stateOf(U32 index) const;
  // The notifications that wait, in order: index, entStateOper, entStateAdmin. Forgets them.
  std::vector<std::string> takeWaiting();
  // Whether the last step changed the configuration; forgets it.
  bool configurationChanged();

  // Every row in words: index, parent, class, position, name, and which of state, sensor, threshold and mirrors it has.
  std::vector<std::string> rows() const;
  // All that must agree with one another: contains with containedIn, name maps with rows, state and sensor rows with
  // physical ones, mirrors with live rows. Empty when it does.
  std::vector<std::string> disagreements() const;
};

// Publishes one object, complete before anyone hears of it; its key is its label where no other is given.
template <auto make, class Parent>
auto add(Parent& parent, unsigned key, char const* tag, Zef::String8 const& label = "") {
  Zef::Batch const batch;
  auto const object = (parent.*make)(EntityMib::ParentIndex(key));
  object->tagIs(tag);
  object->labelIs(label.empty() ? Zef::format("%u", key) : label);
  object->descriptionIs(Zef::String8(tag) + " " + object->label());
  return object;
}

// Parts that are in no slot yet: a supply with a fan, the fan's sensor and a sensor of its own; a tray with fans that
// have a sensor each; a transceiver with a sensor, and a lane with another.
Zef::Ptr<EntityMib::PowerSupply> makeSupply();
Zef::Ptr<EntityMib::FanTray> makeTray(unsigned fans);
Zef::Ptr<EntityMib::Xcvr> makeXcvr(Zef::String8 const& label, Zef::String8 const& alias);
Zef::Ptr<EntityMib::Cardplane> makeCardplane();

}  // namespace Orvane
