#pragma once

#include "model/OrvaneLib.h"
#include "model/input/Environment.h"
#include "model/input/Hardware.h"
#include "model/input/Interface.h"
#include "model/input/Xcvr.h"

namespace Orvane {

class Root;

// From status records to state rows: what all status reactors and sensor updates share.

// entStateOper and entStateAdmin of a row.
struct States {
  U32 operState;
  U32 adminState;
};

// Fills the state row of a part that has just come: a system works, and nothing is known of any other part yet.
void initialStates(State& state, Zef::String8 const& type);

// What a record's status means for its part.
States statesOf(Environment::Cooling::FanStatus const& status);
States statesOf(Environment::Power::SupplyStatus const& status);
States statesOf(Environment::Power::VoltageRailStatus const& status);
States statesOf(Environment::Power::CurrentSensorStatus const& status);
States statesOf(Environment::Temperature::TempSensorStatus const& status);
States statesOf(Hardware::Card::CardStatus const& status);

// Whether a new state moves entStateLastChanged.
enum class Stamp { moves, stays };

// Schedules the notification of a row, which stands in entPhysicalTable, and then writes its state row. A row without a
// state row is left alone, with a level 0 trace that gives the name.
void reportStates(Root& root, PhysicalEntity const& row, Zef::String8 const& name, States states, Stamp stamp);
// A fan's sensor and the fan that holds it share the fan's states; the notification is the fan's.
void reportFanStates(Root& root, PhysicalEntity const& sensor, States states);

// The row of a component by its name; null, with a level 0 trace, when there is none.
Zef::Ptr<PhysicalEntity> componentOf(Root const& root, Zef::String8 const& name);
// The row of a card by its card name, likewise.
Zef::Ptr<PhysicalEntity> cardOf(Root const& root, Zef::String8 const& name);

// A changed status of a record that goes by a component name.
template <class Record>
void rewriteComponent(Root& root, Record const& record) {
  if (auto const row = componentOf(root, record.name()))
    reportStates(root, *row, record.name(), statesOf(record), Stamp::moves);
}

// What a name map knows a row by: a transceiver by its alias when it has one, a card by its card name, all else by its
// component name.
Zef::String8 identifierOf(Root const& root, Zef::Ptr<PhysicalEntity> const& row);

// The component name of a supply by the name of its status: the supply with the label k, in slot Pk, is
// PowerSupplyPk/k. Empty for a name that is no supply's.
Zef::String8 supplyComponent(Zef::String8 const& name);

// The component name of the sensor of a fan, by the fan's own name: FanSensor2/1 of Fan2/1.
Zef::String8 fanSensorName(Zef::String8 const& fan);

}  // namespace Orvane
