#pragma once

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/door/MergePatch.h"

namespace Collect {

// The agent's door (orvane-publish(5)), from the side of one who publishes: it keeps what is to be served, and tells
// the agent what differs from what that has, one line at a time. An agent that is not there is tried again; one that
// was started anew is told all. What it refuses is named in the journal, left out, and tried again later.
class Door {
 public:
  struct Greeting {
    std::string publisher;
    std::vector<std::string> claims;
    std::chrono::seconds lease;
  };

  // The sockets are tried in their order. `onOpen` is called at each greeting that was taken.
  Door(Loop& loop, Journal& journal, std::vector<std::string> sockets, Greeting greeting, std::function<void()> onOpen);
  ~Door();
  Door(Door const&) = delete;
  Door& operator=(Door const&) = delete;

  // What stands at that path from now on; null for nothing. What is changed in one turn of the loop is one line.
  void contentIs(Path const& path, nlohmann::json content);
  nlohmann::json const& content() const { return wanted_; }
  // From the first call on the agent is told; nothing is connected before.
  void open();
  // There is nothing any more, of which the agent is not told before the next open().
  void beginAnew();

 private:
  enum class State { closed, greeting, setting, patching, alive, idle };

  void connect();
  void close(std::string const& why);
  void say(State state, nlohmann::json const& line);
  void onReadable();
  void answered(nlohmann::json const& answer);
  void refused(std::string const& reason, std::string const& place);
  void tell();
  void write();
  void tellAll();
  // Less what was refused.
  nlohmann::json offered(nlohmann::json what) const;

  Loop& loop_;
  Journal& journal_;
  std::vector<std::string> sockets_;
  Greeting greeting_;
  std::function<void()> onOpen_;

  nlohmann::json wanted_ = nlohmann::json::object();
  nlohmann::json said_ = nlohmann::json::object();  // what the agent holds
  nlohmann::json pending_;                          // the set or the patch on its way
  std::set<Path> changed_, telling_;                // where the two may differ; of those, what is on its way
  std::set<Path> refused_;                          // what is left out
  std::set<std::string> complaints_;                // said already

  State state_ = State::closed;
  bool isHeld_ = true;        // the agent is told nothing
  bool isAllToTell_ = false;  // and not what differs
  int fd_ = -1;
  std::string in_, out_;
  std::chrono::duration<double> pause_;
  Loop::Source readable_, writable_, retry_, flush_, pulse_;
};

}  // namespace Collect
