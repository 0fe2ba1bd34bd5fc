// What the notifications look like on the wire.

#include "mib/Notifications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/mib/Agent.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Notifications : public testing::Test {
 protected:
  static Answer identity(char const* oidText) { return {{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}, ASN_OBJECT_ID, oidText}; }

  std::vector<Answer> varbinds;
  Receiver const receiver{[this](auto const& all) { varbinds.insert(varbinds.end(), all.begin(), all.end()); }};
};

TEST_F(Notifications, CarryTheirVarbindsInOrder) {
  Oid const descr = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 2, 1000};
  Oid const admin = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1, 2, 1000};
  Oid const alarm = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1, 5, 1000};
  Oid const value = {1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 4, 1000};
  auto const integer = [](Oid const& name, char const* number) { return Answer{name, ASN_INTEGER, number}; };
  auto const octets = [](Oid const& name, std::string const& bytes) { return Answer{name, ASN_OCTET_STR, bytes}; };
  struct {
    std::function<int()> notify;
    std::vector<Answer> varbinds;
  } const cases[] = {
      {[] { return Snmp::entConfigChangeNotify(); }, {identity("1.3.6.1.2.1.47.2.0.1")}},
      // 128 of 0x180: the low byte of an alarm status
      {[] { return Snmp::entStateOperEnabledNotify(4, 0x180, "Fan 1", 1000); },
       {identity("1.3.6.1.2.1.131.0.1"), integer(admin, "4"), octets(alarm, "\x80"), octets(descr, "Fan 1")}},
      {[] { return Snmp::entStateOperDisabledNotify(2, 32, "", 1000); },
       {identity("1.3.6.1.2.1.131.0.2"), integer(admin, "2"), octets(alarm, " "), octets(descr, "")}},
      {[] { return Snmp::kelvraEntSensorAlarmNotify(std::string(300, 'x').c_str(), static_cast<U32>(-50), 0, 1000); },
       {identity("1.3.6.1.4.1.59871.3.12.0.1"), octets(descr, std::string(255, 'x')), integer(value, "-50"),
        octets(alarm, std::string(1, '\0'))}},
  };
  for (auto const& [notify, expected] : cases) {
    varbinds.clear();
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(varbinds, expected);
  }
}

TEST_F(Notifications, ADisabledOneIsNotBuilt) {
  for (char const* name : notificationNames) notification(name)->reasonIs("because");
  Tracing tracing;
  EXPECT_EQ(Snmp::entConfigChangeNotify(), 0);
  EXPECT_THAT(tracing.take(),
              ElementsAre("entConfigChange notification not sent. notificationStatus returned because"));
  EXPECT_EQ(Snmp::entStateOperEnabledNotify(4, 0, "", 1), 0);
  EXPECT_EQ(Snmp::kelvraEntSensorAlarmNotify("", 0, 0, 1), 0);
  EXPECT_THAT(varbinds, IsEmpty());
}

using NotificationsDeathTest = Notifications;

// In a process of its own each time, where nothing is registered.
TEST_F(NotificationsDeathTest, OneThatIsNotRegisteredIsAProgramError) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Snmp::theConfig()->notificationConfigDel("entity");
        Snmp::entConfigChangeNotify();
      },
      "You need to register entity traps from your VorlinPlugin");
  EXPECT_DEATH(
      {
        Snmp::theConfig()->notificationConfigDel("entity");
        notification("entConfigChange");
        Snmp::kelvraEntSensorAlarmNotify("", 0, 0, 1);
      },
      "You need to register kelvraEntSensorAlarm traps from your VorlinPlugin");
}

}  // namespace
