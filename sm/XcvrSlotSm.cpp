#include "sm/XcvrSlotSm.h"

#include "runtime/reflection/TypeBuilder.h"
#include "sm/ChassisSm.h"
#include "sm/FixedSystemSm.h"
#include "sm/Root.h"

namespace Orvane {

using EntityMib::ParentIndex;
using ZefXcvr = XcvrSlotSm::ZefXcvr;
using ZefLane = ZefXcvr::ZefLane;

XcvrSlotSm::XcvrSlotSm(Root& root, Zef::Ptr<EntityMib::XcvrSlot const> const& xcvrSlot,
                       Zef::Ptr<FixedSystemSm> fixedSystemSm, Zef::Ptr<ChassisSm> chassisSm)
    : root_(root),
      physicalIndex_(xcvrSlot->physicalIndex()),
      fixedSystemSm_(std::move(fixedSystemSm)),
      chassisSm_(std::move(chassisSm)) {
  xcvrSlot_.is(xcvrSlot);
  xcvr_.is(xcvrSlot->xcvr());
}

XcvrSlotSm::~XcvrSlotSm() = default;

Zef::ZefType const* XcvrSlotSm::_fwkType() {
  constexpr Zef::AttributeId physicalIndexAttr = Zef::firstAttributeId;
  static Zef::ZefType const* const type = Zef::TypeBuilder<XcvrSlotSm>("Orvane::XcvrSlotSm", nullptr)
                                              .readOnly<&XcvrSlotSm::physicalIndex>("physicalIndex", physicalIndexAttr)
                                              .done();
  return type;
}

SystemSm* XcvrSlotSm::system() const {
  if (chassisSm_) return chassisSm_.get();
  return fixedSystemSm_.get();
}

void XcvrSlotSm::handleXcvr() {
  ORVANE_ENTRY();
  handleObject(root_, system(), handling::xcvr, xcvrSlot(), ParentIndex(0), xcvrSlot()->xcvr());
}

std::span<XcvrSlotSm::ZefXcvrSlot::Slot const> XcvrSlotSm::ZefXcvrSlot::slots() const {
  static constexpr Slot watched[] = {{Watched::xcvrAttr, &Watched::NotifieeConst::onXcvr}};
  return watched;
}

void XcvrSlotSm::ZefXcvrSlot::onXcvr() {
  if (zefOnAttribute(Watched::xcvrAttr, nullptr)) return;
  owner().xcvr_.is(notifier()->xcvr());
  if (alive()) owner().handleXcvr();
}

ZefXcvr::ZefXcvr(XcvrSlotSm& owner)
    : Owned(owner), lane_(*this, "lane", [](ZefXcvr const& self, auto const& visit) {
        for (auto at = self.notifier()->laneIteratorConst(); at; ++at) visit(at.ptr());
      }) {}

void ZefXcvr::handleAll() {
  handleSensor();
  handleLane();
}

void ZefXcvr::onLane(ParentIndex key) {
  if (zefOnKey(Watched::laneAttr, key, &ZefXcvr::onLane)) return;
  if (alive()) handleLane(key);
  if (notifier() != nullptr) lane_.follow(key, notifier()->lane(key));
}

void ZefXcvr::project(Handling const& handling, ParentIndex key,
                      Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  handleObject(owner().root(), owner().system(), handling, notifier(), key, object);
}

void ZefXcvr::handleLane(ParentIndex key) {
  ORVANE_ENTRY(key);
  project(handling::lane, key, notifier()->lane(key));
}

void ZefXcvr::handleLane() {
  ORVANE_ENTRY();
  if (notifier() != nullptr) walk(notifier()->laneIteratorConst(), [this](ParentIndex key) { handleLane(key); });
}

void ZefLane::project(Handling const& handling, ParentIndex key,
                      Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  XcvrSlotSm& slot = owner().owner();
  handleObject(slot.root(), slot.system(), handling, notifier(), key, object);
}

}  // namespace Orvane
