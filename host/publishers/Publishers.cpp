#include "host/publishers/Publishers.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "host/Path.h"
#include "platform/store/Vorlin.h"
#include "platform/text/Printable.h"

namespace Host {

namespace {

using nlohmann::json;
using Zef::Ptr;
using Zef::PtrInterface;
using Zef::String8;

constexpr std::size_t mostPublishers = 256;  // whose words hold, here or away
constexpr std::size_t mostClaims = 4096;     // of one publisher
constexpr std::size_t longestName = 64;
constexpr unsigned fewMovements = 10;    // in a second
constexpr double usualLease = 60;        // seconds
constexpr double longestLease = 86'400;  // seconds
constexpr double rest = 1;               // seconds until something is tried again that failed

[[noreturn]] void refuse(char const* place, std::string const& reason) { throw InventoryError(place, reason); }

std::string const& fileName() {
  static std::string const name = "the inventory file";  // no publisher's name has a space
  return name;
}

std::string nameOf(Node const& node) {
  auto const* const text = node.get<String8>();
  std::string name = text == nullptr ? "" : text->charPtr();
  bool const isFit = !name.empty() && name.size() <= longestName && std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::string_view("._:@-").find(c) != std::string::npos;
  });
  if (!isFit) refuse("publisher", "a name of 1 to 64 letters, digits and ._:@- is needed");
  return name;
}

double leaseOf(Node const& node) {
  auto const* const whole = node.get<std::int64_t>();
  auto const* const real = node.get<double>();
  double const seconds = whole != nullptr ? static_cast<double>(*whole) : real != nullptr ? *real : 0;
  if (!(seconds > 0 && seconds <= longestLease)) refuse("lease", "seconds above 0, up to 86400, are needed");
  return seconds;
}

bool withdrawsPartsOf(Node const& node) {
  auto const* const text = node.get<String8>();
  if (text == nullptr || !(*text == "keep" || *text == "withdraw")) refuse("parts", "keep or withdraw is needed");
  return *text == "withdraw";
}

// A text as JSON has it. Of the library's values only a text lets go of itself without memory.
std::string asJson(std::string const& text) { return json(text).dump(); }

// Once more, where it fails: what is to be told has happened.
template <class Call>
std::string twice(Call const& call) {
  try {
    return call();
  } catch (std::bad_alloc const&) {
    return call();
  }
}

// Does what cannot be refused any more. What it cannot do twice, the process does not outlive.
template <class Call>
void must(Log const& log, Call const& call) {
  try {
    call();
  } catch (...) {
    try {
      call();
    } catch (...) {
      log(Severity::error, "what is published cannot be served, and the agent ends: " + reasonCaught());
      std::abort();
    }
  }
}

}  // namespace

Publishers::Publishers(EntityTypes const& types, Bootstrap& system, Ptr<Zef::Clock> const& clock, Log log)
    : types_(types),
      system_(system),
      clock_(clock),
      log_(std::move(log)),
      refusals_(clock, 1,
                [this](std::string const& name, unsigned leftOut) {
                  log_(Severity::warning, "refused publisher " + name + " " + std::to_string(leftOut) + " times more");
                }),
      movements_(clock, fewMovements,
                 [this](std::string const& what, unsigned leftOut) {
                   log_(Severity::info, what + " came and left " + std::to_string(leftOut) + " times more");
                 }),
      timer_(Zef::make<Timer>(clock, [this] { endThoseSilent(); })),
      claims_(types) {
  system_.listenerIs(*this);
}

Publishers::~Publishers() { timer_->isRegisteredNotifieeIs(false); }

// The file.

std::vector<std::string> Publishers::fileIs(std::string_view text) {
  Node const document = readDocument(text);
  if (file_ == nullptr) {
    file_ = &publishers_.emplace_back();
    file_->name_ = fileName();
    file_->withdrawsParts = true;
    file_->isHere = true;
  }
  ++file_->messages;
  auto const before = file_->claims;
  try {
    for (Member const& member : membersOf(document, Place())) {
      if (!types_.contains(member.name.charPtr())) continue;  // which the reader refuses
      Claim const claim = claims_.claimOf(stepOf(member.name.view()));
      if (claims_.ownerAt(claim.steps) != nullptr) continue;
      file_->claims.push_back(claim);
      claims_.ownerIs(claim, *file_);
    }
    auto leftOut = say(*file_, Saying::Word::file, document);
    std::erase_if(file_->claims, [&](Claim const& claim) {
      if (memberOf(document, claim.steps.front()) != nullptr) return false;
      claims_.ownerDel(claim.steps);
      return true;
    });
    return leftOut;
  } catch (...) {
    for (Claim const& claim : file_->claims) {
      if (std::find(before.begin(), before.end(), claim) == before.end()) claims_.ownerDel(claim.steps);
    }
    file_->claims = before;
    ++file_->refusals;
    file_->lastRefusal = reasonCaught();
    throw;
  }
}

void Publishers::fileDel() {
  if (file_ == nullptr) return;
  must(log_, [this] { end(*file_); });
  file_ = nullptr;
}

void Publishers::endAll() {
  must(log_, [this] {
    while (!publishers_.empty()) {
      publishers_.front().withdrawsParts = true;
      end(publishers_.front());
    }
  });
  file_ = nullptr;
}

void Publishers::rebuild() {
  must(log_, [this] { system_.rebuild(); });
}

// The lines.

void Publishers::came(int client, Peer const& peer) { clients_[client].peer = peer; }

std::string Publishers::answer(int client, std::string_view line) {
  Client& who = clients_.at(client);
  struct Answering {
    explicit Answering(bool& flag) : flag_(flag) { flag_ = true; }
    ~Answering() { flag_ = false; }
    bool& flag_;
  } const answering(isAnswering_);
  auto const hear = [&] {
    if (who.publisher == nullptr) return;
    ++who.publisher->messages;
    who.publisher->heard = clock_->time();
  };
  Answer answer;
  try {
    hear();
    answer = take(who, readDocument(line));
  } catch (InventoryError const& error) {
    return twice([&] { return refusal(who, error.place(), error.reason()); });
  } catch (...) {
    return twice([&] { return refusal(who, "", reasonCaught()); });
  }
  return twice([&] {
    std::string waits;
    for (std::string const& place : answer.waits) waits += (waits.empty() ? ",\"waits\":[" : ",") + asJson(place);
    if (!waits.empty()) waits += "]";
    return (answer.back ? R"({"ok":true,"back":true)" : R"({"ok":true)") + waits + "}";
  });
}

std::string Publishers::refused(int client, std::string const& reason) {
  return refusal(clients_.at(client), "", reason);
}

std::string Publishers::refusal(Client& client, std::string place, std::string const& reason) {
  // The content of a message begins behind its word.
  for (std::string_view const word : {"set.", "patch."}) {
    if (place.starts_with(word)) place.erase(0, word.size());
  }
  std::string const what = (place.empty() ? "" : place + ": ") + reason;
  if (client.publisher != nullptr) {
    ++client.publisher->refusals;
    client.publisher->lastRefusal = what;
  }
  std::string const name = client.publisher == nullptr ? "without a name" : client.publisher->name();
  if (refusals_.passes(name)) log_(Severity::warning, "refused publisher " + name + ": " + what);
  return "{\"error\":" + asJson(reason) + (place.empty() ? "" : ",\"place\":" + asJson(place)) + "}";
}

void Publishers::left(int client) {
  Client const gone = clients_.at(client);
  clients_.erase(client);
  if (gone.publisher == nullptr) return;
  Publisher& publisher = *gone.publisher;
  publisher.isHere = false;
  publisher.heard = clock_->time();
  timer_->withinIs(publisher.lease);
  logMovement("publisher " + publisher.name() + " has left; its word holds for " +
              Zef::format("%g", publisher.lease).charPtr() + " s");
}

void Publishers::logMovement(std::string const& line) {
  try {
    if (movements_.passes("publishers")) log_(Severity::info, line);
  } catch (std::bad_alloc const&) {  // it has happened, told or not
  }
}

Publishers::Answer Publishers::take(Client& client, Node const& message) {
  auto const& members = membersOf(message, Place());
  if (memberOf(message, "publisher") != nullptr) return greet(client, message);
  if (members.size() != 1) refuse("", "one of publisher, set, patch, alive and bye is needed");
  String8 const& word = members.front().name;
  Node const& content = members.front().node;
  bool const isSet = word == "set";
  bool const isSign = word == "alive" || word == "bye";
  if (!isSet && !isSign && !(word == "patch")) refuse(word.charPtr(), "no such word");
  if (client.publisher == nullptr) {
    refuse("", client.wasGreeted ? "its lease is over: greet again" : "a greeting is needed first: publisher, claims");
  }
  if (isSign) {
    auto const* const flag = content.get<bool>();
    if (flag == nullptr || !*flag) refuse(word.charPtr(), "true is needed");
  }
  Publisher& publisher = *client.publisher;
  if (word == "alive") return {};
  if (word == "bye") {
    logMovement("publisher " + publisher.name() + " withdraws what it said");
    end(publisher);
    client.wasGreeted = false;
    return {};
  }
  say(publisher, isSet ? Saying::Word::set : Saying::Word::patch, content);
  return {false, waitsOf(publisher)};
}

Publishers::Answer Publishers::greet(Client& client, Node const& message) {
  if (client.publisher != nullptr) refuse("publisher", "it has greeted already, as " + client.publisher->name());
  Publisher said;
  std::vector<Claim> claims;
  said.lease = usualLease;
  for (Member const& member : membersOf(message, Place())) {
    if (member.name == "publisher") {
      said.name_ = nameOf(member.node);
    } else if (member.name == "lease") {
      said.lease = leaseOf(member.node);
    } else if (member.name == "parts") {
      said.withdrawsParts = withdrawsPartsOf(member.node);
    } else if (member.name == "claims") {
      auto const* const paths = member.node.get<List>();
      if (paths == nullptr || paths->empty() || paths->size() > mostClaims)
        refuse("claims", "a list of 1 to 4096 paths is needed");
      for (Node const& path : *paths) {
        auto const* const text = path.get<String8>();
        if (text == nullptr) refuse("claims", std::string("a path is needed, not ") + kindOf(path));
        claims.push_back(claims_.claimOf(text->view()));
      }
    } else {
      refuse(member.name.charPtr(), "no such word in a greeting");
    }
  }
  if (claims.empty()) refuse("claims", "a list of paths is needed");
  Publisher* publisher = publisherOf(said.name());
  if (publisher != nullptr && publisher->isHere)
    refuse("publisher", said.name() + " is here already, as process " + std::to_string(publisher->peer.pid));
  if (publisher != nullptr && publisher->peer.uid != client.peer.uid)
    refuse("publisher", said.name() + " is user " + std::to_string(publisher->peer.uid) + "'s until its lease is over");
  if (publisher == nullptr && publishers_.size() >= mostPublishers)
    refuse("publisher", "256 publishers are there already");
  requireFree(publisher, claims);

  Answer answer{publisher != nullptr, {}};
  std::string paths;
  for (Claim const& claim : claims) paths += (paths.empty() ? "" : ", ") + Claims::pathOf(claim.steps);
  std::string const line = "publisher " + said.name() + (answer.back ? " is back" : " has come") + " (user " +
                           std::to_string(client.peer.uid) + ", process " + std::to_string(client.peer.pid) +
                           "), for " + Text::printable(paths);
  take(publisher, said, std::move(claims));
  publisher->peer = client.peer;
  publisher->lease = said.lease;
  publisher->withdrawsParts = said.withdrawsParts;
  publisher->heard = clock_->time();
  publisher->isHere = true;
  ++publisher->messages;
  client.publisher = publisher;
  client.wasGreeted = true;
  timer_->withinIs(publisher->lease);
  logMovement(line);
  return answer;
}

void Publishers::take(Publisher*& publisher, Publisher const& said, std::vector<Claim> claims) {
  bool const isNew = publisher == nullptr;
  std::vector<Claim> dropped;
  if (!isNew) {
    std::set<Steps> kept;
    for (Claim const& claim : claims) kept.insert(claim.steps);
    std::copy_if(publisher->claims.begin(), publisher->claims.end(), std::back_inserter(dropped),
                 [&kept](Claim const& claim) { return !kept.contains(claim.steps); });
  }
  if (isNew) publisher = &publishers_.emplace_back(said);
  std::erase_if(claims, [&](Claim const& claim) { return claims_.ownerAt(claim.steps) == publisher; });
  try {
    publisher->claims.reserve(publisher->claims.size() + claims.size());
    for (Claim const& claim : claims) {
      Claims::Node& node = claims_.ownerIs(claim, *publisher);
      if (ownerOf(system_.inputs(), claim)) continue;
      waitsIs(node, true);
      takeUpWaiting(node);
    }
    if (!dropped.empty()) withdraw(*publisher, dropped, publisher->withdrawsParts);
  } catch (...) {
    // None of it counts.
    for (Claim const& claim : claims) {
      if (claims_.ownerAt(claim.steps) != publisher) continue;
      waitsIs(*claims_.at(claim.steps), false);
      claims_.ownerDel(claim.steps);
    }
    if (isNew) publishers_.pop_back();
    throw;
  }
  for (Claim& claim : claims) {
    if (file_ != nullptr) std::erase(file_->claims, claim);
    publisher->claims.push_back(std::move(claim));
  }
}

Publishers::Publisher* Publishers::publisherOf(std::string const& name) {
  auto const found = std::find_if(publishers_.begin(), publishers_.end(),
                                  [&](Publisher const& publisher) { return publisher.name() == name; });
  return found == publishers_.end() ? nullptr : &*found;
}

void Publishers::requireFree(Publisher const* publisher, std::vector<Claim> const& claims) const {
  std::set<Steps> own;
  for (Claim const& claim : claims) {
    std::string const path = Claims::pathOf(claim.steps);
    if (!own.insert(claim.steps).second) refuse(path.c_str(), "it stands there twice");
    auto const* const owner = claims_.ownerAt(claim.steps);
    if (owner != nullptr && owner != publisher && owner != file_)
      refuse(path.c_str(), owner->name() + " claims it already");
  }
  for (Steps const& steps : own) {
    for (std::size_t size = 1; size < steps.size(); ++size) {
      Steps const above(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(size));
      if (own.contains(above)) refuse(Claims::pathOf(steps).c_str(), "it lies within " + Claims::pathOf(above));
    }
  }
}

// The end of a word.

void Publishers::withdraw(Publisher& publisher, std::vector<Claim> const& claims, bool parts) {
  std::vector<Claim> ended;
  std::copy_if(claims.begin(), claims.end(), std::back_inserter(ended),
               [parts](Claim const& claim) { return parts || !claim.isPart; });
  Node const nothing{Members()};
  Change const change = readChange(
      nothing, types_, {Saying::Word::set, claims_, publisher, ended, system_.inputs(), nullptr, system_.changes()});
  auto merge = system_.planned(*change.wanted, change.scope);
  publish(change, merge, &publisher);
  for (Claim const& claim : claims) {
    waitsIs(*claims_.at(claim.steps), false);
    claims_.ownerDel(claim.steps);
  }
  std::erase_if(publisher.claims, [&](Claim const& claim) { return claims_.ownerAt(claim.steps) != &publisher; });
  settle();
}

void Publishers::end(Publisher& publisher) {
  withdraw(publisher, std::vector(publisher.claims), publisher.withdrawsParts);
  for (auto& [number, client] : clients_) {
    if (client.publisher == &publisher) client.publisher = nullptr;
  }
  publishers_.remove_if([&](Publisher const& each) { return &each == &publisher; });
}

void Publishers::endThoseSilent() {
  // What was said meanwhile has not been read.
  if (isAnswering_) {
    timer_->withinIs(rest);
    return;
  }
  double const now = clock_->time();
  for (auto at = publishers_.begin(); at != publishers_.end();) {
    Publisher& publisher = *at++;
    if (&publisher == file_) continue;
    double const left = publisher.heard + publisher.lease - now;
    if (left > 0) {
      timer_->withinIs(left);
      continue;
    }
    log_(Severity::warning, "publisher " + publisher.name() + " has been silent for " +
                                Zef::format("%g", publisher.lease).charPtr() + " s: what it said is withdrawn");
    try {
      end(publisher);
    } catch (...) {
      log_(Severity::error, "publisher " + publisher.name() + ": " + reasonCaught());
      timer_->withinIs(rest);
    }
  }
}

// What is said.

std::vector<std::string> Publishers::say(Publisher const& publisher, Saying::Word word, Node const& content) {
  std::vector<Waiting*> waiting;
  // What waits though its place is there was in the way of something, and may be so no more.
  std::vector<Claims::Node*> tried;
  forEachWaiting(publisher, [&](Waiting const& each) {
    if (word != Saying::Word::patch && ownerOf(system_.inputs(), each.node->claim)) {
      tried.push_back(each.node);
    } else {
      waiting.push_back(&waitingOf(*each.node));
    }
  });
  for (Claims::Node* node : tried) node->waits = false;
  try {
    Change const change = readChange(
        content, types_, {word, claims_, publisher, publisher.claims, system_.inputs(), nullptr, system_.changes()});
    refer(change, system_.inputs());
    std::vector<Change> later;
    for (Waiting const* each : waiting) {
      ownerIs(each->inputs, each->node->claim);
      later.push_back(readChange(
          content, types_, {word, claims_, publisher, publisher.claims, each->inputs, each->node, system_.changes()}));
      Names().check(Vorlin::Merge(*each->inputs, *later.back().wanted, later.back().scope));
    }
    auto merge = system_.planned(*change.wanted, change.scope);
    requireReferences(change, merge, system_.inputs());

    // From here on it is taken.
    must(log_, [&] {
      for (std::size_t i = 0; i != waiting.size(); ++i) {
        Vorlin::Merge(*waiting[i]->inputs, *later[i].wanted, later[i].scope).make();
        waiting[i]->isHeldBack = false;
        mayComeIn_ = true;
      }
    });
    publish(change, merge, &publisher);
    must(log_, [&] {
      for (Claims::Node* node : tried) waitsIs(*node, false);
      if (word != Saying::Word::patch) {
        for (Claim const& claim : publisher.claims) {
          references_.forget(claim.steps, [&](Steps const& from) { return claims_.speakerAt(from) == &publisher; });
        }
      }
      for (auto const& reference : change.references)
        references_.referenceIs({reference.from, reference.attribute, reference.to});
    });
    settle();
    return change.leftOut;
  } catch (...) {
    for (Claims::Node* node : tried) node->waits = true;
    throw;
  }
}

void Publishers::publish(Change const& change, Vorlin::Merge& merge, Claims::Owner const* speaker) {
  if (merge.isNothing()) return;
  speaker_ = speaker;
  std::string trouble;
  try {
    trouble = system_.publish(merge, *change.wanted, change.scope);
  } catch (...) {
    log_(Severity::error, "what is published cannot be served, and the agent ends: " + reasonCaught());
    std::abort();
  }
  speaker_ = nullptr;
  if (trouble.empty()) return;
  log_(Severity::warning, "all was built anew: " + Text::printable(trouble));
  references_.touchAll();
}

void Publishers::settle() {
  must(log_, [this] {
    try {
      do {
        mendReferences();
      } while (bringInWhatWaited());
    } catch (...) {
      references_.touchAll();
      throw;
    }
  });
}

void Publishers::mendReferences() {
  for (auto const& reference : references_.takeTouched()) {
    Change change{Zef::make<Zef::Dir>("input"), Vorlin::Scope::none(), {}, {}};
    Vorlin::Scope* meant = nullptr;
    auto const from = change.passTo(system_.inputs(), reference.from, meant);
    auto const to = Vorlin::find(system_.inputs(), reference.to);
    references_.looseIs(reference, !to);
    if (!from) continue;
    try {
      reference.attribute->set(*from, to ? Zef::Value(to) : Zef::Value());
    } catch (Zef::RangeException const&) {  // what has come is of another kind
      reference.attribute->set(*from, {});
    }
    *meant = {true, false, {}, {}};
    auto merge = system_.planned(*change.wanted, change.scope);
    publish(change, merge, nullptr);
  }
}

bool Publishers::bringInWhatWaited() {
  bool const isAnyNameFree = std::exchange(havePartsChanged_, false);
  if (!std::exchange(mayComeIn_, false) && !isAnyNameFree) return false;
  std::vector<Claims::Node*> ready;
  for (auto const& [owner, claims] : waits_) {
    for (auto const& [steps, each] : claims) {
      if ((isAnyNameFree || !each.isHeldBack) && ownerOf(system_.inputs(), each.node->claim))
        ready.push_back(each.node);
    }
  }
  // One may be what another one stands in.
  return std::count_if(ready.begin(), ready.end(), [this](Claims::Node* node) { return bringIn(waitingOf(*node)); }) !=
         0;
}

bool Publishers::bringIn(Waiting& waiting) {
  Claims::Node& node = *waiting.node;
  if (isAnythingIn(waiting)) {
    Change change{Zef::make<Zef::Dir>("input"), Vorlin::Scope::none(), {}, {}};
    Vorlin::Scope* meant = nullptr;
    Steps const way(node.claim.steps.begin(), node.claim.steps.begin() + static_cast<std::ptrdiff_t>(node.claim.owner));
    auto const from = ownerOf(waiting.inputs, node.claim);
    auto const to = change.passTo(system_.inputs(), way, meant);
    auto const scope = scopeOf(*from, node.claim);
    try {
      Vorlin::Merge(*to, *from, scope).make();
      *meant = scope;
      auto merge = system_.planned(*change.wanted, change.scope);
      publish(change, merge, nullptr);
    } catch (InventoryError const& error) {
      if (!waiting.isHeldBack)
        log_(Severity::warning,
             node.owner->name() + " goes on waiting at " + Claims::placeOf(node.claim.steps) + ": " + error.what());
      waiting.isHeldBack = true;
      return false;
    }
  }
  waitsIs(node, false);
  return true;
}

// What waits.

void Publishers::waitsIs(Claims::Node& node, bool waits) {
  if (waits) {
    waits_[node.owner].try_emplace(node.claim.steps, Waiting{&node, Zef::make<Zef::Dir>("input")});
  } else if (auto const found = waits_.find(node.owner); found != waits_.end()) {
    found->second.erase(node.claim.steps);
    if (found->second.empty()) waits_.erase(found);
  }
  node.waits = waits;
}

template <class Call>
void Publishers::forEachWaiting(Claims::Owner const& owner, Call const& call) const {
  auto const found = waits_.find(&owner);
  if (found == waits_.end()) return;
  for (auto const& [steps, each] : found->second) call(each);
}

void Publishers::takeUpWaiting(Claims::Node& node) {
  Claim const& claim = node.claim;
  Claims::Node const* outer = nullptr;
  for (Steps above = claim.steps; above.size() > 1 && (outer == nullptr || outer->owner == nullptr);) {
    above.pop_back();
    outer = claims_.at(above);
  }
  if (outer == nullptr || outer->owner == nullptr || !outer->waits) return;
  auto const from = ownerOf(waitingOf(*outer).inputs, claim);
  if (!from) return;
  auto const scope = scopeOf(*from, claim);
  Vorlin::Merge(ownerIs(waitingOf(node).inputs, claim), *from, scope).make();
  for (auto const& [slot, below] : scope.slots) Vorlin::atDel(*from, slot);
}

std::vector<std::string> Publishers::waitsOf(Publisher const& publisher) const {
  std::vector<std::string> places;
  forEachWaiting(publisher, [&](Waiting const& each) {
    if (isAnythingIn(each)) places.push_back(Claims::placeOf(each.node->claim.steps));
  });
  return places;
}

Ptr<PtrInterface> Publishers::ownerOf(Ptr<Zef::Dir> const& inputs, Claim const& claim) {
  return Vorlin::find(inputs, std::span(claim.steps).first(claim.owner));
}

Vorlin::Scope Publishers::scopeOf(PtrInterface const& owner, Claim const& claim) const {
  auto scope = Vorlin::Scope::none();
  auto const enter = [&](Vorlin::Slot const& slot, Claims::Node const* node) {
    auto const object = Vorlin::at(owner, slot);
    scope.slots[slot] = object ? allBut(*object, node, nullptr) : Vorlin::Scope();
  };
  Claims::Node const* const node = claims_.at(claim.steps);
  std::span<String8 const> const last = std::span(claim.steps).subspan(claim.owner);
  auto const* const attribute =
      dynamic_cast<Zef::Dir const*>(&owner) != nullptr ? nullptr : owner.fwkType()->attr(Zef::Name(last.front()));
  if (claim.isCollection) {
    for (String8 const& key : attribute->keys(owner)) {
      Claims::Node const* const member = node->at(key);
      if (member == nullptr || member->owner == nullptr) enter({attribute, key}, member);
    }
  } else if (attribute == nullptr) {
    enter({nullptr, last.front()}, node);
  } else {
    enter({attribute, last.size() == 1 ? String8() : last[1]}, node);
  }
  return scope;
}

PtrInterface& Publishers::ownerIs(Ptr<Zef::Dir> const& inputs, Claim const& claim) const {
  Ptr<PtrInterface> object = inputs;
  std::string entity;
  for (std::size_t at = 0; at != claim.owner;) {
    String8 const& step = claim.steps[at++];
    if (dynamic_cast<Zef::Dir const*>(object.get()) != nullptr) {
      entity += (entity.empty() ? "" : "/") + std::string(step.view());
      object = Vorlin::atIs(*object, {nullptr, step}, *types_.at(entity));
      continue;
    }
    auto const* const attribute = object->fwkType()->attr(Zef::Name(step));
    bool const isCollection = attribute->kind() == Zef::ZefAttr::Kind::collection;
    object = Vorlin::atIs(*object, {attribute, isCollection ? claim.steps[at++] : String8()}, *attribute->objectType());
  }
  return *object;
}

bool Publishers::isAnythingIn(Waiting const& waiting) const {
  auto const owner = ownerOf(waiting.inputs, waiting.node->claim);
  if (!owner) return false;
  auto const scope = scopeOf(*owner, waiting.node->claim);
  return std::any_of(scope.slots.begin(), scope.slots.end(),
                     [&](auto const& slot) { return static_cast<bool>(Vorlin::at(*owner, slot.first)); });
}

// What happens to the live objects.

void Publishers::going(PtrInterface const& object) {
  Steps const steps = stepsTo(object);
  references_.going(steps);
  havePartsChanged_ = true;
  Claims::Node* const top = claims_.at(steps);
  if (top == nullptr) return;
  std::function<void(Claims::Node&)> const keep = [&](Claims::Node& node) {
    if (node.owner != nullptr && !node.waits) {
      // It waits when all of it is kept, so that this can be done again when it fails.
      auto const kept = Zef::make<Zef::Dir>("input");
      auto const from = node.owner == speaker_ ? nullptr : ownerOf(system_.inputs(), node.claim);
      if (from) Vorlin::Merge(ownerIs(kept, node.claim), *from, scopeOf(*from, node.claim)).make();
      waitsIs(node, true);
      waitingOf(node).inputs = kept;
    }
    for (auto const& [step, below] : node.below) keep(*below);
  };
  for (auto const& [step, below] : top->below) keep(*below);
}

void Publishers::staying(PtrInterface const& live, PtrInterface const& /*wanted*/) {
  if (dynamic_cast<EntityMib::PhysicalEntity const*>(&live) != nullptr) havePartsChanged_ = true;
}

void Publishers::came(PtrInterface const& object) {
  mayComeIn_ = mayComeIn_ || dynamic_cast<EntityMib::PhysicalEntity const*>(&object) != nullptr;
  if (references_.areAnyLoose()) references_.came(stepsTo(object));
}

Steps Publishers::stepsTo(PtrInterface const& object) const {
  Steps steps;
  if (auto const* const entity = dynamic_cast<Zef::Entity const*>(&object))
    Vorlin::stepsTo(*entity, system_.inputs().get(), steps);
  return steps;
}

// Who is there.

std::vector<Publishers::Described> Publishers::described() const {
  std::function<std::size_t(PtrInterface const&)> const countOf = [&](PtrInterface const& object) {
    std::size_t count = 1;
    if (auto const* const dir = dynamic_cast<Zef::Dir const*>(&object)) {
      for (auto const& entity : dir->entities()) count += countOf(*entity);
    }
    Zef::forEachChild(object,
                      [&](PtrInterface& child, Zef::ZefAttr const&, String8 const&) { count += countOf(child); });
    return count;
  };
  std::vector<Described> all;
  for (Publisher const& publisher : publishers_) {
    Described each{publisher.name(),
                   publisher.isHere ? "here" : "away",
                   {},
                   publisher.lease,
                   0,
                   publisher.messages,
                   publisher.refusals,
                   publisher.lastRefusal,
                   0,
                   {}};
    if (&publisher != file_) each.leaseLeft = std::max(0.0, publisher.heard + publisher.lease - clock_->time());
    for (Claim const& claim : publisher.claims) {
      each.claims.push_back(Claims::pathOf(claim.steps));
      auto const owner = ownerOf(system_.inputs(), claim);
      if (!owner) continue;
      for (auto const& [slot, scope] : scopeOf(*owner, claim).slots) {
        auto const object = Vorlin::at(*owner, slot);
        // An input is no part and no record.
        if (object) each.rows += countOf(*object) - (slot.attribute == nullptr && claim.owner == 0 ? 1 : 0);
      }
    }
    each.waits = waitsOf(publisher);
    all.push_back(each);
  }
  std::sort(all.begin(), all.end(), [](Described const& one, Described const& other) { return one.name < other.name; });
  return all;
}

}  // namespace Host
