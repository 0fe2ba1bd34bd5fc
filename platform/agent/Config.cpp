#include "platform/agent/Config.h"

namespace Snmp {

namespace {

template <class T>
Zef::Ptr<T> find(std::map<Zef::String8, Zef::Ptr<T>> const& map, Zef::String8 const& name) {
  auto const found = map.find(name);
  return found == map.end() ? nullptr : found->second;
}

template <class T>
Zef::Ptr<T> findOrMake(std::map<Zef::String8, Zef::Ptr<T>>& map, Zef::String8 const& name) {
  Zef::Ptr<T>& entry = map[name];
  if (!entry) entry = Zef::make<T>();
  return entry;
}

}  // namespace

Zef::Ptr<Notification> NotificationConfig::notification(Zef::String8 const& name) const {
  return find(notifications_, name);
}

Zef::Ptr<Notification> NotificationConfig::notificationIs(Zef::String8 const& name) {
  return findOrMake(notifications_, name);
}

Zef::Ptr<NotificationConfig> Config::notificationConfig(Zef::String8 const& group) const {
  return find(groups_, group);
}

Zef::Ptr<NotificationConfig> Config::notificationConfigIs(Zef::String8 const& group) {
  return findOrMake(groups_, group);
}

NotificationStatus Config::notificationStatus(Zef::String8 const& group, Zef::String8 const& notification) const {
  auto const registered = notificationConfig(group);
  auto const found = registered ? registered->notification(notification) : nullptr;
  if (!found) return {false, group + "/" + notification + " is not registered"};
  return {found->enabled(), found->reason()};
}

Zef::Ptr<Config> const& theConfig() {
  static auto const config = Zef::make<Config>();
  return config;
}

}  // namespace Snmp

namespace SnmpUtil {

Zef::Ptr<Snmp::Config const> getSnmpConfig() { return Snmp::theConfig(); }

}  // namespace SnmpUtil
