#pragma once

#include "model/input/EntityMib.h"
#include "sm/Handling.h"
#include "sm/SystemSm.h"

namespace Orvane {

// The handlers of what stands on a board: the sensors, ports, transceiver slots and chips of a card, or of a fixed
// system, which is a card too. Self says where: board() is the observed card (null when there is none), system() the
// reactor that keeps the mirrors, followXcvrSlot(slot) makes the reactor of a slot.
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
    auto const slot = self().board()->xcvrSlot(key);
    self().system().handleObject(handling::xcvrSlot, self().board(), key, slot);
    if (slot) self().followXcvrSlot(slot);
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

// The reactions to them. Self gives the handlers by boardHandlers(); Base is a Zef::Reactor of a card.
template <class Self, class Base>
class BoardReactor : public Base {
 public:
  using Base::Base;

  void onSensor(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(Base::Watched::sensorAttr, key, &BoardReactor::onSensor)) return;
    if (this->alive()) handlers().handleSensor(key);
  }
  void onSensor() override {
    if (this->alive()) handlers().handleSensor();
  }
  void onPort(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(Base::Watched::portAttr, key, &BoardReactor::onPort)) return;
    if (this->alive()) handlers().handlePort(key);
  }
  void onPort() override {
    if (this->alive()) handlers().handlePort();
  }
  void onXcvrSlot(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(Base::Watched::xcvrSlotAttr, key, &BoardReactor::onXcvrSlot)) return;
    if (this->alive()) handlers().handleXcvrSlot(key);
  }
  void onXcvrSlot() override {
    if (this->alive()) handlers().handleXcvrSlot();
  }
  void onChip(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(Base::Watched::chipAttr, key, &BoardReactor::onChip)) return;
    if (this->alive()) handlers().handleChip(key);
  }
  void onChip() override {
    if (this->alive()) handlers().handleChip();
  }

 private:
  auto& handlers() { return static_cast<Self&>(*this).boardHandlers(); }
};

}  // namespace Orvane
