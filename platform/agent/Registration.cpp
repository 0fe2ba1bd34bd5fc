#include "platform/agent/Registration.h"

namespace Snmp {

namespace {
constinit AutoRegistree* first = nullptr;
}  // namespace

AutoRegistree::AutoRegistree(HandlerRegistration* registration) : registration_(registration) {
  AutoRegistree** at = &first;
  while (*at != nullptr) at = &(*at)->next_;
  *at = this;
}

AutoRegistree::~AutoRegistree() {
  AutoRegistree** at = &first;
  while (*at != this) at = &(*at)->next_;
  *at = next_;
}

void AutoRegistree::initAll() {
  for (AutoRegistree* at = first; at != nullptr; at = at->next_) {
    if (at->initialised_) continue;
    at->initialised_ = true;
    at->registration_->init();
  }
}

}  // namespace Snmp
