#include "runtime/reactors/Notifiee.h"

#include <exception>

#include "runtime/kit/Trace.h"
#include "runtime/reactors/Notifier.h"

namespace Zef {

namespace {
unsigned long exceptions = 0;

TraceHandle& zefTrace() {
  static TraceHandle handle("Zef", false);
  return handle;
}

char const* textOf(std::exception_ptr const& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (std::exception const& caught) {
    static std::string text;
    text = caught.what();
    return text.c_str();
  } catch (...) {
    return "not a std::exception";
  }
}
}  // namespace

PtrInterface::NotifieeConst::~NotifieeConst() { zefNotifierIs(nullptr); }

Name PtrInterface::NotifieeConst::name() const { return {}; }

void PtrInterface::NotifieeConst::zefNotifierIs(PtrInterface const* notifier) {
  if (notifier == notifier_) return;
  registered_ = false;
  listedIs(false);
  PtrInterface const* const old = notifier_;
  if (!weak_ && notifier != nullptr) notifier->newReference();
  notifier_ = notifier;
  listedIs(weak_);
  if (!weak_ && old != nullptr) old->deleteReference();
}

void PtrInterface::NotifieeConst::listedIs(bool listed) {
  if (listed == listed_) return;
  auto const* const notifier = dynamic_cast<Notifier const*>(notifier_);
  if (notifier == nullptr) return;
  listed_ = listed;
  if (listed) {
    notifier->notifiees().enq(this);
  } else {
    notifier->notifiees().del(this);
  }
}

void PtrInterface::NotifieeConst::isWeakReferenceIs(bool weak) {
  if (weak == weak_) return;
  weak_ = weak;
  if (notifier_ == nullptr) return;
  listedIs(registered_ || weak);
  if (weak) {
    notifier_->deleteReference();  // listed by now, it hears of the notifier's end
  } else {
    notifier_->newReference();
  }
}

void PtrInterface::NotifieeConst::zefNotifierGone() {
  registered_ = false;
  listed_ = false;
  notifier_ = nullptr;
}

void PtrInterface::NotifieeConst::notifierIs(Ptr<PtrInterface const> const& notifier) { zefNotifierIs(notifier.get()); }

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  if (registered == registered_) return;
  listedIs(registered || weak_);
  registered_ = registered && listed_;
}

void PtrInterface::NotifieeConst::handleNotification(ActivityConfig* activity) {
  AttributeId const attribute = pending_;
  pending_ = 0;
  handleDefault(activity, attribute, attribute == allAttributes);
}

void PtrInterface::NotifieeConst::handleDefault(ActivityConfig* /*activity*/, AttributeId attribute, bool /*unknown*/) {
  if (attribute == allAttributes || attribute == allAttributesAlso) {
    onNotification();
  } else {
    onAttribute(attribute);
  }
}

void PtrInterface::NotifieeConst::onNotificationException() { handleNotificationException(); }

void PtrInterface::NotifieeConst::onNotificationException(AttributeId attribute) {
  handleNotificationException(attribute);
}

void PtrInterface::NotifieeConst::handleNotificationException(AttributeId attribute) {
  ZEF_TRACE(zefTrace(), 0) << "exception in a handler of " << name() << ", attribute " << attribute << ": "
                           << textOf(std::current_exception());
}

void PtrInterface::NotifieeConst::handleNotificationException() {
  ZEF_TRACE(zefTrace(), 0) << "exception in a handler of " << name() << ": " << textOf(std::current_exception());
}

unsigned long PtrInterface::NotifieeConst::zefNotificationExceptions() { return exceptions; }

void PtrInterface::NotifieeConst::zefNotificationException(AttributeId attribute) {
  ++exceptions;
  try {
    if (attribute == 0) {
      onNotificationException();
    } else {
      onNotificationException(attribute);
    }
  } catch (...) {
    ZEF_TRACE(zefTrace(), 0) << "exception in the exception handler of " << name() << ": "
                             << textOf(std::current_exception());
  }
}

ActivityConfig* PtrInterface::NotifieeConst::activityPtr() const {
  return actsm() == nullptr ? nullptr : actsm()->config();
}

void PtrInterface::NotifieeConst::hasNotificationActiveIs(bool on) {
  if (on == hasNotificationActive()) return;
  if (!on) {
    zef_bitSetIs(registered_ ? bits_ | wasRegisteredBit : bits_ & ~wasRegisteredBit);
    PtrInterface::hasNotificationActiveIs(false);
    isRegisteredNotifieeIs(false);
  } else {
    PtrInterface::hasNotificationActiveIs(true);
    if ((bits_ & wasRegisteredBit) != 0) isRegisteredNotifieeIs(true);
  }
}

bool PtrInterface::NotifieeConst::zefOnAttribute(AttributeId attribute, unsigned char* /*context*/) {
  if (!ActivitySm::process().mustDefer()) return false;
  ActivitySm::process().enq(*this, attribute);
  return true;
}

void PtrInterface::NotifieeConst::redispatch(ActivitySm* /*activity*/) { ActivitySm::process().run(); }

}  // namespace Zef
