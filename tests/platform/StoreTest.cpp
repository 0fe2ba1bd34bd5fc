#include <gtest/gtest.h>

#include "platform/store/Vorlin.h"

TEST(Vorlin, FindsWhatStandsBelowItsRoot) {
  Vorlin::Store store;
  auto const fru = store.dirIs("snmp/fru");
  EXPECT_EQ(fru->fullName(), "/vx/Vorlin/snmp/fru");
  EXPECT_EQ(store.dirIs("snmp/fru"), fru);
  EXPECT_EQ(store.dirIs(""), store.root());
  auto const steps = [&](std::vector<Zef::String8> const& names) { return Vorlin::find(store.root(), names); };
  EXPECT_EQ(steps({"snmp", "fru"}), fru);
  EXPECT_EQ(steps({}), store.root());
  EXPECT_FALSE(steps({"snmp", "sensor"}));
  EXPECT_FALSE(steps({"snmp", "sensor", "fru"}));
}
