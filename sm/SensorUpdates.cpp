// Root's operations that bind a sensor to the status record published for it, and write the state row: they run when a
// row comes, when a record comes or goes, and when a label changes. A sensor reads its value, status and thresholds
// from the record when it is asked, so binding is all there is to do. What has no partner yet is bound when that one
// comes.

#include "sm/SensorUpdates.h"

#include <algorithm>
#include <array>
#include <map>

#include "model/Constants.h"
#include "sm/States.h"
#include "sm/Trace.h"

namespace Orvane {

namespace {

template <class T>
Zef::Ptr<Sensor> create(U32 index) {
  return Zef::make<T>(index);
}

constexpr std::string_view fanSensorTag = "FanSensor";

// The sensor object of a row; null, with a level 0 trace, when the row has none or one of another class.
template <class T>
Zef::Ptr<T> sensorOf(Root const& root, PhysicalEntity const& row) {
  auto const object = root.sensorMib()->sensorEntity(row.index());
  auto sensor = Zef::dynamicCast<T>(object);
  if (!sensor) {
    ORVANE_TRACE(0) << "Sensor is not " << T::_fwkType()->name() << " " << object;
  }
  return sensor;
}

// The record has gone: the sensor falls back to its answers without one, while the state row keeps its last state.
template <class T>
void unbind(Root const& root, Zef::String8 const& component) {
  auto const entry = root.component(component);
  if (!entry) return;
  if (auto const sensor = sensorOf<T>(root, *entry->entity())) sensor->statusIs(nullptr);
}

// A sensor whose record goes by its own component name. `configure` gives it its configuration, if its class has one.
template <class T, class Status, class Configure>
void bind(Root& root, Zef::String8 const& name, Zef::Ptr<Status const> const& status, Stamp stamp,
          Configure configure) {
  if (!status) {
    unbind<T>(root, name);
    return;
  }
  auto const row = componentOf(root, name);
  if (!row) return;
  auto const sensor = sensorOf<T>(root, *row);
  if (!sensor) return;
  sensor->statusIs(status);
  configure(*sensor);
  reportStates(root, *row, name, statesOf(*status), stamp);
}

template <class T>
void bindDom(Root& root, Zef::String8 const& name) {
  // One kind tells more than the others.
  constexpr bool talkative = std::is_same_v<T, DomTemperatureSensor>;
  auto const row = componentOf(root, name);
  if (!row) return;
  auto const sensor = sensorOf<T>(root, *row);
  if (!sensor) return;
  Zef::String8 const label = row->phyAttr()->label();
  // Log readers match this text, which names no variable of the code here.
  ORVANE_TRACE(9) << "ce->entity()->phyAttr()->label()" << label;
  Zef::String8 const xcvr = root.constants()->xcvrNameFromSensorName(name, label);
  ORVANE_TRACE(9) << "Sensor name: " << name << ", using xcvr name: " << xcvr;
  auto const status = root.xcvrStatusDir() ? root.xcvrStatusDir()->xcvrStatus(xcvr) : nullptr;
  if (!status) {
    if (talkative) {
      ORVANE_TRACE(9) << "Remove status from DomTemperatureSensor " << name;
    }
    sensor->statusIs(nullptr);
    return;
  }
  if (talkative) {
    ORVANE_TRACE(9) << "Update DomTemperatureSensor status " << name;
  }
  sensor->statusIs(status);
  Xcvr::LaneId const lane = root.constants()->laneIdFromSensorLabel(label);
  sensor->laneIdIs(lane);
  bool const present = status->domInfoValid(lane);
  States const states{root.constants()->domInfoToOperState(present), root.constants()->domInfoToAdminState(present)};
  reportStates(root, *row, name, states, Stamp::stays);
}

bool offersThresholds(Sensor const& sensor) {
  auto const& status = static_cast<DomSensor const&>(sensor).status();
  return status && status->domThresholdValid() && hasThreshold(sensor);
}

// By an operation of Root, where one has that name.
template <auto operation>
void call(Root& root, Zef::String8 const& name) {
  (root.*operation)(name);
}

template <class T, auto update = &bindDom<T>>
constexpr SensorKind domKind(char const* tag, char const* record) {
  return {tag, &create<T>, update, &offersThresholds, record, true};
}

constexpr std::array kinds = {
    SensorKind{"TempSensor", &create<TemperatureSensor>, &call<&Root::updateTempSensor>, &hasThreshold,
               "Added Temp Sensor "},
    SensorKind{"VoltageSensor", &create<VoltageSensor>, &call<&Root::updateVoltageSensor>, nullptr, nullptr},
    SensorKind{"FanSensor", &create<FanSensor>, &call<&Root::updateFanSensor>, nullptr, nullptr},
    SensorKind{"CurrentSensor", &create<CurrentSensor>, &call<&Root::updateCurrentSensor>, nullptr, nullptr},
    domKind<DomTemperatureSensor, &call<&Root::updateDomTemperatureSensor>>("DomTemperatureSensor",
                                                                            "Added DOM Temp Sensor "),
    domKind<DomVoltageSensor, &call<&Root::updateDomVoltageSensor>>("DomVoltageSensor", "Added DOM Voltage Sensor "),
    domKind<DomTxBiasSensor, &call<&Root::updateDomTxBiasSensor>>("DomTxBiasSensor", "Added DOM TxBias Sensor "),
    domKind<DomTxPowerSensor, &call<&Root::updateDomTxPowerSensor>>("DomTxPowerSensor", "Added DOM TxPower Sensor "),
    domKind<DomRxPowerSensor, &call<&Root::updateDomRxPowerSensor>>("DomRxPowerSensor", "Added DOM RxPower Sensor "),
};

}  // namespace

bool hasThreshold(Sensor const& sensor) {
  return sensor.lowCritThreshold() != Constants::defaultLowThreshold ||
         sensor.lowWarnThreshold() != Constants::defaultLowThreshold ||
         sensor.highCritThreshold() != Constants::defaultHighThreshold ||
         sensor.highWarnThreshold() != Constants::defaultHighThreshold;
}

std::span<SensorKind const> sensorKinds() { return kinds; }

SensorKind const* sensorKindOf(Zef::String8 const& tag) {
  auto const kind = std::find_if(kinds.begin(), kinds.end(), [&](SensorKind const& each) { return tag == each.tag; });
  return kind == kinds.end() ? nullptr : &*kind;
}

void updateSensor(Root& root, SensorKind const& kind, PhysicalEntity const& row, Zef::String8 const& name) {
  if (kind.tag != fanSensorTag) {
    kind.update(root, name);
  } else if (auto const fan = root.entityMib()->physicalEntity(row.containedIn())) {
    kind.update(root, fan->componentName());
  }
}

void makeSensor(Root& root, PhysicalEntity const& row, Zef::String8 const& name) {
  static std::map<SensorKind const*, Scrivo::MsgId> records;
  SensorKind const* const kind = sensorKindOf(row.tag());
  if (kind == nullptr) return;
  Zef::Ptr<Sensor> const sensor = kind->create(row.index());
  root.sensorMib()->sensorEntityIs(sensor);
  updateSensor(root, *kind, row, name);
  if (kind->thresholdTest == nullptr || !kind->thresholdTest(*sensor)) return;
  root.sensorMib()->thresholdEntityIs(sensor);
  Scrivo::RingBuf::record(records[kind], __FILE__, __LINE__, kind->record, row.index());
}

// NOLINTBEGIN(performance-unnecessary-value-param): as the model declares them

void Root::updateSensorStatus(Zef::String8 name) {
  ORVANE_ENTRY(name);
  if (auto const entry = component(name)) {
    if (auto const* kind = sensorKindOf(entry->entity()->tag())) updateSensor(*this, *kind, *entry->entity(), name);
  } else if (card(name)) {
    updateCardSensor(name);
  }
}

void Root::updateTempSensor(Zef::String8 name) {
  ORVANE_ENTRY(name);
  // The collection of temperatures may hold those of transceivers too.
  if (auto const entry = component(name); entry && entry->entity()->tag() == "DomTemperatureSensor") {
    ORVANE_TRACE(9) << "Update DomTemperatureSensor " << name;
    updateDomTemperatureSensor(name);
    return;
  }
  auto const status = tempStatus() ? tempStatus()->tempSensor(name) : nullptr;
  bind<TemperatureSensor, Environment::Temperature::TempSensorStatus>(
      *this, name, status, Stamp::moves,
      [&](TemperatureSensor& sensor) { sensor.configDataIs(tempConfig() ? tempConfig()->tempSensor(name) : nullptr); });
}

void Root::updateVoltageSensor(Zef::String8 name) {
  ORVANE_ENTRY(name);
  auto const status = powerStatus() ? powerStatus()->voltageSensor(name) : nullptr;
  bind<VoltageSensor, Environment::Power::VoltageRailStatus>(
      *this, name, status, Stamp::moves, [&](VoltageSensor& sensor) {
        sensor.configDataIs(powerConfig() ? powerConfig()->voltageSensor(name) : nullptr);
      });
}

void Root::updateCurrentSensor(Zef::String8 name) {
  ORVANE_ENTRY(name);
  auto const status = powerStatus() ? powerStatus()->currentSensor(name) : nullptr;
  bind<CurrentSensor, Environment::Power::CurrentSensorStatus>(*this, name, status, Stamp::stays,
                                                               [](CurrentSensor&) {});
}

void Root::updateFanSensor(Zef::String8 name) {
  ORVANE_ENTRY(name);
  auto const status = coolingStatus() ? coolingStatus()->fan(name) : nullptr;
  if (!status) {
    unbind<FanSensor>(*this, fanSensorName(name));
    return;
  }
  auto const row = componentOf(*this, fanSensorName(status->name()));
  if (!row) return;
  auto const sensor = sensorOf<FanSensor>(*this, *row);
  if (!sensor) return;
  sensor->statusIs(status);
  reportFanStates(*this, *row, statesOf(*status));
}

#define ORVANE_UPDATE_DOM(Kind)                           \
  void Root::updateDom##Kind##Sensor(Zef::String8 name) { \
    ORVANE_ENTRY(name);                                   \
    bindDom<Dom##Kind##Sensor>(*this, name);              \
  }

ORVANE_UPDATE_DOM(Temperature)
ORVANE_UPDATE_DOM(Voltage)
ORVANE_UPDATE_DOM(TxBias)
ORVANE_UPDATE_DOM(TxPower)
ORVANE_UPDATE_DOM(RxPower)

void Root::updateCardSensor(Zef::String8 name) {
  ORVANE_ENTRY(name);
  auto const status = cardStatus() ? cardStatus()->cardStatus(name) : nullptr;
  if (!status) return;
  if (auto const row = cardOf(*this, name)) reportStates(*this, *row, name, statesOf(*status), Stamp::moves);
}

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace Orvane
