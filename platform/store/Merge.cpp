#include "platform/store/Merge.h"

#include <algorithm>
#include <functional>

#include "platform/store/Vorlin.h"
#include "runtime/reactors/Activity.h"

namespace Vorlin {

namespace {

using Zef::PtrInterface;
using Zef::String8;
using Zef::Value;
using Zef::ZefAttr;
template <class T>
using Ptr = Zef::Ptr<T>;
using Kind = ZefAttr::Kind;

// Who reads a part takes its tag for what kind of part it is, once and for all.
bool makesIdentity(ZefAttr const& attribute) { return attribute.isFixed() || attribute.name() == "tag"; }

// Calls back for each object that another one owns, in order; for one of a directory, without an attribute.
void forEachSlot(PtrInterface const& owner, std::function<void(PtrInterface& object, Slot const& slot)> const& call) {
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&owner)) {
    for (auto const& entity : dir->entities()) call(*entity, {nullptr, entity->name()});
    return;
  }
  Zef::forEachChild(owner, [&call](PtrInterface& object, ZefAttr const& attribute, String8 const& key) {
    call(object, {&attribute, key});
  });
}

}  // namespace

Scope const& Scope::at(Slot const& slot) const {
  static Scope const whole;
  auto const found = slots.find(slot);
  return found == slots.end() ? whole : found->second;
}

Ptr<PtrInterface> at(PtrInterface const& owner, Slot const& slot) {
  if (slot.attribute == nullptr) return static_cast<Zef::Dir const&>(owner).entity(slot.key);
  if (slot.attribute->kind() == Kind::entity) return slot.attribute->child(owner);
  return slot.attribute->member(owner, slot.key);
}

Ptr<PtrInterface> atIs(PtrInterface& owner, Slot const& slot, Zef::ZefType const& type) {
  if (slot.attribute == nullptr) {
    auto& dir = static_cast<Zef::Dir&>(owner);
    Ptr<Zef::Entity> const entity = dir.entity(slot.key);
    return entity ? entity : type.newEntity(slot.key, &dir);
  }
  if (slot.attribute->kind() == Kind::entity) return slot.attribute->childIs(owner);
  return slot.attribute->memberIs(owner, slot.key);
}

void atDel(PtrInterface& owner, Slot const& slot) {
  if (slot.attribute == nullptr) {
    static_cast<Zef::Dir&>(owner).entityDel(slot.key);
  } else if (slot.attribute->kind() == Kind::entity) {
    slot.attribute->childDel(owner);
  } else {
    slot.attribute->memberDel(owner, slot.key);
  }
}

void copyValues(PtrInterface& to, PtrInterface const& from, bool isNew) {
  if (from.fwkType() == nullptr) return;
  for (ZefAttr const* attribute : from.fwkType()->allAttributes()) {
    if (attribute->kind() == Kind::value || attribute->kind() == Kind::optional) {
      if (attribute->access() == ZefAttr::Access::writable || (attribute->isFixed() && isNew))
        attribute->set(to, attribute->get(from));
    } else if (attribute->kind() == Kind::valueMap) {
      for (String8 const& key : attribute->keys(to)) {
        if (attribute->entry(from, key).isNull()) attribute->entryDel(to, key);
      }
      for (String8 const& key : attribute->keys(from)) attribute->entryIs(to, key, attribute->entry(from, key));
    }
  }
}

bool isSameThing(PtrInterface const& live, PtrInterface const& wanted, ChangesList const& changes) {
  if (live.fwkType() != wanted.fwkType()) return false;
  if (live.fwkType() == nullptr) return true;
  for (ZefAttr const* attribute : live.fwkType()->allAttributes()) {
    if (makesIdentity(*attribute) && !(attribute->get(live) == attribute->get(wanted))) return false;
  }
  return std::none_of(changes.begin(), changes.end(),
                      [&](Changes const* each) { return each->isAnother(live, wanted); });
}

Merge::Merge(PtrInterface& live, PtrInterface const& wanted, Scope const& scope, ChangesList changes, Zef::Name first)
    : live_(&live), wanted_(&wanted), changes_(std::move(changes)), first_(std::move(first)) {
  compare(live, wanted, scope);
}

void Merge::compare(PtrInterface& live, PtrInterface const& wanted, Scope const& scope) {
  if (scope.itself) compareValues(live, wanted);
  auto const isOpen = [&scope](Slot const& slot) { return !scope.closed.contains(slot.attribute); };
  auto const compareThose = [&](bool first) {
    auto const isTheirTurn = [&](Slot const& slot) {
      return first == (slot.attribute == nullptr && slot.key == first_.stringValue());
    };
    if (!scope.children) {
      for (auto const& [slot, below] : scope.slots) {
        if (isTheirTurn(slot)) compare(live, wanted, below, slot);
      }
      return;
    }
    forEachSlot(wanted, [&](PtrInterface& /*object*/, Slot const& slot) {
      if (isTheirTurn(slot) && isOpen(slot)) compare(live, wanted, scope.at(slot), slot);
    });
  };
  if (!first_.empty()) compareThose(true);
  compareThose(false);
  if (!scope.children) return;
  forEachSlot(live, [&](PtrInterface& object, Slot const& slot) {
    if (isOpen(slot) && scope.at(slot).itself && !at(wanted, slot)) removals_.push_back({&live, slot, &object});
  });
}

void Merge::compare(PtrInterface& live, PtrInterface const& wanted, Scope const& scope, Slot const& slot) {
  auto const object = at(live, slot);
  auto const counterpart = at(wanted, slot);
  if (object && counterpart && (!scope.itself || isSameThing(*object, *counterpart, changes_))) {
    compare(*object, *counterpart, scope);
    return;
  }
  if (!scope.itself) return;
  if (object) removals_.push_back({&live, slot, object});
  if (counterpart) steps_.push_back({&live, counterpart, slot, true, &scope});
}

void Merge::compareValues(PtrInterface& live, PtrInterface const& wanted) {
  if (wanted.fwkType() == nullptr) return;
  auto const& attributes = wanted.fwkType()->allAttributes();
  if (std::any_of(attributes.begin(), attributes.end(),
                  [&](ZefAttr const* attribute) { return differs(live, wanted, *attribute); })) {
    steps_.push_back({&live, &wanted, {}, false, nullptr});
  }
  refer(live, wanted);  // what it points at may be replaced
}

void Merge::refer(PtrInterface& live, PtrInterface const& wanted) {
  if (wanted.fwkType() == nullptr) return;
  for (ZefAttr const* attribute : wanted.fwkType()->allAttributes()) {
    if (attribute->kind() == Kind::reference && attribute->access() != ZefAttr::Access::readOnly)
      references_.push_back({&live, attribute, attribute->get(wanted)});
  }
}

bool Merge::differs(PtrInterface const& live, PtrInterface const& wanted, ZefAttr const& attribute) const {
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::optional:
      return attribute.access() == ZefAttr::Access::writable && !(attribute.get(live) == attribute.get(wanted));
    case Kind::reference: {
      if (attribute.access() == ZefAttr::Access::readOnly) return false;
      Value const given = attribute.get(wanted);
      Value const target = counterpart(given);
      return !(attribute.get(live) == target) || (target.isNull() && !given.isNull());  // it comes with this merge
    }
    case Kind::valueMap: {
      auto one = attribute.walk(live);
      auto other = attribute.walk(wanted);
      for (; one->more() && other->more(); one->advance(), other->advance()) {
        if (!(one->key() == other->key()) || !(one->value() == other->value())) return true;
      }
      return one->more() || other->more();
    }
    case Kind::entity:
    case Kind::collection:
    case Kind::function:
      break;
  }
  return false;
}

void Merge::apply() {
  if (!removals_.empty()) {
    Zef::Batch const batch;
    remove();
  }
  // Within a handler, such as a timer's, the end of a batch leaves delivery to the handler's end.
  if (!removals_.empty()) Zef::ActivitySm::process().run();
  {
    Zef::Batch const batch;
    complete();
  }
  Zef::ActivitySm::process().run();
}

void Merge::make() {
  remove();
  complete();
}

void Merge::remove() {
  for (Removal const& removal : removals_) {
    for (Changes* each : changes_) each->going(*removal.object);
    atDel(*removal.owner, removal.slot);
  }
}

void Merge::complete() {
  for (Step const& step : steps_) {
    if (step.isNew) {
      complete(*atIs(*step.live, step.slot, *step.wanted->fwkType()), *step.wanted, *step.scope);
    } else {
      for (Changes* each : changes_) each->staying(*step.live, *step.wanted);
      copyValues(*step.live, *step.wanted, false);
    }
  }
  for (Reference const& reference : references_)
    reference.attribute->set(*reference.from, counterpart(reference.wanted));
}

void Merge::complete(PtrInterface& made, PtrInterface const& wanted, Scope const& scope) {
  copyValues(made, wanted, true);
  refer(made, wanted);
  // It has all that is wanted below it, but for what is not meant at all.
  forEachSlot(wanted, [&](PtrInterface& object, Slot const& slot) {
    Scope const& below = scope.at(slot);
    if (!scope.closed.contains(slot.attribute) && below.itself)
      complete(*atIs(made, slot, *object.fwkType()), object, below);
  });
  for (Changes* each : changes_) each->came(made);
}

Value Merge::counterpart(Value const& wanted) const {
  auto const* const object = wanted.get<Ptr<PtrInterface>>();
  auto const* const entity = object == nullptr ? nullptr : dynamic_cast<Zef::Entity const*>(object->get());
  std::vector<String8> steps;
  if (entity == nullptr || !stepsTo(*entity, dynamic_cast<Zef::Entity const*>(wanted_.get()), steps)) return wanted;
  auto const found = find(live_, steps);
  return found ? Value(found) : Value();
}

}  // namespace Vorlin
