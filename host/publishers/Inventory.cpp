#include "host/publishers/Inventory.h"

#include <algorithm>
#include <optional>
#include <span>

#include "host/publishers/Names.h"
#include "platform/store/Vorlin.h"

namespace Host {

namespace {

using Vorlin::Scope;
using Vorlin::Slot;
using Zef::Ptr;
using Zef::PtrInterface;
using Zef::String8;
using Zef::Value;
using Zef::ZefAttr;
using Kind = ZefAttr::Kind;
using Word = Saying::Word;

bool isDir(PtrInterface const& object) { return dynamic_cast<Zef::Dir const*>(&object) != nullptr; }

// The next slot on the way, which it takes off the steps; none when no object of that type has one there.
std::optional<Slot> nextSlot(PtrInterface const& owner, std::span<String8 const>& steps) {
  String8 const name = steps.front();
  steps = steps.subspan(1);
  if (isDir(owner)) return Slot{nullptr, name};
  ZefAttr const* const attribute = owner.fwkType()->attr(Zef::Name(name));
  if (attribute == nullptr) return std::nullopt;
  if (attribute->kind() == Kind::entity) return Slot{attribute, {}};
  if (attribute->kind() != Kind::collection || steps.empty()) return std::nullopt;
  String8 const key = steps.front();
  steps = steps.subspan(1);
  return Slot{attribute, key};
}

// The counterpart of an object on the way, as it is.
Ptr<PtrInterface> passed(PtrInterface& owner, Slot const& slot, PtrInterface const& live) {
  Ptr<PtrInterface> object = Vorlin::at(owner, slot);
  if (object) return object;
  object = Vorlin::atIs(owner, slot, *live.fwkType());
  if (!isDir(live)) {
    Vorlin::copyValues(*object, live, true);
    for (ZefAttr const* attribute : live.fwkType()->allAttributes()) {
      if (attribute->kind() == Kind::reference && attribute->access() != ZefAttr::Access::readOnly)
        attribute->set(*object, attribute->get(live));
    }
  }
  return object;
}

bool isClaimedBut(Claims::Node const* claims, Claims::Owner const* speaker) {
  return claims != nullptr && claims->owner != nullptr && claims->owner != speaker;
}

// A merge patch of a value; what it leaves out of a group stays.
Value patched(Value const& current, Node const& node, Place const& place) {
  if (node.get<Members>() == nullptr) return valueOf(node, place);
  Value::Record record;
  if (auto const* now = current.get<Value::Record>()) record = *now;
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    auto const at = std::find_if(record.begin(), record.end(), [&](auto const& field) { return field.first == name; });
    if (below.isNull()) {
      if (at != record.end()) record.erase(at);
    } else if (at != record.end()) {
      at->second = patched(at->second, below, there);
    } else {
      record.emplace_back(name, patched({}, below, there));
    }
  });
  return record;
}

class Reader {
 public:
  // Without a saying: all of a directory in which nobody claims anything.
  Reader(EntityTypes const& types, Saying const* saying, Change& change)
      : types_(types), saying_(saying), change_(change) {}

  void read(Node const& document);

 private:
  using Claimed = Claims::Node const*;

  // On the way to the speaker's claims, which is not his but that of `owner`, if anybody's.
  void pass(PtrInterface const& base, PtrInterface& wanted, Claims::Node const& claims, Claims::Owner const* owner,
            std::string const& entity, Node const& node, Scope& scope, Place const& place);
  void passMember(PtrInterface const& base, PtrInterface& wanted, Slot const& slot, Claims::Node const& claims,
                  Claims::Owner const* owner, std::string const& entity, Node const& node, Scope& scope,
                  Place const& place);
  void passCollection(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute,
                      Claims::Node const& claims, Claims::Owner const* owner, Node const& node, Scope& scope,
                      Place const& place);
  // Something stands in the document that is another's, or nobody's.
  void refuseOutside(Claims::Owner const* owner, Place const& place);
  // Nothing was said of a claim of his.
  void sayNothing(Claim const& claim);

  // A slot that is his, or a member of a collection that is: with what the document has for it, or nothing.
  void own(PtrInterface const& base, PtrInterface& wanted, Slot const& slot, Claimed claims, std::string const& entity,
           Node const* node, Scope& scope, Place const& place);
  void ownCollection(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute, Claimed claims,
                     Node const* node, Scope& scope, Place const& place);
  bool isAnothers(Claimed claims) const;
  // The same, and the place is refused or left out.
  bool refuseAnothers(Claimed claims, Place const& place);

  // Into an object that has nothing yet.
  void fill(PtrInterface& object, std::string const& entity, Node const& node, Claimed claims, Place const& place);
  void directory(Zef::Dir& dir, std::string const& path, Node const& node, Claimed claims, Place const& place);
  void attributes(PtrInterface& object, Node const& node, Place const& place);
  void value(PtrInterface& object, ZefAttr const& attribute, Node const& node, Place const& place);
  void children(PtrInterface& object, Node const& node, Claimed claims, Place const& place);
  void collection(PtrInterface& object, ZefAttr const& attribute, Node const& node, Claimed claims, Place const& place);
  void reference(PtrInterface& object, ZefAttr const& attribute, Node const& node, Place const& place);

  // Into an object that stands for a live one.
  void patch(PtrInterface const& base, PtrInterface& wanted, std::string const& entity, Node const& node,
             Claimed claims, Scope& scope, Place const& place);
  void patchValue(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute, Node const& node,
                  Place const& place);

  Steps stepsOfWanted(PtrInterface const& object) const;
  // The attribute of that name that can be written.
  static ZefAttr const& attributeOf(PtrInterface const& object, String8 const& name, Place const& place);
  // The type of an entity in a directory; where there is none, the place is refused.
  Zef::ZefType const& entityType(std::string const& entity, Place const& place) const;
  bool isPatch() const { return saying_ != nullptr && saying_->word == Word::patch; }

  EntityTypes const& types_;
  Saying const* saying_;
  Change& change_;
  std::set<Claimed> said_;  // claims of his that the document has
};

void Reader::read(Node const& document) {
  if (saying_ == nullptr) {
    directory(*change_.wanted, "", document, nullptr, Place());
    return;
  }
  change_.scope = Scope::none();
  pass(*saying_->inputs, *change_.wanted, saying_->claims.top(), nullptr, "", document, change_.scope, Place());
  if (isPatch()) return;
  for (Claim const& claim : saying_->his) {
    Claimed const node = saying_->claims.at(claim.steps);
    if (saying_->means(*node) && !said_.contains(node)) sayNothing(claim);
  }
}

void Reader::pass(PtrInterface const& base, PtrInterface& wanted, Claims::Node const& claims,
                  Claims::Owner const* owner, std::string const& entity, Node const& node, Scope& scope,
                  Place const& place) {
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    bool const inDir = isDir(base);
    std::string const path = inDir ? (entity.empty() ? "" : entity + "/") + name.charPtr() : "";
    ZefAttr const* attribute = nullptr;
    if (inDir) {
      entityType(path, there);
    } else {
      attribute = &attributeOf(base, name, there);
    }
    Claimed const claimed = claims.at(name);
    if (claimed == nullptr) {
      refuseOutside(owner, there);
    } else if (attribute != nullptr && attribute->kind() == Kind::collection) {
      passCollection(base, wanted, *attribute, *claimed, owner, below, scope, there);
    } else {
      passMember(base, wanted, inDir ? Slot{nullptr, name} : Slot{attribute, {}}, *claimed, owner, path, below, scope,
                 there);
    }
  });
}

void Reader::passMember(PtrInterface const& base, PtrInterface& wanted, Slot const& slot, Claims::Node const& claims,
                        Claims::Owner const* owner, std::string const& entity, Node const& node, Scope& scope,
                        Place const& place) {
  if (claims.owner == &saying_->speaker) {
    said_.insert(&claims);
    if (saying_->means(claims)) own(base, wanted, slot, &claims, entity, &node, scope, place);
    return;
  }
  if (claims.owner != nullptr) owner = claims.owner;
  if (saying_->word == Word::file && owner != nullptr) {  // which has no claims in those of others
    refuseOutside(owner, place);
    return;
  }
  Ptr<PtrInterface> const object = Vorlin::at(base, slot);
  if (!object) return;  // what is claimed below waits
  auto const counterpart = passed(wanted, slot, *object);
  pass(*object, *counterpart, claims, owner, entity, node, scope.slots.try_emplace(slot, Scope::none()).first->second,
       place);
}

void Reader::passCollection(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute,
                            Claims::Node const& claims, Claims::Owner const* owner, Node const& node, Scope& scope,
                            Place const& place) {
  if (claims.owner == &saying_->speaker) {
    said_.insert(&claims);
    if (saying_->means(claims)) ownCollection(base, wanted, attribute, &claims, &node, scope, place);
    return;
  }
  if (claims.owner != nullptr) owner = claims.owner;
  std::set<String8> said;
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    String8 const key = attribute.key(name);
    if (!said.insert(key).second) there.refuse("it is another spelling of a key that stands there already");
    Claimed const claimed = claims.at(key);
    if (claimed == nullptr) {
      refuseOutside(owner, there);
    } else {
      passMember(base, wanted, {&attribute, key}, *claimed, owner, "", below, scope, there);
    }
  });
}

void Reader::refuseOutside(Claims::Owner const* owner, Place const& place) {
  if (saying_->word == Word::file) {
    change_.leftOut.push_back(place.text());
  } else if (owner != nullptr) {
    place.refuse(owner->name() + " speaks for it");
  } else {
    place.refuse("it is in no claim of " + saying_->speaker.name());
  }
}

void Reader::sayNothing(Claim const& claim) {
  Steps const way(claim.steps.begin(), claim.steps.begin() + static_cast<std::ptrdiff_t>(claim.owner));
  Scope* meant = nullptr;
  auto const counterpart = change_.passTo(saying_->inputs, way, meant);
  if (!counterpart) return;
  auto const owner = Vorlin::find(saying_->inputs, way);
  std::span<String8 const> last = std::span(claim.steps).subspan(claim.owner);
  Claimed const claimed = saying_->claims.at(claim.steps);
  if (claim.isCollection) {
    ownCollection(*owner, *counterpart, *owner->fwkType()->attr(Zef::Name(last.front())), claimed, nullptr, *meant,
                  Place());
  } else {
    std::string entity;
    for (String8 const& step : claim.steps) entity += (entity.empty() ? "" : "/") + std::string(step.view());
    own(*owner, *counterpart, *nextSlot(*owner, last), claimed, entity, nullptr, *meant, Place());
  }
}

void Reader::own(PtrInterface const& base, PtrInterface& wanted, Slot const& slot, Claimed claims,
                 std::string const& entity, Node const* node, Scope& scope, Place const& place) {
  auto const object = Vorlin::at(base, slot);
  // An input is always there, if only empty.
  bool const stays = slot.attribute == nullptr && entity.find('/') == std::string::npos;
  bool const isWanted = node != nullptr && !(node->isNull() && isPatch());
  Scope& below = scope.slots[slot];
  below = {};
  if (!isWanted) Vorlin::atDel(wanted, slot);
  if (!isWanted && !stays) return;
  if (object && !(isPatch() && isWanted)) below = allBut(*object, claims, &saying_->speaker);
  Zef::ZefType const& type = slot.attribute == nullptr ? entityType(entity, place) : *slot.attribute->objectType();
  auto const counterpart = Vorlin::atIs(wanted, slot, type);
  if (!isWanted) return;
  if (isPatch() && object) {
    patch(*object, *counterpart, entity, *node, claims, below, place);
  } else {
    fill(*counterpart, entity, *node, claims, place);
  }
}

void Reader::ownCollection(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute, Claimed claims,
                           Node const* node, Scope& scope, Place const& place) {
  auto const at = [&](String8 const& key) { return claims == nullptr ? nullptr : claims->at(key); };
  bool const isGiven = node != nullptr && !(node->isNull() && isPatch());
  if (!isPatch() || !isGiven) {
    for (String8 const& key : attribute.keys(base)) {
      if (!isAnothers(at(key))) own(base, wanted, {&attribute, key}, at(key), "", nullptr, scope, place);
    }
  }
  if (!isGiven) return;
  std::set<String8> said;
  forEachMember(*node, place, [&](String8 const& name, Node const& below, Place const& there) {
    String8 const key = attribute.key(name);
    if (refuseAnothers(at(key), there)) return;
    if (!said.insert(key).second) there.refuse("it is another spelling of a key that stands there already");
    own(base, wanted, {&attribute, key}, at(key), "", &below, scope, there);
  });
}

bool Reader::isAnothers(Claimed claims) const { return claims != nullptr && isClaimedBut(claims, &saying_->speaker); }

bool Reader::refuseAnothers(Claimed claims, Place const& place) {
  if (!isAnothers(claims)) return false;
  refuseOutside(claims->owner, place);
  return true;
}

void Reader::fill(PtrInterface& object, std::string const& entity, Node const& node, Claimed claims,
                  Place const& place) {
  if (auto* const dir = dynamic_cast<Zef::Dir*>(&object)) {
    directory(*dir, entity, node, claims, place);
    return;
  }
  // What stands below an object may take its place from the object's own values.
  attributes(object, node, place);
  children(object, node, claims, place);
}

void Reader::directory(Zef::Dir& dir, std::string const& path, Node const& node, Claimed claims, Place const& place) {
  std::string const prefix = path.empty() ? "" : path + "/";
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    if (isPatch() && below.isNull()) return;
    std::string const entity = std::string(prefix).append(name.view());
    Zef::ZefType const& type = entityType(entity, there);
    Claimed const at = claims == nullptr ? nullptr : claims->at(name);
    if (!refuseAnothers(at, there)) fill(*Vorlin::atIs(dir, {nullptr, name}, type), entity, below, at, there);
  });
}

void Reader::attributes(PtrInterface& object, Node const& node, Place const& place) {
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    ZefAttr const& attribute = attributeOf(object, name, there);
    if (!isPatch() || !below.isNull()) value(object, attribute, below, there);
  });
}

void Reader::value(PtrInterface& object, ZefAttr const& attribute, Node const& node, Place const& place) {
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::optional:
      attribute.set(object, isPatch() ? patched({}, node, place) : valueOf(node, place));
      break;
    case Kind::valueMap:
      forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
        if (isPatch() && below.isNull()) return;
        attribute.entryIs(object, attribute.key(name), isPatch() ? patched({}, below, there) : valueOf(below, there));
      });
      break;
    case Kind::reference:
      reference(object, attribute, node, place);
      break;
    case Kind::entity:
    case Kind::collection:
    case Kind::function:
      break;
  }
}

void Reader::reference(PtrInterface& object, ZefAttr const& attribute, Node const& node, Place const& place) {
  Change::Reference reference{stepsOfWanted(object), &attribute, {}, place.text()};
  if (auto const* list = node.get<List>()) {
    for (Node const& step : *list) {
      auto const* text = step.get<String8>();
      if (text == nullptr) place.refuse(std::string("a list of names is needed, not one with ") + kindOf(step));
      reference.to.push_back(*text);
    }
  }
  if (reference.to.empty()) place.refuse("a list of the names that lead to an object is needed");
  change_.references.push_back(std::move(reference));
}

void Reader::children(PtrInterface& object, Node const& node, Claimed claims, Place const& place) {
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    ZefAttr const& attribute = *object.fwkType()->attr(Zef::Name(name));
    bool const isCollection = attribute.kind() == Kind::collection;
    if ((!isCollection && attribute.kind() != Kind::entity) || (isPatch() && below.isNull())) return;
    Claimed const at = claims == nullptr ? nullptr : claims->at(attribute.name());
    if (refuseAnothers(at, there)) return;
    if (isCollection) {
      collection(object, attribute, below, at, there);
    } else {
      fill(*attribute.childIs(object), "", below, at, there);
    }
  });
}

void Reader::collection(PtrInterface& object, ZefAttr const& attribute, Node const& node, Claimed claims,
                        Place const& place) {
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    String8 const key = attribute.key(name);
    Claimed const at = claims == nullptr ? nullptr : claims->at(key);
    if (refuseAnothers(at, there) || (isPatch() && below.isNull())) return;
    if (attribute.member(object, key)) there.refuse("it is another spelling of a key that stands there already");
    fill(*attribute.memberIs(object, key), "", below, at, there);
  });
}

void Reader::patch(PtrInterface const& base, PtrInterface& wanted, std::string const& entity, Node const& node,
                   Claimed claims, Scope& scope, Place const& place) {
  scope = {true, false, {}, {}};
  auto const at = [&](String8 const& step) { return claims == nullptr ? nullptr : claims->at(step); };
  if (isDir(base)) {
    forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
      std::string const path = entity + "/" + name.charPtr();
      entityType(path, there);
      if (!refuseAnothers(at(name), there)) own(base, wanted, {nullptr, name}, at(name), path, &below, scope, there);
    });
    return;
  }
  Vorlin::copyValues(wanted, base, true);
  for (ZefAttr const* attribute : base.fwkType()->allAttributes()) {
    if (attribute->kind() == Kind::reference && attribute->access() != ZefAttr::Access::readOnly)
      attribute->set(wanted, attribute->get(base));
  }
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    patchValue(base, wanted, attributeOf(base, name, there), below, there);
  });
  if (!Vorlin::isSameThing(base, wanted, saying_->changes)) {
    // Another thing comes in its place, and has all that this one has.
    Scope owned = allBut(base, claims, &saying_->speaker);
    owned.itself = false;
    Vorlin::Merge(wanted, base, owned).make();
  }
  forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
    ZefAttr const& attribute = *base.fwkType()->attr(Zef::Name(name));
    bool const isCollection = attribute.kind() == Kind::collection;
    if ((!isCollection && attribute.kind() != Kind::entity) || refuseAnothers(at(attribute.name()), there)) return;
    if (isCollection) {
      ownCollection(base, wanted, attribute, at(attribute.name()), &below, scope, there);
    } else {
      own(base, wanted, {&attribute, {}}, at(attribute.name()), "", &below, scope, there);
    }
  });
}

void Reader::patchValue(PtrInterface const& base, PtrInterface& wanted, ZefAttr const& attribute, Node const& node,
                        Place const& place) {
  if (attribute.kind() == Kind::valueMap) {
    if (node.isNull()) {
      for (String8 const& key : attribute.keys(base)) attribute.entryDel(wanted, key);
      return;
    }
    forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
      String8 const key = attribute.key(name);
      if (below.isNull()) {
        attribute.entryDel(wanted, key);
      } else {
        attribute.entryIs(wanted, key, patched(attribute.entry(base, key), below, there));
      }
    });
  } else if (attribute.kind() == Kind::reference && !node.isNull()) {
    reference(wanted, attribute, node, place);
  } else if (attribute.kind() == Kind::value || attribute.kind() == Kind::optional ||
             attribute.kind() == Kind::reference) {
    if (node.isNull()) {
      auto const& name = dynamic_cast<Zef::Entity const&>(base).name();
      attribute.set(wanted, attribute.get(*base.fwkType()->newObject(name)));
      if (attribute.kind() == Kind::reference)
        change_.references.push_back({stepsOfWanted(wanted), &attribute, {}, ""});
    } else {
      attribute.set(wanted, patched(attribute.get(base), node, place));
    }
  }
}

Steps Reader::stepsOfWanted(PtrInterface const& object) const {
  Steps steps;
  Vorlin::stepsTo(dynamic_cast<Zef::Entity const&>(object), change_.wanted.get(), steps);
  return steps;
}

ZefAttr const& Reader::attributeOf(PtrInterface const& object, String8 const& name, Place const& place) {
  ZefAttr const* const attribute = object.fwkType()->attr(Zef::Name(name));
  if (attribute == nullptr || attribute->kind() == Kind::function) place.refuse("no such attribute");
  if (attribute->access() == ZefAttr::Access::readOnly)
    place.refuse("it follows from the place in the tree or from other values, and is not written in a file");
  return *attribute;
}

Zef::ZefType const& Reader::entityType(std::string const& entity, Place const& place) const {
  auto const found = types_.find(entity);
  if (found == types_.end()) place.refuse(entity.find('/') == std::string::npos ? "no such input" : "no such entity");
  return *found->second;
}

}  // namespace

Scope allBut(PtrInterface const& object, Claims::Node const* claims, Claims::Owner const* speaker) {
  Scope scope;
  if (claims == nullptr) return scope;
  for (auto const& [step, below] : claims->below) {
    ZefAttr const* const attribute = isDir(object) ? nullptr : object.fwkType()->attr(Zef::Name(step));
    auto const enter = [&](Slot const& slot, Claims::Node const& at) {
      auto const child = Vorlin::at(object, slot);
      scope.slots[slot] = isClaimedBut(&at, speaker) ? Scope::none() : child ? allBut(*child, &at, speaker) : Scope();
    };
    if (attribute == nullptr || attribute->kind() == Kind::entity) {
      enter(attribute == nullptr ? Slot{nullptr, step} : Slot{attribute, {}}, *below);
    } else if (isClaimedBut(below.get(), speaker)) {
      scope.closed.insert(attribute);
    } else {
      for (auto const& [key, member] : below->below) enter({attribute, key}, *member);
    }
  }
  return scope;
}

void Change::Reference::refuse() const {
  std::string steps;
  for (String8 const& step : to) steps += (steps.empty() ? "" : ", ") + std::string(step.view());
  throw InventoryError(place, "there is nothing at " + steps);
}

Ptr<PtrInterface> Change::passTo(Ptr<Zef::Dir> const& live, Steps const& steps, Scope*& meant) {
  Ptr<PtrInterface> from = live;
  Ptr<PtrInterface> to = wanted;
  meant = &scope;
  for (std::span<String8 const> left = steps; !left.empty();) {
    auto const slot = nextSlot(*from, left);
    from = slot ? Vorlin::at(*from, *slot) : nullptr;
    if (!from) return nullptr;
    to = passed(*to, *slot, *from);
    meant = &meant->slots.try_emplace(*slot, Scope::none()).first->second;
  }
  return to;
}

Change readChange(Node const& document, EntityTypes const& types, Saying const& saying) {
  Change change{Zef::make<Zef::Dir>("input"), Scope::none(), {}, {}};
  Reader(types, &saying, change).read(document);
  return change;
}

void refer(Change const& change, Ptr<Zef::Dir> const& inputs) {
  for (Change::Reference const& reference : change.references) {
    if (reference.to.empty()) continue;
    auto target = Vorlin::find(change.wanted, reference.to);
    if (!target) target = Vorlin::find(inputs, reference.to);
    if (!target) reference.refuse();
    try {
      reference.attribute->set(*Vorlin::find(change.wanted, reference.from), target);
    } catch (Zef::RangeException const& error) {
      throw InventoryError(reference.place, error.what());
    }
  }
}

void requireReferences(Change const& change, Vorlin::Merge const& merge, Ptr<Zef::Dir> const& inputs) {
  if (change.references.empty() || merge.removals().empty()) return;
  std::set<PtrInterface const*> going;
  for (auto const& removal : merge.removals()) going.insert(removal.object.get());
  for (Change::Reference const& reference : change.references) {
    if (reference.to.empty() || Vorlin::find(change.wanted, reference.to)) continue;
    for (auto at = Zef::dynamicCast<Zef::Entity>(Vorlin::find(inputs, reference.to)); at; at = at->parent()) {
      if (going.contains(at.get())) reference.refuse();
    }
  }
}

Ptr<Zef::Dir> emptyInputs(EntityTypes const& types) {
  auto inputs = Zef::make<Zef::Dir>("input");
  for (auto const& [path, type] : types) {
    if (path.find('/') == std::string::npos) type->newEntity(Zef::Name(path.c_str()), inputs.get());
  }
  return inputs;
}

Ptr<Zef::Dir> readInventory(std::string_view text, EntityTypes const& types, InventoryLimits const& limits) {
  Change change{emptyInputs(types), {}, {}, {}};
  Reader(types, nullptr, change).read(readDocument(text, limits));
  auto const none = emptyInputs(types);
  refer(change, none);
  Vorlin::Merge const merge(*none, *change.wanted, change.scope);
  Names().check(merge);
  return change.wanted;
}

}  // namespace Host
