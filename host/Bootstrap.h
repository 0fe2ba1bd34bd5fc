#pragma once

#include "host/publishers/Inventory.h"
#include "platform/store/Vorlin.h"
#include "sm/Root.h"

namespace Host {

// What the directory of the inputs may hold.
EntityTypes const& inputTypes();

// Builds the system: the state store with the three model entities and all inputs in it, the tables that serve them,
// and Root, which starts the projection. All inputs are there from the start, empty until a publisher fills them.
class Bootstrap {
 public:
  Bootstrap();

  Vorlin::Store const& store() const { return store_; }
  // The directory /vx/Vorlin/input, with an entity for each input of Root.
  Zef::Ptr<Zef::Dir> const& inputs() const { return inputs_; }
  Zef::Ptr<Orvane::Root> const& root() const { return root_; }

  // To be called when something was published: starts, or ends, following an election of supervisors. It takes a
  // chassis and an election.
  void followElection();
  // Ends the projection. The tables go on to answer from the rows that are there: the agent may still ask.
  void rootDel() { root_ = nullptr; }

 private:
  void set(char const* attribute, Zef::Ptr<Zef::Entity> const& entity);

  Vorlin::Store store_;
  Zef::Ptr<Zef::Dir> inputs_;
  Zef::Ptr<Orvane::Root> root_;
};

}  // namespace Host
