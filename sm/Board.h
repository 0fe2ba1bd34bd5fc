#pragma once

#include "model/input/EntityMib.h"
#include "sm/Handling.h"
#include "sm/SystemSm.h"
#include "sm/Trace.h"

namespace Orvane {

// The handlers of what stands on a board: the sensors, ports, transceiver slots and chips of a card, or of a fixed
// system, which is a card too. Self says where: board() is the observed card (null when there is none), system() the
// reactor that keeps the mirrors.
template <class Self>
class BoardHandlers {
 public:
  void handleSensor(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().system().handleObject(handling::sensor, self().board(), key, self().board()->sensor(key));
  }
  void handlePort(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().system().handleObject(handling::port, self().board(), key, self().board()->port(key));
  }
  void handleXcvrSlot(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().system().handleObject(handling::xcvrSlot, self().board(), key, self().board()->xcvrSlot(key));
  }
  void handleChip(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().system().handleObject(handling::chip, self().board(), key, self().board()->chip(key));
  }

  void handleSensor() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board())
      walk(board->sensorIteratorConst(), [this](EntityMib::ParentIndex key) { handleSensor(key); });
  }
  void handlePort() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board())
      walk(board->portIteratorConst(), [this](EntityMib::ParentIndex key) { handlePort(key); });
  }
  void handleXcvrSlot() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board())
      walk(board->xcvrSlotIteratorConst(), [this](EntityMib::ParentIndex key) { handleXcvrSlot(key); });
  }
  void handleChip() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board())
      walk(board->chipIteratorConst(), [this](EntityMib::ParentIndex key) { handleChip(key); });
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }
};

}  // namespace Orvane
