#pragma once

#include <vector>

#include "model/OrvaneLib.h"
#include "platform/store/Merge.h"

namespace Host {

// Has entPhysicalName answer a part's component name, which is the one by which its readings find it, or nothing. The
// projection writes no such name: a switch's console may call its parts otherwise. So this gives it to the rows behind
// each merge, for those parts that came or whose values changed.
class PhysicalNames final : public Vorlin::Changes {
 public:
  explicit PhysicalNames(Zef::Ptr<Orvane::OrvaneEntityMib> entityMib) : entityMib_(std::move(entityMib)) {}

  // Nothing is shown at first. All rows take it on.
  void areShown(bool shown);
  // Behind a merge, when all rows have their names.
  void settle();
  // All rows anew.
  void rebuild();

  void came(Zef::PtrInterface const& object) override;
  void staying(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) override;

 private:
  void name(Orvane::PhysicalEntity& row) const;

  Zef::Ptr<Orvane::OrvaneEntityMib> entityMib_;
  bool shown_ = false;
  std::vector<U32> changed_;  // while a merge is under way
};

}  // namespace Host
