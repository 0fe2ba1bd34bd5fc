#pragma once

namespace Snmp {

// What a MIB module leaves behind at load: the agent calls init() once, when it initialises its modules.
class HandlerRegistration {
 public:
  HandlerRegistration() = default;
  HandlerRegistration(HandlerRegistration const&) = delete;
  HandlerRegistration& operator=(HandlerRegistration const&) = delete;
  virtual ~HandlerRegistration() = default;
  virtual void init() = 0;
};

// Puts a registration on the agent's list for as long as it lives. Meant for static objects, so the list needs no
// set-up.
class AutoRegistree {
 public:
  explicit AutoRegistree(HandlerRegistration* registration);
  ~AutoRegistree();
  AutoRegistree(AutoRegistree const&) = delete;
  AutoRegistree& operator=(AutoRegistree const&) = delete;

  // Calls init() of every listed registration that has not had its call yet, in the order of registration.
  static void initAll();

 private:
  HandlerRegistration* registration_;
  bool initialised_ = false;
  AutoRegistree* next_ = nullptr;
};

}  // namespace Snmp
