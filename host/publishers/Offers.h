#pragma once

#include <functional>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

#include "platform/store/Merge.h"
#include "runtime/reflection/Type.h"
#include "sm/Root.h"

namespace Host {

// What has to meet once more when something was published, so that an agent that lived through many versions answers as
// one that was started on the last: the reactors of a record do not look for a part that comes behind it, nor those of
// a part for a record that goes. While a version is merged this notes the names in question, by one table (Offers.cpp:
// what came, went or changed, and whose it is); when all reactions have run, run() has just those rows made anew. What
// has not changed costs a look at a few of its attributes.
class Offers final : public Vorlin::Changes {
 public:
  // Forgets what was noted. Where nothing is published yet there is nothing that could have been missed, so nothing is
  // noted until the next call.
  void begin(bool anythingIsPublished);

  // Forgets all it knows of the records, and looks at them anew.
  void rebuild(Orvane::Root const& root);

  // Renews the rows noted. True when what the election of supervisors shows has to be shown anew behind it.
  bool run(Orvane::Root& root);

  bool isAnother(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) const override;
  void going(Zef::PtrInterface const& object) override;
  void came(Zef::PtrInterface const& object) override;
  void staying(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) override;

 private:
  enum class Event { came, went, changed };
  using Note = void (Offers::*)(Zef::Entity const& object, Event event);
  struct Rule;
  static Rule const rules[];
  // A rule as it stands for one type: with that type's own attributes.
  struct Watched {
    Rule const* rule = nullptr;
    std::vector<Zef::ZefAttr const*> attributes;
  };

  Watched const& watched(Zef::PtrInterface const& object) const;
  void note(Zef::PtrInterface const& object, Event event);
  // Which configuration, of another transceiver, the status of that name refers to now.
  void follow(Orvane::Root const& root, Zef::String8 const& status);

  void component(Zef::Entity const& record, Event event);
  void temperature(Zef::Entity const& record, Event event);
  void fan(Zef::Entity const& record, Event event);
  void supply(Zef::Entity const& record, Event event);
  void card(Zef::Entity const& record, Event event);
  void xcvrConfig(Zef::Entity const& record, Event event);
  void xcvrStatus(Zef::Entity const& record, Event event);
  void election(Zef::Entity const& record, Event event);
  void slot(Zef::Entity const& part, Event event);
  void part(Zef::Entity const& part, Event event);

  // All by the names of Root's maps; a transceiver's stands for its sensors, too.
  std::set<Zef::String8> components_;
  std::set<Zef::String8> temperatures_;  // whose state changed: only a transceiver's sensor takes it from elsewhere
  std::set<Zef::String8> cards_;
  std::set<Zef::String8> xcvrs_;
  std::set<Zef::String8> xcvrConfigs_;  // that were switched
  std::set<U32> rows_;
  std::set<U32> newRows_;
  bool election_ = false;
  bool notes_ = false;
  // Statuses of transceivers that refer to another one's configuration, and by that; mostly none.
  std::map<Zef::String8, Zef::String8> elsewhere_;
  std::map<Zef::String8, std::set<Zef::String8>> referring_;
  mutable std::unordered_map<Zef::ZefType const*, Watched> watched_;
};

}  // namespace Host
