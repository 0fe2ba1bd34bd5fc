#pragma once

namespace Fru {

// The number of the slot that holds the supervisor on which this process runs; 1 until somebody knows better.
unsigned slotId();
void slotIdIs(unsigned slot);

}  // namespace Fru
