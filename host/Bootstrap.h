#pragma once

#include <string>

#include "host/PhysicalNames.h"
#include "host/publishers/Inventory.h"
#include "host/publishers/Names.h"
#include "host/publishers/Offers.h"
#include "platform/store/Vorlin.h"
#include "sm/Root.h"

namespace Host {

// What the directory of the inputs may hold.
EntityTypes const& inputTypes();

// Builds the system: the state store with the three model entities and all inputs in it, and Root, which starts the
// projection. All inputs are there from the start, empty until a publisher fills them.
class Bootstrap {
 public:
  Bootstrap();

  Vorlin::Store const& store() const { return store_; }
  // The directory /vx/Vorlin/input, with an entity for each input of Root.
  Zef::Ptr<Zef::Dir> const& inputs() const { return inputs_; }
  Zef::Ptr<Orvane::Root> const& root() const { return root_; }

  // Registers the tables that serve the model entities with the agent, once in the life of the process.
  void serve();

  // What has to be done so that the inputs are as wanted. InventoryError when they would not describe one switch then.
  Vorlin::Merge planned(Zef::Dir const& wanted, Vorlin::Scope const& scope);
  // Does what was planned last, and lets all that follows from it happen: reactions, what has to meet once more
  // (Offers), and the election of supervisors, which is followed while there are a chassis and an election. Whatever
  // fails on the way, the rows are those of the wanted state in the end: where a reaction failed, or memory ran out,
  // all is built anew, and the answer says what it was; empty when all went well. A std::exception when that fails too:
  // what is served is neither the old state nor the wanted one then.
  std::string publish(Vorlin::Merge& merge, Zef::Dir const& wanted, Vorlin::Scope const& scope);
  // Both, for all that the inputs hold.
  std::string publish(Zef::Dir const& wanted);
  // Who tells the two which part is another one.
  Vorlin::ChangesList const& changes() const { return changes_; }
  // Hears of what is merged, behind the others; it lives longer.
  void listenerIs(Vorlin::Changes& listener);

  // Whether entPhysicalName answers the component name; it is empty otherwise, as at the start.
  void physicalNamesAreShown(bool shown) { physicalNames_.areShown(shown); }

  // Builds all rows anew from the inputs as they stand. A std::exception when that fails.
  void rebuild();

  // Ends the projection. The tables go on to answer from the rows that are there: the agent may still ask.
  void rootDel() { root_ = nullptr; }

 private:
  void start();
  void followElection(bool anew);

  Vorlin::Store store_;
  Zef::Ptr<Orvane::OrvaneEntityMib> entityMib_;
  Zef::Ptr<Orvane::OrvaneSensorMib> sensorMib_;
  Zef::Ptr<Orvane::OrvaneStateMib> stateMib_;
  Zef::Ptr<Zef::Dir> inputs_;
  Zef::Ptr<Orvane::Root> root_;
  Offers offers_;
  Names names_;
  PhysicalNames physicalNames_{entityMib_};
  Vorlin::ChangesList changes_{&offers_, &names_, &physicalNames_};
  Vorlin::ChangesList listeners_;
};

}  // namespace Host
