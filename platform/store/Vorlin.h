#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "runtime/kit/String8.h"
#include "runtime/reflection/Entity.h"

// The state store: a tree of named entities, in directories below /vx/Vorlin. It knows no type of them; what a
// publisher does to an entity, it does by the names of attributes (Zef::ZefType).
namespace Vorlin {

// The object that the steps lead to from an object: names of entities in a directory, an attribute that holds an
// object, or a collection and the text of a key. Null when they lead nowhere.
Zef::Ptr<Zef::PtrInterface> find(Zef::Ptr<Zef::PtrInterface> from, std::span<Zef::String8 const> steps);

// The steps that lead from `top` to an entity, behind those that are there; false when it does not stand below.
bool stepsTo(Zef::Entity const& entity, Zef::Entity const* top, std::vector<Zef::String8>& steps);

class Store {
 public:
  Store();

  // The directory /vx/Vorlin, from which relative paths start.
  Zef::Ptr<Zef::Dir> const& root() const { return root_; }
  // The directory at a relative path such as snmp/fru; it and those above it are created when they are missing.
  Zef::Ptr<Zef::Dir> dirIs(std::string_view path);

 private:
  Zef::Ptr<Zef::Dir> top_;
  Zef::Ptr<Zef::Dir> root_;
};

}  // namespace Vorlin
