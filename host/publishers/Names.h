#pragma once

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/input/EntityMib.h"
#include "model/input/Helper.h"
#include "platform/store/Merge.h"

namespace Host {

// What no attribute can tell by itself of the hardware tree: that it describes one switch, in one piece or modular, and
// that every part that a record can mean has a name of its own. It keeps the names of all parts that are published, so
// that a change is checked by its own size.
class Names final : public Vorlin::Changes {
 public:
  // InventoryError, with the places, when the tree would not be one switch after it.
  void check(Vorlin::Merge const& merge);

  // Takes the names of all that stands below `status` instead of those it has.
  void rebuild(Zef::Entity const& status);
  // Behind a merge, when all labels are as they will be.
  void settle();

  void going(Zef::PtrInterface const& object) override;
  void came(Zef::PtrInterface const& object) override;
  void staying(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) override;

 private:
  // The name spaces of rows. A fan has one besides: what finds its sensor is not all of its name.
  enum class Space { component, card, xcvr, fanSensor };
  // Names are made again for the few whose hashes are equal: to keep a hundred thousand of them costs more.
  struct Entry {
    std::uint64_t hash;  // of the space and the name
    bool isMeant;
    Space space;
    EntityMib::PhysicalEntity const* part;
  };
  using Parts = std::unordered_set<Zef::PtrInterface const*>;

  // Calls back with each entry of an object: most parts have one, all else none.
  template <class Call>
  void forEachEntry(Zef::PtrInterface const& object, Call const& call) const;
  void enter(Zef::PtrInterface const& part);
  void leave(Zef::PtrInterface const& part);
  Zef::String8 nameOf(EntityMib::PhysicalEntity const& part, Space space) const;
  // Of entries with equal hashes.
  void requireDifferent(std::vector<Entry> const& entries) const;

  EntityMib::Helper helper_;
  std::unordered_multimap<std::uint64_t, Entry> entries_;
  std::vector<Zef::Ptr<Zef::PtrInterface const>> renamed_;  // while a merge is under way
};

}  // namespace Host
