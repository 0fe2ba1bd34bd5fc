#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Bridge.h"
#include "host/Timer.h"
#include "platform/agent/NetSnmp.h"

namespace Host {

// The session with the master agent: opened at the configured address, told of all that is registered in this process,
// watched, and begun anew when it ends, after a second at first and then ever less often. It lives in the agent's loop
// and asks one thing at a time. What is asked is answered in a later turn of the loop, or the session ends; so a master
// can be as slow or sick as it likes, and nothing else waits for it.
class Master {
 public:
  // Takes whether the master is there: whether it has answered all registrations.
  using Changed = std::function<void(bool there)>;

  // The first attempt is due at once.
  explicit Master(Changed changed);
  Master(Master const&) = delete;
  Master& operator=(Master const&) = delete;

  // The configuration was read anew: while there is no session, the next attempt is due at once.
  void retry();
  // Takes leave of the master for good. The library must have forgotten the session before this object goes.
  void leave();

 private:
  struct Registration {
    std::vector<oid> root;
    int priority;
    int timeout;
    bool isInstance;
  };

  static int onSession(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu, void* master);
  static int onAnswer(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu, void* master);
  static int onRegistration(int major, int minor, void* registration, void* master);

  void due();
  void dueIn(double seconds);
  void attempt();
  void ask(int command, std::function<void(netsnmp_pdu&)> const& fill = nullptr);
  void answered(netsnmp_pdu const& answer);
  void opened(netsnmp_pdu const& answer);
  void registerNext();
  void registered();
  void lost(std::string_view reason);
  void end();

  Changed changed_;
  Zef::Ptr<Zef::Clock> clock_;
  ClockAlarm alarm_;
  Zef::Ptr<Timer> timer_;  // the next attempt, the end of the patience for an answer, or the next look at the master
  netsnmp_session* session_ = nullptr;
  netsnmp_transport* transport_ = nullptr;  // the session's
  std::vector<Registration> wanted_;        // not taken yet
  std::size_t next_ = 0;                    // of these
  int asked_ = 0;                           // the command that an answer is waited for, or 0
  bool there_ = false;
  bool heard_ = false;  // something of it since the last look
  double pause_;        // seconds to the next attempt
  std::string said_;    // why there is none
};

}  // namespace Host
