#pragma once

#include <span>

#include "sm/Root.h"

namespace Orvane {

// The kinds of sensor: their class and what binds them follow from the tag.
struct SensorKind {
  char const* tag;
  Zef::Ptr<Sensor> (*create)(U32 index);
  // Binds a sensor to its status record; the argument is a component name.
  void (*update)(Root& root, Zef::String8 const& name);
  // Whether a new row enters the set of sensors with thresholds, and what the trace ring tells then; null: it never
  // does.
  bool (*thresholdTest)(Sensor const& sensor);
  char const* record;
  // Reads the status of a transceiver, which does not go by the sensor's name.
  bool ofXcvr = false;
};

std::span<SensorKind const> sensorKinds();

bool hasThreshold(Sensor const& sensor);

// Null for a tag that is no sensor's.
SensorKind const* sensorKindOf(Zef::String8 const& tag);

// Binds the sensor of a row. A fan's sensor is bound by the name of the fan that holds it, when there is one.
void updateSensor(Root& root, SensorKind const& kind, PhysicalEntity const& row, Zef::String8 const& name);

// Makes the sensor of a row, in the place of one that is there, binds it, and enters it into the set of sensors with
// thresholds if it has any. A row whose tag is no sensor's gets none.
void makeSensor(Root& root, PhysicalEntity const& row, Zef::String8 const& name);

}  // namespace Orvane
