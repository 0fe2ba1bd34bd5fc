#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/UnixListener.h"
#include "runtime/kit/Types.h"

namespace Host {

// The notifications that a line may name: all that Orvane sends.
inline constexpr std::array notificationNames{"entConfigChange", "entStateOperEnabled", "entStateOperDisabled",
                                              "kelvraEntSensorAlarm"};

// What Orvane's lines in the agent's configuration say.
struct Settings {
  std::filesystem::path inventory;            // empty: no switch is described
  std::filesystem::path inspect;              // the socket of the inspection; empty: there is none
  std::filesystem::path publish;              // the socket of the publishers; empty: there is none
  SocketAccess publishAccess;                 // who may connect to it
  std::map<std::string, bool> notifications;  // the names that a line gives
  std::map<std::string, U32> traceLevels;     // handle to a mask of levels
  bool physicalNames = false;                 // whether entPhysicalName answers the component name
  unsigned supervisorSlot = 1;                // where the supervisor stands that the agent runs on

  // A notification that no line names is enabled.
  bool notificationEnabled(std::string const& name) const;
};

// Turns on the traces that are there while no line says otherwise: level 0, and those that the environment asks for in
// ORVANE_TRACE, "HANDLE/LEVELS ...". The tables are registered before any line is read.
void startTraces();

// The directives, in snmpd.conf for the module and in orvaned.conf for the daemon:
//
//   orvaneInventory FILE                        an absolute path
//   orvaneNotification NAME enable|disable      entConfigChange, entStateOperEnabled, entStateOperDisabled or
//                                               kelvraEntSensorAlarm
//   orvaneInspect SOCKET                        an absolute path
//   orvanePhysicalName component|none           what entPhysicalName answers; none without this line
//   orvanePublish SOCKET [MODE [GROUP]]         an absolute path, an octal mode, a name or number; 0600 without them
//   orvaneSupervisorSlot N                      1 to 64; 1 without this line
//   orvaneTrace HANDLE/LEVELS                   Orvane, Snmp or Zef; such as 0,8-9
//
// What is wrong with a line is told to the agent, as for any directive, and the line has no effect. The agent forgets
// all of them before it reads its configuration again.
class Directives {
 public:
  // Registers with the agent. There is one object, and it outlives the agent's use of it.
  // `read` is called when the agent has read the whole of its configuration.
  explicit Directives(std::function<void(Settings const&)> read);
  Directives(Directives const&) = delete;
  Directives& operator=(Directives const&) = delete;

  Settings const& settings() const { return settings_; }

 private:
  using Parser = void (Directives::*)(std::vector<std::string> const& words);
  struct Directive {
    char const* token;
    char const* help;
    Parser parse;
  };
  static Directive const table[];

  static void onLine(char const* token, char* line);
  static void onForget();
  static int onRead(int major, int minor, void* server, void* client);

  void inventory(std::vector<std::string> const& words);
  void notification(std::vector<std::string> const& words);
  void inspect(std::vector<std::string> const& words);
  void physicalName(std::vector<std::string> const& words);
  void publish(std::vector<std::string> const& words);
  void supervisorSlot(std::vector<std::string> const& words);
  void trace(std::vector<std::string> const& words);

  std::function<void(Settings const&)> read_;
  Settings settings_;
};

}  // namespace Host
