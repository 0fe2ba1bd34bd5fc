#include "mib/Notifications.h"

#include <algorithm>
#include <array>
#include <span>

#include "mib/Conversions.h"
#include "mib/Trace.h"
#include "platform/agent/Config.h"
#include "platform/agent/Conversion.h"
#include "platform/agent/TrapManager.h"
#include "runtime/kit/Assert.h"
#include "runtime/reflection/Type.h"

namespace Snmp {

namespace {

constexpr char const* group = "entity";

constexpr oid snmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
constexpr oid entPhysicalDescr[] = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 2};
constexpr oid entPhySensorValue[] = {1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 4};
constexpr oid entStateAdmin[] = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1, 2};
constexpr oid entStateAlarm[] = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1, 5};

struct Notice {
  char const* name;
  std::span<oid const> identity;
};

constexpr oid entConfigChangeOid[] = {1, 3, 6, 1, 2, 1, 47, 2, 0, 1};
constexpr oid entStateOperEnabledOid[] = {1, 3, 6, 1, 2, 1, 131, 0, 1};
constexpr oid entStateOperDisabledOid[] = {1, 3, 6, 1, 2, 1, 131, 0, 2};
constexpr oid kelvraEntSensorAlarmOid[] = {1, 3, 6, 1, 4, 1, 59871, 3, 12, 0, 1};

constexpr Notice entConfigChange{"entConfigChange", entConfigChangeOid};
constexpr Notice entStateOperEnabled{"entStateOperEnabled", entStateOperEnabledOid};
constexpr Notice entStateOperDisabled{"entStateOperDisabled", entStateOperDisabledOid};
constexpr Notice kelvraEntSensorAlarm{"kelvraEntSensorAlarm", kelvraEntSensorAlarmOid};

// Whether the agent's configuration lets the notification out.
bool isEnabled(Notice const& notice) {
  auto const config = SnmpUtil::getSnmpConfig();
  auto const registered = config->notificationConfig(group);
  // Log readers match the texts of these two failures; they are no conditions of the code here.
  if (!registered) {
    Zef::assertionFailed(
        R"(snmpConfig->notificationConfig( "entity" ) && "You need to register entity traps from your VorlinPlugin")",
        __FILE__, __LINE__, __PRETTY_FUNCTION__);
  }
  if (!registered->notification(notice.name)) {
    Zef::assertionFailed(Zef::format("snmpConfig->notificationConfig( \"entity\" )->notification( \"%s\" ) && "
                                     "\"You need to register %s traps from your VorlinPlugin\"",
                                     notice.name, notice.name)
                             .charPtr(),
                         __FILE__, __LINE__, __PRETTY_FUNCTION__);
  }
  NotificationStatus const status = config->notificationStatus(group, notice.name);
  if (!status.enabled) {
    ZEF_TRACE(Mib::traceHandle(), 4) << notice.name << " notification not sent. notificationStatus returned "
                                     << status.reason();
  }
  return status.enabled;
}

// The varbinds of one notification on their way to the agent.
class Varbinds {
 public:
  explicit Varbinds(Notice const& notice) : notice_(notice) {
    snmp_varlist_add_variable(&list_, snmpTrapOid, std::size(snmpTrapOid), ASN_OBJECT_ID, notice.identity.data(),
                              notice.identity.size_bytes());
  }

  // An instance of a column, with the value as the functor converts it. What is longer than `capacity` is cut.
  template <class Convert, class Value>
  Varbinds& add(std::span<oid const> column, U32 index, u_char type, Convert convert, Value const& value,
                int capacity = bufferSize) {
    std::array<oid, maxSubidentifiers> instance{};
    std::copy(column.begin(), column.end(), instance.begin());
    int const length =
        AppendToOid(instance.data(), static_cast<int>(column.size()), sizeof instance, static_cast<int>(index));
    std::array<unsigned char, bufferSize> buffer{};
    int const count = std::min(convert(value, buffer.data(), capacity), capacity);
    snmp_varlist_add_variable(&list_, instance.data(), static_cast<std::size_t>(length), type, buffer.data(),
                              static_cast<std::size_t>(count));
    return *this;
  }

  // The list belongs to the trap manager from here on.
  void enqueue() {
    ZEF_TRACE(Mib::traceHandle(), 4) << "Adding " << notice_.name << " notification to trap queue";
    Zef::Ptr<Zef::Entity> manager = Zef::Entity::singletonExists(Zef::typeName<TrapManager>());
    if (!manager) manager = Zef::Entity::singletonIs(TrapManager::_fwkType());
    static_cast<TrapManager&>(*manager).enqueueTrap(list_);
  }

 private:
  static constexpr int bufferSize = 1024;
  static constexpr int maxSubidentifiers = 128;

  Notice const& notice_;
  variable_list* list_ = nullptr;
};

constexpr int maxDescription = 255;  // SnmpAdminString

void addDescription(Varbinds& varbinds, Zef::String8 const& description, U32 index) {
  varbinds.add(entPhysicalDescr, index, ASN_OCTET_STR, StringToAsnOctetStringF(), description, maxDescription);
}

void addAlarm(Varbinds& varbinds, U8 alarmStatus, U32 index) {
  varbinds.add(entStateAlarm, index, ASN_OCTET_STR, &U8ToAsnOctetString, alarmStatus);
}

int stateNotify(Notice const& notice, S32 adminState, U32 alarmStatus, Zef::String8 const& description, S32 index) {
  if (!isEnabled(notice)) return 0;
  auto const row = static_cast<U32>(index);
  Varbinds varbinds(notice);
  varbinds.add(entStateAdmin, row, ASN_INTEGER, S32ToAsnIntegerF(), adminState);
  addAlarm(varbinds, static_cast<U8>(alarmStatus), row);
  addDescription(varbinds, description, row);
  varbinds.enqueue();
  return 0;
}

}  // namespace

int entConfigChangeNotify() {
  if (isEnabled(entConfigChange)) Varbinds(entConfigChange).enqueue();
  return 0;
}

// NOLINTBEGIN(performance-unnecessary-value-param): the texts come by value, as those of all operations

int entStateOperEnabledNotify(S32 adminState, U32 alarmStatus, Zef::String8 description, S32 index) {
  return stateNotify(entStateOperEnabled, adminState, alarmStatus, description, index);
}

int entStateOperDisabledNotify(S32 adminState, U32 alarmStatus, Zef::String8 description, S32 index) {
  return stateNotify(entStateOperDisabled, adminState, alarmStatus, description, index);
}

int kelvraEntSensorAlarmNotify(Zef::String8 description, U32 value, U8 alarmStatus, U32 index) {
  if (!isEnabled(kelvraEntSensorAlarm)) return 0;
  Varbinds varbinds(kelvraEntSensorAlarm);
  addDescription(varbinds, description, index);
  varbinds.add(entPhySensorValue, index, ASN_INTEGER, S32ToAsnIntegerF(), static_cast<S32>(value));
  addAlarm(varbinds, alarmStatus, index);
  varbinds.enqueue();
  return 0;
}

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace Snmp
