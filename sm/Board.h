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
    if (auto const* board = self().board()) walk(board->sensorIteratorConst(), self(), &BoardHandlers::handleSensor);
  }
  void handlePort() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board()) walk(board->portIteratorConst(), self(), &BoardHandlers::handlePort);
  }
  void handleXcvrSlot() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board())
      walk(board->xcvrSlotIteratorConst(), self(), &BoardHandlers::handleXcvrSlot);
  }
  void handleChip() {
    ORVANE_ENTRY_OF(self());
    if (auto const* board = self().board()) walk(board->chipIteratorConst(), self(), &BoardHandlers::handleChip);
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }
};

}  // namespace Orvane
