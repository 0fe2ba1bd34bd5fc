#pragma once

#include <functional>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/Bootstrap.h"
#include "host/LineLimit.h"
#include "host/Log.h"
#include "host/Timer.h"
#include "host/publishers/Claims.h"
#include "host/publishers/Inventory.h"
#include "host/publishers/LineServer.h"
#include "host/publishers/References.h"

namespace Host {

// All who publish: who they are, what each speaks for, how long their words hold, and what waits for a part to stand
// in. What they say is applied here, each change wholly or not at all; docs/publishing.md has the words.
//
// Where a change cannot be made and cannot be built anew either, the process ends, since nobody could tell what it
// serves.
class Publishers final : public LineServer, private Vorlin::Changes {
 public:
  // The system outlives it.
  Publishers(EntityTypes const& types, Bootstrap& system, Zef::Ptr<Zef::Clock> const& clock, Log log);
  ~Publishers() override;
  Publishers(Publishers const&) = delete;
  Publishers& operator=(Publishers const&) = delete;

  // A new version of the inventory file, which speaks for what it names at its top, less what others claim: their
  // places, which it named in vain, are the answer. InventoryError when it is refused whole.
  std::vector<std::string> fileIs(std::string_view text);
  // There is no such file any more: what it said is withdrawn.
  void fileDel();

  // Nobody's word holds any more, and all parts go.
  void endAll();
  // Builds all rows anew from what is published.
  void rebuild();

  void came(int client, Peer const& peer) override;
  std::string answer(int client, std::string_view line) override;
  std::string refused(int client, std::string const& reason) override;
  void left(int client) override;

  struct Described {
    std::string name;
    std::string state;
    std::vector<std::string> claims;
    double lease = 0;      // seconds; 0: for ever
    double leaseLeft = 0;  // seconds
    unsigned long messages = 0;
    unsigned long refusals = 0;
    std::string lastRefusal;
    std::size_t rows = 0;  // parts and records that stand in its claims
    std::vector<std::string> waits;
  };
  // Everyone, in the order of their names.
  std::vector<Described> described() const;

 private:
  struct Publisher final : Claims::Owner {
    std::string const& name() const override { return name_; }

    std::string name_;
    Peer peer{};
    std::vector<Claim> claims;
    double lease = 0;  // seconds; 0: for ever
    bool withdrawsParts = false;
    bool isHere = false;  // connected
    double heard = 0;     // when it last said anything, or left
    unsigned long messages = 0;
    unsigned long refusals = 0;
    std::string lastRefusal;
  };
  struct Client {
    Peer peer{};
    Publisher* publisher = nullptr;
    bool wasGreeted = false;
  };
  // A claim whose place is not there, and what is said of it: inputs with nothing else in them.
  struct Waiting {
    Claims::Node* node;
    Zef::Ptr<Zef::Dir> inputs;
    bool isHeldBack = false;  // its place is there, but another part has a name of its; that was told
  };
  struct Answer {
    bool back = false;
    std::vector<std::string> waits;
  };

  // The words.
  Answer take(Client& client, Node const& message);
  Answer greet(Client& client, Node const& message);
  // That somebody has come or left.
  void logMovement(std::string const& line);
  // Has a publisher, a new one where it is null, claim these and no others; those dropped are withdrawn. All or
  // nothing.
  void take(Publisher*& publisher, Publisher const& said, std::vector<Claim> claims);
  std::string refusal(Client& client, std::string place, std::string const& reason);

  Publisher* publisherOf(std::string const& name);
  // Nobody else may claim the same, and no claim of a publisher lies within another one of its own.
  void requireFree(Publisher const* publisher, std::vector<Claim> const& claims) const;
  // Its word for some of its claims ends. Parts stay, unless `parts`.
  void withdraw(Publisher& publisher, std::vector<Claim> const& claims, bool parts);
  // Its word ends, and it is forgotten.
  void end(Publisher& publisher);
  void endThoseSilent();

  // Makes what somebody says true, for what is live and for what waits; the places that he was to leave out.
  // InventoryError when it is refused.
  std::vector<std::string> say(Publisher const& publisher, Saying::Word word, Node const& content);
  void publish(Change const& change, Vorlin::Merge& merge, Claims::Owner const* speaker);
  // What follows from it: references whose ends have come or gone, and what waited for a part that is there now.
  void settle();
  void mendReferences();
  // Whether any did.
  bool bringInWhatWaited();
  bool bringIn(Waiting& waiting);
  void waitsIs(Claims::Node& node, bool waits);
  // Calls back with what waits of all that somebody claims.
  template <class Call>
  void forEachWaiting(Claims::Owner const& owner, Call const& call) const;
  Waiting& waitingOf(Claims::Node const& node) { return waits_.at(node.owner).at(node.claim.steps); }
  // What waits there by another's word, within a claim of his, is this claim's from now on.
  void takeUpWaiting(Claims::Node& node);
  std::vector<std::string> waitsOf(Publisher const& publisher) const;
  // The object that a claim stands in, in a directory of inputs; null when it is not there.
  static Zef::Ptr<Zef::PtrInterface> ownerOf(Zef::Ptr<Zef::Dir> const& inputs, Claim const& claim);
  // The same, made where it is not there.
  Zef::PtrInterface& ownerIs(Zef::Ptr<Zef::Dir> const& inputs, Claim const& claim) const;
  // What a claim means of that object, but for what is claimed within.
  Vorlin::Scope scopeOf(Zef::PtrInterface const& owner, Claim const& claim) const;
  bool isAnythingIn(Waiting const& waiting) const;

  void going(Zef::PtrInterface const& object) override;
  void came(Zef::PtrInterface const& object) override;
  void staying(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) override;
  Steps stepsTo(Zef::PtrInterface const& object) const;

  EntityTypes const& types_;
  Bootstrap& system_;
  Zef::Ptr<Zef::Clock> clock_;
  Log log_;
  LineLimit refusals_;  // by the names of those refused
  LineLimit movements_;
  Zef::Ptr<Timer> timer_;
  Claims claims_;
  References references_;
  std::map<Claims::Owner const*, std::map<Steps, Waiting>> waits_;
  bool mayComeIn_ = false;         // something of what waits
  bool havePartsChanged_ = false;  // so that a name may have become free
  std::list<Publisher> publishers_;
  Publisher* file_ = nullptr;
  std::map<int, Client> clients_;
  Claims::Owner const* speaker_ = nullptr;  // while a change of his is applied
  bool isAnswering_ = false;
};

}  // namespace Host
