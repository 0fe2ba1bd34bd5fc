#include "tests/mib/Tables.h"

#include "platform/agent/NetSnmp.h"

namespace {

Oid const mib2 = {1, 3, 6, 1, 2, 1};

std::vector<oid> columns(oid first, oid last) {
  std::vector<oid> result;
  for (; first <= last; ++first) result.push_back(first);
  return result;
}

U32 number(Oid const& index) { return static_cast<U32>(index[0]); }
Orvane::ContainsEntry entry(Oid const& index) { return {static_cast<U32>(index[0]), static_cast<U32>(index[1])}; }

}  // namespace

std::vector<TableCase> const& tableCases() {
  auto const entityMib = Models::instance().entityMib;
  auto const stateMib = Models::instance().stateMib;
  auto const sensorMib = Models::instance().sensorMib;
  auto const addSensor = [=](Oid const& index) {
    sensorMib->sensorEntityIs(Zef::make<Orvane::FanSensor>(number(index)));
  };
  auto const removeSensor = [=](Oid const& index) { sensorMib->sensorEntityDel(number(index)); };
  auto const clearSensors = [=] { sensorMib->sensorEntityDelAll(); };
  static std::vector<TableCase> const tables = {
      {"entPhysicalTable", mib2 + Oid{47, 1, 1, 1}, columns(2, 18), 1,
       [=](Oid const& index) { entityMib->physicalEntityIs(number(index)); },
       [=](Oid const& index) { entityMib->physicalEntityDel(number(index)); },
       [=] { entityMib->physicalEntityDelAll(); }},
      {"entPhysicalContainsTable", mib2 + Oid{47, 1, 3, 3}, columns(1, 1), 2,
       [=](Oid const& index) { entityMib->containsIs(entry(index)); },
       [=](Oid const& index) { entityMib->containsDel(entry(index)); }, [=] { entityMib->containsDelAll(); }},
      {"entPhySensorTable", mib2 + Oid{99, 1, 1}, columns(1, 8), 1, addSensor, removeSensor, clearSensors},
      {"entStateTable", mib2 + Oid{131, 1, 1}, columns(1, 6), 1,
       [=](Oid const& index) { stateMib->stateEntityIs(number(index)); },
       [=](Oid const& index) { stateMib->stateEntityDel(number(index)); }, [=] { stateMib->stateEntityDelAll(); }},
      {"kelvraEntSensorThresholdTable",
       {1, 3, 6, 1, 4, 1, 59871, 3, 12, 1, 1},
       columns(1, 5),
       1,
       addSensor,
       removeSensor,
       clearSensors},
  };
  return tables;
}

void PrintTo(TableCase const& table, std::ostream* stream) { *stream << table.name; }
