#pragma once

#include <functional>

#include "platform/agent/NetSnmp.h"
#include "runtime/reflection/Entity.h"

namespace Snmp {

// Hands notifications to the agent, which sends each to every sink of its configuration (trap2sink, informsink,
// trapsess). The agent does not wait for an answer: informs are sent again, and given up, by its own timers.
class TrapManager : public Zef::Entity {
 public:
  using Sender = std::function<void(variable_list* list)>;

  using Entity::Entity;
  static Zef::ZefType const* _fwkType();
  Zef::ZefType const* fwkType() const override { return _fwkType(); }

  // Takes over a list of varbinds that begins with snmpTrapOID.0: it is freed here, whatever comes of it.
  void enqueueTrap(variable_list* list);
  // Who sends instead of the agent; null for the agent.
  static void senderIs(Sender sender);
};

}  // namespace Snmp
