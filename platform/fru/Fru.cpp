#include "platform/fru/Fru.h"

namespace Fru {

namespace {
unsigned theSlotId = 1;
}

unsigned slotId() { return theSlotId; }
void slotIdIs(unsigned slot) { theSlotId = slot; }

}  // namespace Fru
