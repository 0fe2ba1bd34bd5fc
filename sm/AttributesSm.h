#pragma once

#include "model/OrvaneLib.h"
#include "model/input/EntityMib.h"
#include "runtime/reactors/Reactor.h"

namespace Orvane {

class ComponentEntry;
class Root;

// A mirror notices that an attribute of an inventory object has changed and turns it into a change of the
// configuration: entLastChangeTime moves and a configuration notification is asked for. It copies nothing: the tables
// read the object itself. There is one mirror for each row and kind, kept under the row's index in its system's
// reactor.
class AttributesSm : public Zef::StateMachine, public Zef::HashMapLink {
 public:
  U32 fwkKey() const { return index_; }
  U32 index() const { return index_; }
  Zef::Ptr<PhysicalEntity> const& entity() const { return entity_; }
  Root& root() const { return root_; }

 protected:
  AttributesSm(U32 index, Zef::Ptr<PhysicalEntity> entity, Root& root)
      : index_(index), entity_(std::move(entity)), root_(root) {}

  void handleInitialized(char const* className);
  // Whether an entry of a name map is still this row's: when names are swapped, another row may have taken it over.
  bool isOurs(Zef::Ptr<ComponentEntry> const& entry) const;

 private:
  U32 index_;
  Zef::Ptr<PhysicalEntity> entity_;
  Root& root_;
};

// A changed description counts as a change; a changed label also renames the row and its entry in the name maps.
class PhysicalAttributesSm final : public AttributesSm {
 public:
  using Input = EntityMib::PhysicalEntity;
  static constexpr char const* inputName = "_physicalEntity";

  PhysicalAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity, Zef::Ptr<Input const> const& input,
                       Root& root);

  Input const* input() const { return physicalEntity_ ? physicalEntity_->notifier() : nullptr; }
  void handleDescription();
  void handleLabel();

 private:
  class ZefPhysicalEntity final : public Zef::Reactor<Input>, public Zef::Owned<PhysicalAttributesSm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onDescription() override { react(Input::descriptionAttr, owner(), &PhysicalAttributesSm::handleDescription); }
    void onLabel() override { react(Input::labelAttr, owner(), &PhysicalAttributesSm::handleLabel); }
  };

  Zef::Child<ZefPhysicalEntity, PhysicalAttributesSm> physicalEntity_{*this};
};

class HardwareAttributesSm final : public AttributesSm {
 public:
  using Input = EntityMib::Hardware;
  static constexpr char const* inputName = "_hardware";

  HardwareAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity, Zef::Ptr<Input const> const& input,
                       Root& root);

  Input const* input() const { return hardware_ ? hardware_->notifier() : nullptr; }
  void handleModelName();
  void handleMfgName();
  void handleMfgDate();
  void handleSerialNum();
  void handleSoftwareRev();
  void handleFirmwareRev();
  void handleHardwareRev();

 private:
  class ZefHardware final : public Zef::Reactor<Input>, public Zef::Owned<HardwareAttributesSm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onHardwareRev() override { react(Input::hardwareRevAttr, owner(), &HardwareAttributesSm::handleHardwareRev); }
    void onFirmwareRev() override { react(Input::firmwareRevAttr, owner(), &HardwareAttributesSm::handleFirmwareRev); }
    void onSoftwareRev() override { react(Input::softwareRevAttr, owner(), &HardwareAttributesSm::handleSoftwareRev); }
    void onSerialNum() override { react(Input::serialNumAttr, owner(), &HardwareAttributesSm::handleSerialNum); }
    void onMfgName() override { react(Input::mfgNameAttr, owner(), &HardwareAttributesSm::handleMfgName); }
    void onModelName() override { react(Input::modelNameAttr, owner(), &HardwareAttributesSm::handleModelName); }
    void onMfgDate() override { react(Input::mfgDateAttr, owner(), &HardwareAttributesSm::handleMfgDate); }
  };

  Zef::Child<ZefHardware, HardwareAttributesSm> hardware_{*this};
};

// A changed alias re-keys a transceiver; for any other object it only lands in the row.
class FruAttributesSm final : public AttributesSm {
 public:
  using Input = EntityMib::Fru;
  static constexpr char const* inputName = "_fru";

  FruAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity, Zef::Ptr<Input const> const& input, Root& root);

  Input const* input() const { return fru_ ? fru_->notifier() : nullptr; }
  void handleAlias();
  void handleAssetId();
  void handleSwappability();

 private:
  class ZefFru final : public Zef::Reactor<Input>, public Zef::Owned<FruAttributesSm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onAlias() override { react(Input::aliasAttr, owner(), &FruAttributesSm::handleAlias); }
    void onAssetId() override { react(Input::assetIdAttr, owner(), &FruAttributesSm::handleAssetId); }
    void onSwappability() override { react(Input::swappabilityAttr, owner(), &FruAttributesSm::handleSwappability); }
  };

  Zef::Child<ZefFru, FruAttributesSm> fru_{*this};
};

// Refuses to hand out a mirror that was built from another input, row or root.
void refuseReinstantiation(char const* parameter, void const* given, void const* current);

// The mirrors of one kind, by physical index.
template <class Mirror>
class Mirrors final : public Zef::ChildBase {
 public:
  using Input = typename Mirror::Input;
  using ChildBase::ChildBase;

  // Get or create.
  Zef::Ptr<Mirror> is(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index, Zef::Ptr<PhysicalEntity> const& entity,
                      Zef::Ptr<Input const> const& input, Root& root) {
    if (Zef::Ptr<Mirror> old = map_.find(index)) {
      refuseReinstantiation("_entity", entity.get(), old->entity().get());
      refuseReinstantiation(Mirror::inputName, input.get(), old->input());
      refuseReinstantiation("_root", &root, &old->root());
      old->zefFwkActivityIs(activity);
      return old;
    }
    auto mirror = Zef::make<Mirror>(index, entity, input, root);
    mirror->zefFwkActivityIs(activity);
    map_.insert(mirror);
    return mirror;
  }
  void del(U32 index) {
    if (auto const mirror = map_.del(index)) mirror->zefDoZombieReactors(true);
  }
  unsigned count() const { return map_.count(); }

  void activeIs(bool on) override {
    for (auto at = map_.iterator(); at; ++at) at->hasNotificationActiveIs(on);
  }
  void zombieIs(bool on) override {
    for (auto at = map_.iterator(); at; ++at) at->zefDoZombieReactors(on);
  }
  // Mirrors come and go with their rows.
  void reconcile() override {}

 private:
  Zef::HashMap<Mirror, U32> map_;
};

}  // namespace Orvane
