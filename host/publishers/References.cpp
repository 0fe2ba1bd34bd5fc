#include "host/publishers/References.h"

#include <algorithm>
#include <utility>

namespace Host {

bool References::isBelow(Steps const& place, Steps const& top) {
  return place.size() >= top.size() && std::equal(top.begin(), top.end(), place.begin());
}

void References::referenceIs(Reference const& reference) {
  std::pair const key(reference.from, reference.attribute);
  if (auto const old = byFrom_.find(key); old != byFrom_.end()) {
    auto const others = byTo_.find(old->second);
    others->second.erase(key);
    if (others->second.empty()) byTo_.erase(others);
    loose_.erase({reference.from, reference.attribute, old->second});
    touched_.erase({reference.from, reference.attribute, old->second});
    byFrom_.erase(old);
  }
  if (reference.to.empty()) return;
  byFrom_[key] = reference.to;
  byTo_[reference.to].insert(key);
}

void References::going(Steps const& place) {
  if (byFrom_.empty()) return;
  forget(place, [](Steps const& /*from*/) { return true; });
  for (auto at = byTo_.lower_bound(place); at != byTo_.end() && isBelow(at->first, place); ++at) {
    for (auto const& [from, attribute] : at->second) touched_.insert({from, attribute, at->first});
  }
}

void References::came(Steps const& place) {
  auto const found = byTo_.find(place);
  if (found == byTo_.end()) return;
  for (auto const& [from, attribute] : found->second) touched_.insert({from, attribute, place});
}

void References::touchAll() {
  for (auto const& [key, to] : byFrom_) touched_.insert({key.first, key.second, to});
}

std::vector<References::Reference> References::takeTouched() {
  auto const touched = std::exchange(touched_, {});
  return {touched.begin(), touched.end()};
}

void References::looseIs(Reference const& reference, bool loose) {
  if (loose) {
    loose_.insert(reference);
  } else {
    loose_.erase(reference);
  }
}

}  // namespace Host
