#pragma once

#include "sm/Root.h"

// When a notification leaves. What waits is Root's: the queue of states, and the flag of a changed configuration.
// Root's operations put it there and send it, and EntitySm's two ticks say when; the bodies of both stand in
// TrapScheduling.cpp.
namespace Orvane {

// The entity tables have changed now, and entConfigChange has to tell so.
void entityTablesChanged(Root& root);

}  // namespace Orvane
