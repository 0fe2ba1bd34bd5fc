#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "model/Constants.h"
#include "model/input/EntityMib.h"
#include "runtime/Activity.h"
#include "runtime/System.h"
#include "sm/EntitySm.h"
#include "sm/FixedSystemSm.h"
#include "sm/Root.h"

namespace Orvane {

// Time that stands still until a test moves it.
class SteppedTime final : public Zef::TimeSource {
 public:
  SteppedTime() { Zef::System::timeSourceIs(this); }
  ~SteppedTime() override { Zef::System::timeSourceIs(nullptr); }
  double now() const override { return now_; }
  double utc() const override { return 1.0e9 + now_; }
  void step(double seconds) { now_ += seconds; }

 private:
  double now_ = 1000.0;
};

// A projection on a bench: the model entities, an inventory to publish into, and Root over both.
struct Bench {
  SteppedTime time;
  Zef::Ptr<OrvaneEntityMib> entityMib = orvaneEntityMibFactory("entitymib");
  Zef::Ptr<OrvaneSensorMib> sensorMib = orvaneSensorMibFactory("entitysensormib");
  Zef::Ptr<OrvaneStateMib> stateMib = orvaneStateMibFactory("entitystatemib");
  Zef::Ptr<EntityMib::Status> status = Zef::make<EntityMib::Status>("status");
  Zef::Ptr<Root> root = rootFactory("orvane");

  // As the bootstrap does it: the inputs by attribute name, and then the start.
  void start();

  EntityMib::FixedSystem& system() const { return *status->fixedSystem(); }
  FixedSystemSm& systemSm() const { return *root->entitySm()->fixedSystemSm(); }
  // A system that stands whole before anyone hears of it.
  void publishSystem();

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
