#pragma once

#include <map>

#include "runtime/kit/Ptr.h"
#include "runtime/kit/String8.h"

// Which notifications the agent may send. Whoever runs the agent registers them by group and name, and says which are
// switched off.
namespace Snmp {

// Whether a notification is to be sent, and if it is not, why.
struct NotificationStatus {
  bool enabled = false;
  Zef::String8 why;

  Zef::String8 reason() const { return why; }
};

class Notification : public Zef::PtrInterface {
 public:
  bool enabled() const { return reason_.empty(); }
  // Why it is not sent; empty while it is.
  Zef::String8 const& reason() const { return reason_; }
  void reasonIs(Zef::String8 const& reason) { reason_ = reason; }

 private:
  Zef::String8 reason_;
};

// The notifications of one group, by name.
class NotificationConfig : public Zef::PtrInterface {
 public:
  // Null for a name that is not registered.
  Zef::Ptr<Notification> notification(Zef::String8 const& name) const;
  // Registers it, enabled, when it is not there yet.
  Zef::Ptr<Notification> notificationIs(Zef::String8 const& name);

 private:
  std::map<Zef::String8, Zef::Ptr<Notification>> notifications_;
};

class Config : public Zef::PtrInterface {
 public:
  // Null for a group that is not registered.
  Zef::Ptr<NotificationConfig> notificationConfig(Zef::String8 const& group) const;
  Zef::Ptr<NotificationConfig> notificationConfigIs(Zef::String8 const& group);
  void notificationConfigDel(Zef::String8 const& group) { groups_.erase(group); }
  // What is not registered is not sent.
  NotificationStatus notificationStatus(Zef::String8 const& group, Zef::String8 const& notification) const;

 private:
  std::map<Zef::String8, Zef::Ptr<NotificationConfig>> groups_;
};

// The agent's own, to register in.
Zef::Ptr<Config> const& theConfig();

}  // namespace Snmp

namespace SnmpUtil {

Zef::Ptr<Snmp::Config const> getSnmpConfig();

}  // namespace SnmpUtil
