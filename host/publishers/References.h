#pragma once

#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "host/publishers/Claims.h"

namespace Host {

// What publishers said of references between objects, by the places of both ends. The end that a reference leads to may
// go by another's word, or come back: it reads as none until then.
class References {
 public:
  struct Reference {
    Steps from;
    Zef::ZefAttr const* attribute;
    Steps to;

    bool operator<(Reference const& other) const {
      return std::tie(from, attribute, to) < std::tie(other.from, other.attribute, other.to);
    }
  };

  // To nowhere: forgets it.
  void referenceIs(Reference const& reference);
  // Forgets those that lead from a place, or from below it, and of which `isMeant` says so.
  template <class Call>
  void forget(Steps const& from, Call const& isMeant) {
    std::vector<Reference> gone;
    for (auto at = byFrom_.lower_bound({from, nullptr}); at != byFrom_.end() && isBelow(at->first.first, from); ++at) {
      if (isMeant(at->first.first)) gone.push_back({at->first.first, at->first.second, {}});
    }
    for (Reference const& each : gone) referenceIs(each);
  }

  // An object leaves its place, with all below it.
  void going(Steps const& place);
  // Whether it is worth telling what comes.
  bool areAnyLoose() const { return !loose_.empty(); }
  void came(Steps const& place);
  // Looks at all of them again.
  void touchAll();

  // Those of which an end has come or gone since the last call.
  std::vector<Reference> takeTouched();
  // Whether there is something where it leads to.
  void looseIs(Reference const& reference, bool loose);

 private:
  static bool isBelow(Steps const& place, Steps const& top);

  std::map<std::pair<Steps, Zef::ZefAttr const*>, Steps> byFrom_;
  std::map<Steps, std::set<std::pair<Steps, Zef::ZefAttr const*>>> byTo_;
  std::set<Reference> loose_;
  std::set<Reference> touched_;
};

}  // namespace Host
