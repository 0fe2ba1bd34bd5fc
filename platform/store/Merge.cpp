#include "platform/store/Merge.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "runtime/reactors/Activity.h"
#include "runtime/reflection/Type.h"

namespace Vorlin {

namespace {

using Zef::PtrInterface;
using Zef::String8;
using Zef::ZefAttr;
template <class T>
using Ptr = Zef::Ptr<T>;
using Kind = ZefAttr::Kind;

// Who reads a part takes its tag for what kind of part it is, once and for all.
bool makesIdentity(ZefAttr const& attribute) { return attribute.isFixed() || attribute.name() == "tag"; }

// The objects that an object owns through its attributes or, a directory, by their names.
struct Slot {
  ZefAttr const* attribute;  // null: a directory's entity
  String8 key;               // or the entity's name; empty for a single child
};

std::vector<Slot> slotsOf(PtrInterface const& owner) {
  std::vector<Slot> slots;
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&owner)) {
    for (auto const& entity : dir->entities()) slots.push_back({nullptr, entity->name()});
    return slots;
  }
  Zef::forEachChild(owner, [&slots](PtrInterface&, ZefAttr const& attribute, String8 const& key) {
    slots.push_back({&attribute, key});
  });
  return slots;
}

Ptr<PtrInterface> at(PtrInterface const& owner, Slot const& slot) {
  if (slot.attribute == nullptr) return static_cast<Zef::Dir const&>(owner).entity(slot.key);
  if (slot.attribute->kind() == Kind::entity) return slot.attribute->child(owner);
  return slot.attribute->member(owner, slot.key);
}

void removeAt(PtrInterface& owner, Slot const& slot) {
  if (slot.attribute == nullptr) {
    static_cast<Zef::Dir&>(owner).entityDel(slot.key);
  } else if (slot.attribute->kind() == Kind::entity) {
    slot.attribute->childDel(owner);
  } else {
    slot.attribute->memberDel(owner, slot.key);
  }
}

Ptr<PtrInterface> createAt(PtrInterface& owner, Slot const& slot, Zef::ZefType const& type) {
  if (slot.attribute == nullptr) return type.newEntity(slot.key, &static_cast<Zef::Dir&>(owner));
  if (slot.attribute->kind() == Kind::entity) return slot.attribute->childIs(owner);
  return slot.attribute->memberIs(owner, slot.key);
}

class Merge {
 public:
  Merge(Zef::Name first, Changes* changes) : first_(std::move(first)), changes_(changes) {}

  // Takes out what is not wanted, here and below; whether there was any.
  bool remove(PtrInterface& live, PtrInterface const& wanted);
  // Brings in and sets all else.
  void complete(PtrInterface& live, PtrInterface const& wanted, bool isNew);
  // Points references at the counterparts of what they are wanted to point at, once all of these are there.
  void refer();

 private:
  struct Reference {
    Ptr<PtrInterface> from;
    ZefAttr const* attribute;
    Zef::Value wanted;
  };

  bool sameThing(PtrInterface const& live, PtrInterface const& wanted) const;
  void copyAttribute(PtrInterface& live, PtrInterface const& wanted, ZefAttr const& attribute, bool isNew);

  Zef::Name first_;
  Changes* changes_;
  std::unordered_map<PtrInterface const*, Ptr<PtrInterface>> counterparts_;
  std::vector<Reference> references_;
};

bool Merge::sameThing(PtrInterface const& live, PtrInterface const& wanted) const {
  if (live.fwkType() != wanted.fwkType()) return false;
  if (live.fwkType() == nullptr) return true;
  for (ZefAttr const* attribute : live.fwkType()->allAttributes()) {
    if (makesIdentity(*attribute) && !(attribute->get(live) == attribute->get(wanted))) return false;
  }
  return changes_ == nullptr || !changes_->isAnother(live, wanted);
}

bool Merge::remove(PtrInterface& live, PtrInterface const& wanted) {
  bool removed = false;
  for (Slot const& slot : slotsOf(live)) {
    auto const object = at(live, slot);
    if (!object) continue;
    auto const counterpart = at(wanted, slot);
    if (counterpart && sameThing(*object, *counterpart)) {
      removed = remove(*object, *counterpart) || removed;
    } else {
      if (changes_ != nullptr) changes_->going(*object);
      removeAt(live, slot);
      removed = true;
    }
  }
  return removed;
}

void Merge::complete(PtrInterface& live, PtrInterface const& wanted, bool isNew) {
  counterparts_.emplace(&wanted, &live);
  if (changes_ != nullptr && !isNew) changes_->staying(live, wanted);
  if (wanted.fwkType() != nullptr) {
    for (ZefAttr const* attribute : wanted.fwkType()->allAttributes()) copyAttribute(live, wanted, *attribute, isNew);
  }
  auto slots = slotsOf(wanted);
  std::stable_partition(slots.begin(), slots.end(), [&](Slot const& slot) {
    return slot.attribute == nullptr && slot.key == first_.stringValue();
  });
  for (Slot const& slot : slots) {
    auto const counterpart = at(wanted, slot);
    if (!counterpart) continue;
    auto const object = at(live, slot);
    complete(object ? *object : *createAt(live, slot, *counterpart->fwkType()), *counterpart, !object);
  }
  if (changes_ != nullptr && isNew) changes_->came(live);
}

void Merge::copyAttribute(PtrInterface& live, PtrInterface const& wanted, ZefAttr const& attribute, bool isNew) {
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::optional:
      if (attribute.access() == ZefAttr::Access::writable || (attribute.isFixed() && isNew)) {
        attribute.set(live, attribute.get(wanted));
      }
      break;
    case Kind::reference:
      if (attribute.access() != ZefAttr::Access::readOnly)
        references_.push_back({&live, &attribute, attribute.get(wanted)});
      break;
    case Kind::valueMap:
      for (String8 const& key : attribute.keys(live)) {
        if (attribute.entry(wanted, key).isNull()) attribute.entryDel(live, key);
      }
      for (String8 const& key : attribute.keys(wanted)) attribute.entryIs(live, key, attribute.entry(wanted, key));
      break;
    case Kind::entity:
    case Kind::collection:
    case Kind::function:
      break;
  }
}

void Merge::refer() {
  for (Reference const& reference : references_) {
    auto const* object = reference.wanted.get<Ptr<PtrInterface>>();
    auto const found = object == nullptr ? counterparts_.end() : counterparts_.find(object->get());
    reference.attribute->set(*reference.from,
                             found == counterparts_.end() ? reference.wanted : Zef::Value(found->second));
  }
}

}  // namespace

void merge(Zef::Dir& live, Zef::Dir const& wanted, Zef::Name const& first, Changes* changes) {
  Merge merge(first, changes);
  bool removed = false;
  {
    Zef::Batch const batch;
    removed = merge.remove(live, wanted);
  }
  // Within a handler, such as a timer's, the end of a batch leaves delivery to the handler's end.
  if (removed) Zef::ActivitySm::process().run();
  {
    Zef::Batch const batch;
    merge.complete(live, wanted, false);
    merge.refer();
  }
  Zef::ActivitySm::process().run();
}

}  // namespace Vorlin
