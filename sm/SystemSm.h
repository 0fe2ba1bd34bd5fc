#pragma once

#include "model/input/EntityMib.h"
#include "sm/AttributesSm.h"
#include "sm/Handling.h"
#include "sm/Trace.h"

namespace Orvane {

class Root;

// Calls the keyed form of a handler for each member of a collection, in its order.
template <class Iterator, class Handler>
void walk(Iterator at, Handler handler) {
  for (; at; ++at) handler(at.key());
}

// What follows the sensors of one object. Self has their row of Handling.h, sensorHandling, and project(), which hands
// an object below its own to handleObject.
template <class Self, class Input>
class SensorReactor : public Zef::Reactor<Input> {
 public:
  void onSensor(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(Input::sensorAttr, key, &SensorReactor::onSensor)) return;
    if (this->alive()) handleSensor(key);
  }
  void onSensor() override {
    if (this->alive()) handleSensor();
  }
  void handleSensor(EntityMib::ParentIndex key) {
    ORVANE_ENTRY(key);
    static_cast<Self&>(*this).project(Self::sensorHandling, key, this->notifier()->sensor(key));
  }
  void handleSensor() {
    ORVANE_ENTRY();
    if (this->notifier() == nullptr) return;
    walk(this->notifier()->sensorIteratorConst(), [this](EntityMib::ParentIndex key) { handleSensor(key); });
  }
};

// A fan, in a supply or in a tray (the owner), and its sensors.
template <class Owner>
class FanReactor final : public SensorReactor<FanReactor<Owner>, EntityMib::Fan>,
                         public Zef::KeyedReactor<EntityMib::ParentIndex>,
                         public Zef::Owned<Owner> {
 public:
  static constexpr Handling const& sensorHandling = Owner::fanSensorHandling;

  FanReactor(Owner& owner, EntityMib::ParentIndex key) : KeyedReactor(key), Zef::Owned<Owner>(owner) {}
  void handleAll() override { this->handleSensor(); }
  void project(Handling const& handling, EntityMib::ParentIndex key,
               Zef::Ptr<EntityMib::PhysicalEntity const> const& object);
};

class SystemSm;

// One object of the tree, at the place that `parent` and `key` say (key 0: the one object of its kind there): adds its
// rows, mirrors and containers when it is there, and removes the rows of its place when it is null. The mirrors are
// kept in the system; without one there are none.
void handleObject(Root& root, SystemSm* system, Handling const& handling, EntityMib::PhysicalEntity const* parent,
                  EntityMib::ParentIndex key, Zef::Ptr<EntityMib::PhysicalEntity const> const& object);

// What the reactors of a fixed system and of a chassis share: the mirrors of every row of their tree, and the reactors
// that follow power supply slots and fan tray slots with what is in them.
//
// The reactors nest as the inventory does, one for each object that has children of its own. A handler adds the rows of
// an object that has come and removes those of one that has gone, in the way that its row in Handling.h says. Deleting
// a reactor removes no row.
class SystemSm : public Zef::StateMachine {
 public:
  class ZefPowerSupplySlot final : public Zef::Reactor<EntityMib::PowerSupplySlot>,
                                   public Zef::KeyedReactor<EntityMib::ParentIndex>,
                                   public Zef::Owned<SystemSm> {
   public:
    class ZefPowerSupply final : public SensorReactor<ZefPowerSupply, EntityMib::PowerSupply>,
                                 public Zef::Owned<ZefPowerSupplySlot> {
     public:
      using ZefFan = FanReactor<ZefPowerSupply>;
      static constexpr Handling const& fanSensorHandling = handling::supplyFanSensor;
      static constexpr Handling const& sensorHandling = handling::supplySensor;

      explicit ZefPowerSupply(ZefPowerSupplySlot& owner);
      SystemSm& system() const { return owner().system(); }
      Zef::String8 classPath() const { return system().classPath() + "::ZefPowerSupplySlot::ZefPowerSupply"; }

      void handleAll() override;
      void onFan(EntityMib::ParentIndex key) override;
      void onFan() override {
        if (alive()) handleFan();
      }
      void handleFan(EntityMib::ParentIndex key);
      void handleFan();
      void project(Handling const& handling, EntityMib::ParentIndex key,
                   Zef::Ptr<EntityMib::PhysicalEntity const> const& object);

     private:
      Zef::Children<ZefFan, EntityMib::ParentIndex, ZefPowerSupply> fan_;
    };

    ZefPowerSupplySlot(SystemSm& owner, EntityMib::ParentIndex key);
    SystemSm& system() const { return owner(); }

    void handleAll() override { handlePowerSupply(); }
    std::span<Slot const> slots() const override;
    void onPowerSupply() override;
    void handlePowerSupply();

   private:
    Zef::Child<ZefPowerSupply, ZefPowerSupplySlot> powerSupply_;
  };

  class ZefFanTraySlot final : public Zef::Reactor<EntityMib::FanTraySlot>,
                               public Zef::KeyedReactor<EntityMib::ParentIndex>,
                               public Zef::Owned<SystemSm> {
   public:
    class ZefFanTray final : public Zef::Reactor<EntityMib::FanTray>, public Zef::Owned<ZefFanTraySlot> {
     public:
      using ZefFan = FanReactor<ZefFanTray>;
      static constexpr Handling const& fanSensorHandling = handling::trayFanSensor;

      explicit ZefFanTray(ZefFanTraySlot& owner);
      SystemSm& system() const { return owner().system(); }
      Zef::String8 classPath() const { return system().classPath() + "::ZefFanTraySlot::ZefFanTray"; }

      void handleAll() override { handleFan(); }
      void onFan(EntityMib::ParentIndex key) override;
      void onFan() override {
        if (alive()) handleFan();
      }
      void handleFan(EntityMib::ParentIndex key);
      void handleFan();

     private:
      Zef::Children<ZefFan, EntityMib::ParentIndex, ZefFanTray> fan_;
    };

    ZefFanTraySlot(SystemSm& owner, EntityMib::ParentIndex key);
    SystemSm& system() const { return owner(); }

    void handleAll() override { handleFanTray(); }
    std::span<Slot const> slots() const override;
    void onFanTray() override;
    void handleFanTray();

   private:
    Zef::Child<ZefFanTray, ZefFanTraySlot> fanTray_;
  };

  Root& root() const { return root_; }
  // As errors name it: "Orvane::FixedSystemSm".
  virtual Zef::String8 classPath() const = 0;
  // As traces of transceiver slots name it.
  virtual char const* kindText() const = 0;

  // Get or create a row's mirror; NameInUseException when it stands there with another input, row or root.
  Zef::Ptr<PhysicalAttributesSm> physicalAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                                      Zef::Ptr<PhysicalEntity> const& row,
                                                      Zef::Ptr<EntityMib::PhysicalEntity const> const& input,
                                                      Root& root);
  Zef::Ptr<HardwareAttributesSm> hardwareAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                                      Zef::Ptr<PhysicalEntity> const& row,
                                                      Zef::Ptr<EntityMib::Hardware const> const& input, Root& root);
  Zef::Ptr<FruAttributesSm> fruAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                            Zef::Ptr<PhysicalEntity> const& row,
                                            Zef::Ptr<EntityMib::Fru const> const& input, Root& root);
  // Drops the mirrors of a row; no event when it has none.
  void doRemoveAttributeSm(U32 index);
  unsigned mirrorCount() const;

  // A null slot is refused with a RangeException.
  void powerSupplySlotIs(Zef::Ptr<EntityMib::PowerSupplySlot const> const& slot);
  void powerSupplySlotDel(EntityMib::ParentIndex key);
  void fanTraySlotIs(Zef::Ptr<EntityMib::FanTraySlot const> const& slot);
  void fanTraySlotDel(EntityMib::ParentIndex key);

  void handleObject(Handling const& handling, EntityMib::PhysicalEntity const* parent, EntityMib::ParentIndex key,
                    Zef::Ptr<EntityMib::PhysicalEntity const> const& object);
  // The mirrors of a new row; every object has the physical one.
  void mirror(Zef::Ptr<PhysicalEntity> const& row, Zef::Ptr<EntityMib::PhysicalEntity const> const& object,
              bool hardware, bool fru);

 protected:
  explicit SystemSm(Root& root);
  // How every construction ends: with the rows of the system itself.
  void handleInitialized(char const* className, Zef::Ptr<EntityMib::Fru const> const& system);

 private:
  Root& root_;
  Mirrors<PhysicalAttributesSm> physicalAttributes_{*this};
  Mirrors<HardwareAttributesSm> hardwareAttributes_{*this};
  Mirrors<FruAttributesSm> fruAttributes_{*this};
  Zef::Children<ZefPowerSupplySlot, EntityMib::ParentIndex, SystemSm> powerSupplySlot_{*this, "powerSupplySlot"};
  Zef::Children<ZefFanTraySlot, EntityMib::ParentIndex, SystemSm> fanTraySlot_{*this, "fanTraySlot"};
};

// The handlers of what every system has below it. Self is the system's reactor; observed() is its input, or null.
template <class Self>
class SystemHandlers {
 public:
  void handlePowerSupplySlot(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().handleObject(handling::powerSupplySlot, self().observed(), key, self().observed()->powerSupplySlot(key));
  }
  void handleFanTraySlot(EntityMib::ParentIndex key) {
    ORVANE_ENTRY_OF(self(), key);
    self().handleObject(handling::fanTraySlot, self().observed(), key, self().observed()->fanTraySlot(key));
  }

  void handlePowerSupplySlot() {
    ORVANE_ENTRY_OF(self());
    if (auto const* system = self().observed())
      walk(system->powerSupplySlotIteratorConst(), [this](EntityMib::ParentIndex key) { handlePowerSupplySlot(key); });
  }
  void handleFanTraySlot() {
    ORVANE_ENTRY_OF(self());
    if (auto const* system = self().observed())
      walk(system->fanTraySlotIteratorConst(), [this](EntityMib::ParentIndex key) { handleFanTraySlot(key); });
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }
};

// The reactions to them. A slot's reactor comes before its row, and goes before it.
template <class Sm, class System>
class SystemReactor : public Zef::Reactor<System>, public Zef::Owned<Sm> {
 public:
  using Zef::Owned<Sm>::Owned;

  void onPowerSupplySlot(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(System::powerSupplySlotAttr, key, &SystemReactor::onPowerSupplySlot)) return;
    if (auto const slot = this->notifier()->powerSupplySlot(key)) {
      this->owner().powerSupplySlotIs(slot);
    } else {
      this->owner().powerSupplySlotDel(key);
    }
    if (this->alive()) this->owner().handlePowerSupplySlot(key);
  }
  void onPowerSupplySlot() override {
    if (this->alive()) this->owner().handlePowerSupplySlot();
  }

  void onFanTraySlot(EntityMib::ParentIndex key) override {
    if (this->zefOnKey(System::fanTraySlotAttr, key, &SystemReactor::onFanTraySlot)) return;
    if (auto const slot = this->notifier()->fanTraySlot(key)) {
      this->owner().fanTraySlotIs(slot);
    } else {
      this->owner().fanTraySlotDel(key);
    }
    if (this->alive()) this->owner().handleFanTraySlot(key);
  }
  void onFanTraySlot() override {
    if (this->alive()) this->owner().handleFanTraySlot();
  }
};

}  // namespace Orvane
