#include "host/Bridge.h"
#include "host/Plugin.h"

// What the agent calls for `dlmod orvane FILE`, and again, in pairs, whenever it reads its configuration anew.
extern "C" {

void init_orvane() {
  Host::contained("init_orvane", [] { Host::Plugin::instance().loadedIs(true); });
}

void deinit_orvane() {
  Host::contained("deinit_orvane", [] { Host::Plugin::instance().loadedIs(false); });
}
}
