#pragma once

#include <string>
#include <vector>

#include "model/Constants.h"
#include "model/input/EntityMib.h"
#include "runtime/reactors/Activity.h"
#include "sm/ChassisSm.h"
#include "sm/EntitySm.h"
#include "sm/FixedSystemSm.h"
#include "sm/Root.h"
#include "tests/Support.h"
#include "tests/Varbinds.h"

namespace Orvane {

struct Tracing : TraceCapture {
  explicit Tracing(U32 levels) : TraceCapture("Orvane", levels) {}
};

// A part of the inventory: where it stands, as attributes and keys ("fixedSystem.port.1"), and what it says of itself.
// Its label is its key where none is given.
struct Part {
  std::string path;
  char const* tag;
  std::string label = "";
  std::string alias = "";
};
using Parts = std::vector<Part>;

// What a slot can hold, by the path of the slot: a supply with a sensor and a fan that has one, too; a tray with such a
// fan; a transceiver with a sensor, and a lane with another; a card with one part of each kind.
Parts supplyIn(std::string const& slot);
Parts trayIn(std::string const& slot);
Parts xcvrIn(std::string const& slot, std::string const& label, std::string const& alias);
Parts cardIn(std::string const& slot, char const* tag = "Linecard");

// A projection on a bench: the model entities, the inputs to publish into, and Root over both.
struct Bench {
  SteppedTime time;
  Zef::Ptr<OrvaneEntityMib> entityMib;
  Zef::Ptr<OrvaneSensorMib> sensorMib;
  Zef::Ptr<OrvaneStateMib> stateMib;
  std::vector<Zef::Ptr<Zef::Entity>> inputs;  // named as Root's attributes
  Zef::Ptr<EntityMib::Status> status = input<EntityMib::Status>("status");
  Zef::Ptr<Xcvr::AllStatusDir> xcvrStatusDir = input<Xcvr::AllStatusDir>("xcvrStatusDir");
  Zef::Ptr<Xcvr::AllConfigDir> xcvrConfigDir = input<Xcvr::AllConfigDir>("xcvrConfigDir");
  Zef::Ptr<Interface::AllIntfStatusDir> intfStatusDir = input<Interface::AllIntfStatusDir>("intfStatusDir");
  Zef::Ptr<Interface::AllIntfConfigDir> intfConfigDir = input<Interface::AllIntfConfigDir>("intfConfigDir");
  Zef::Ptr<Environment::Cooling::Status> coolingStatus = input<Environment::Cooling::Status>("coolingStatus");
  Zef::Ptr<Environment::Power::Status> powerStatus = input<Environment::Power::Status>("powerStatus");
  Zef::Ptr<Environment::Power::Config> powerConfig = input<Environment::Power::Config>("powerConfig");
  Zef::Ptr<Environment::Temperature::Status> tempStatus = input<Environment::Temperature::Status>("tempStatus");
  Zef::Ptr<Environment::Temperature::Config> tempConfig = input<Environment::Temperature::Config>("tempConfig");
  Zef::Ptr<Hardware::Card::Status> cardStatus = input<Hardware::Card::Status>("cardStatus");
  Zef::Ptr<Root> root;
  // The notifications that were handed to the agent.
  std::vector<std::vector<Answer>> sent;
  Receiver receiver{[this](auto const& varbinds) { sent.push_back(varbinds); }};

  // Another Root over tables of its own, with the inputs as they are; as the bootstrap does it.
  void makeRoot();
  void start();

  // A system that stands whole before anyone hears of it: fixed, or a chassis with one line card, in slot 3. Both have
  // a supply in slot 1, a tray with one fan in slot 2 and a transceiver.
  void publishSystem();
  void publishChassis();
  // How the paths of their parts begin. The board is the fixed system itself, or the line card.
  std::string system() const { return status->fixedSystem() ? "fixedSystem." : "chassis."; }
  std::string board() const { return status->fixedSystem() ? "fixedSystem." : "chassis.cardSlot.3.card."; }
  std::string xcvrSlot() const { return board() + (status->fixedSystem() ? "xcvrSlot.1" : "xcvrSlot.5"); }
  Parts xcvr() const;
  SystemSm& systemSm() const { return *root->entitySm()->systemSm(); }

  // Makes parts, all at once; those above come first.
  void put(Parts const& parts) const;
  void put(std::string const& path, char const* tag, std::string const& label = "") const {
    put({{path, tag, label, ""}});
  }
  void drop(std::string const& path) const;
  // Null when there is none.
  template <class T = EntityMib::PhysicalEntity>
  Zef::Ptr<T> part(std::string const& path) const {
    return Zef::dynamicCast<T>(find(path));
  }

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
  // physical ones, containers with live rows. Empty when it does.
  std::vector<std::string> disagreements() const;

 private:
  template <class T>
  Zef::Ptr<T> input(char const* name) {
    auto const made = Zef::make<T>(name);
    inputs.push_back(made);
    return made;
  }
  Zef::Ptr<Zef::PtrInterface> find(std::string const& path) const;
};

}  // namespace Orvane
