#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/Notifiee.h"
#include "runtime/Value.h"

// One observer for each observable type, written from the models by observers.py.

using MakeObserver = Zef::Ptr<Zef::PtrInterface::NotifieeConst> (*)();

// By the qualified name of the type.
std::map<std::string, MakeObserver> const& observers();
// Makes the type objects of all models.
void registerModels();

// What observers have heard: "speed" for a scalar, "fan[1]" for one key of a collection.
inline std::vector<std::string>& heard() {
  static std::vector<std::string> all;
  return all;
}
inline void hear(std::string what) { heard().push_back(std::move(what)); }
inline std::string text(Zef::String8 const& string) { return std::string(string.view()); }

template <class T>
Zef::Ptr<Zef::PtrInterface::NotifieeConst> makeObserver() {
  return Zef::make<T>();
}
