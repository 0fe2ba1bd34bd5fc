#pragma once

#include <compare>
#include <initializer_list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "runtime/reflection/Type.h"

namespace Vorlin {

// Where an object stands in the one that owns it.
struct Slot {
  Zef::ZefAttr const* attribute = nullptr;  // null: in a directory
  Zef::String8 key;                         // or the name in the directory; empty for a single child

  bool operator==(Slot const& other) const = default;
  // Of one object, in the order of declaration.
  std::strong_ordering operator<=>(Slot const& other) const {
    auto const id = [](Slot const& slot) { return slot.attribute == nullptr ? 0 : slot.attribute->id(); };
    return std::pair(id(*this), key) <=> std::pair(id(other), other.key);
  }
};

Zef::Ptr<Zef::PtrInterface> at(Zef::PtrInterface const& owner, Slot const& slot);
// The object at the slot; an object of that type is made where there is none.
Zef::Ptr<Zef::PtrInterface> atIs(Zef::PtrInterface& owner, Slot const& slot, Zef::ZefType const& type);
void atDel(Zef::PtrInterface& owner, Slot const& slot);

// Copies an object's own values, but for references and what follows from its place; to a new object the fixed ones,
// too.
void copyValues(Zef::PtrInterface& to, Zef::PtrInterface const& from, bool isNew);

// How much is meant of a wanted object. As it is made, all: what stands there equals it, and what it lacks goes.
struct Scope {
  bool itself = true;    // the object's own values are meant; where it is wanted by nobody, it goes
  bool children = true;  // so is what it owns, but for what the two below name; otherwise just `slots`
  std::map<Slot, Scope> slots;
  std::set<Zef::ZefAttr const*> closed;  // collections of which nothing is meant

  // Of which nothing is meant, unless `slots` names something.
  static Scope none() { return {false, false, {}, {}}; }

  // Of what stands at a slot: all, unless `slots` says otherwise.
  Scope const& at(Slot const& slot) const;
};

// Hears of what a merge does, object by object, while it does it. It must not change either tree.
class Changes {
 public:
  Changes() = default;
  Changes(Changes const&) = delete;
  Changes& operator=(Changes const&) = delete;
  virtual ~Changes() = default;

  // Whether what is wanted is another thing than the one that stands in its place, of the same type and tag.
  virtual bool isAnother(Zef::PtrInterface const& /*live*/, Zef::PtrInterface const& /*wanted*/) const { return false; }
  // It is about to leave, and all below it, of which nothing is said.
  virtual void going(Zef::PtrInterface const& /*object*/) {}
  // It has come, whole but for its references; so has each object below it, of which it is said as well.
  virtual void came(Zef::PtrInterface const& /*object*/) {}
  // Values of its own are about to be made equal to those wanted, from which some differ.
  virtual void staying(Zef::PtrInterface const& /*live*/, Zef::PtrInterface const& /*wanted*/) {}
};
using ChangesList = std::vector<Changes*>;

// Whether what stands there can become what is wanted by a change of its values. An object of another type, with
// another fixed attribute, a part of the inventory with another `tag`, and what one of `changes` says, is another.
bool isSameThing(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted, ChangesList const& changes = {});

// What has to be done so that an object and what it owns equal a wanted one, as far as `scope` goes. Making one
// changes nothing; what it names lives as long as it does. The wanted tree holds whatever it takes to be compared: a
// wanted object on the way to one that is meant, and of a place that is meant nothing where nothing is wanted.
class Merge {
 public:
  struct Removal {
    Zef::Ptr<Zef::PtrInterface> owner;
    Slot slot;
    Zef::Ptr<Zef::PtrInterface> object;
  };
  // A live object, or where one is to come, and what is wanted there.
  struct Step {
    Zef::Ptr<Zef::PtrInterface> live;  // with a slot: its owner
    Zef::Ptr<Zef::PtrInterface const> wanted;
    Slot slot;
    bool isNew = false;
    Scope const* scope = nullptr;  // of what is new
  };

  // The scope lives as long as it does. What changed in the entity `first` of the directory is done and heard of before
  // anything else.
  Merge(Zef::PtrInterface& live, Zef::PtrInterface const& wanted, Scope const& scope, ChangesList changes = {},
        Zef::Name first = {});

  std::vector<Removal> const& removals() const { return removals_; }
  // New objects, and those with a value that differs.
  std::vector<Step> const& steps() const { return steps_; }
  // Whether there is nothing to be done.
  bool isNothing() const { return removals_.empty() && steps_.empty() && references_.empty(); }

  // Does it. What stands at the same place in both keeps its identity where it is the same thing; otherwise it leaves,
  // and a new one comes in its place. Those who watch hear of all that leaves first, and then of all the rest at once,
  // when it is all there. Nothing of the wanted tree enters the live one: a reference to one of its objects becomes one
  // to its counterpart.
  void apply();
  // The same in a tree that nobody watches; within another merge, too.
  void make();

 private:
  struct Reference {
    Zef::Ptr<Zef::PtrInterface> from;
    Zef::ZefAttr const* attribute;
    Zef::Value wanted;
  };

  void compare(Zef::PtrInterface& live, Zef::PtrInterface const& wanted, Scope const& scope);
  void compare(Zef::PtrInterface& live, Zef::PtrInterface const& wanted, Scope const& scope, Slot const& slot);
  void compareValues(Zef::PtrInterface& live, Zef::PtrInterface const& wanted);
  bool differs(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted, Zef::ZefAttr const& attribute) const;
  void remove();
  void complete();
  void complete(Zef::PtrInterface& made, Zef::PtrInterface const& wanted, Scope const& scope);
  // Notes the references of an object, to be set when all is there.
  void refer(Zef::PtrInterface& live, Zef::PtrInterface const& wanted);
  // What stands in the live tree where the wanted object does in its own.
  Zef::Value counterpart(Zef::Value const& wanted) const;

  Zef::Ptr<Zef::PtrInterface> live_;
  Zef::Ptr<Zef::PtrInterface const> wanted_;
  ChangesList changes_;
  Zef::Name first_;
  std::vector<Removal> removals_;
  std::vector<Step> steps_;
  std::vector<Reference> references_;
};

}  // namespace Vorlin
