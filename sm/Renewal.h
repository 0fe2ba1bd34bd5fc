#pragma once

#include <functional>
#include <set>

#include "sm/Root.h"

namespace Orvane {

// Brings rows to where they would stand if they had just come: their state rows, and the sensors among them with their
// place in the set of sensors with thresholds, are made anew and offered every record that goes by their names. The
// reactors act on what arrives, leaves or changes before their eyes, and some of what a row shows follows from two
// things of which they watch one; who publishes knows of both.
//
// A fan and its sensor are one thing here, whichever is named. `then` is called when all rows have been offered theirs.
// A row that ends as it was keeps its time and its alarm, and asks for no notification; one that the tables do not have
// is no event.
void renew(Root& root, std::set<U32> const& rows, std::function<void()> const& then = nullptr);

}  // namespace Orvane
