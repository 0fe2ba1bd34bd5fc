#include "platform/agent/TrapManager.h"

#include <memory>

#include "runtime/reflection/TypeBuilder.h"

namespace Snmp {

namespace {

TrapManager::Sender& theSender() {
  static TrapManager::Sender sender;
  return sender;
}

}  // namespace

Zef::ZefType const* TrapManager::_fwkType() {
  static Zef::ZefType const* const type = Zef::TypeBuilder<TrapManager>("Snmp::TrapManager", Zef::entityType()).done();
  return type;
}

void TrapManager::enqueueTrap(variable_list* list) {
  std::unique_ptr<variable_list, decltype(&snmp_free_varbind)> const owned(list, &snmp_free_varbind);
  if (theSender()) {
    theSender()(list);
  } else {
    send_v2trap(list);
  }
}

void TrapManager::senderIs(Sender sender) { theSender() = std::move(sender); }

}  // namespace Snmp
