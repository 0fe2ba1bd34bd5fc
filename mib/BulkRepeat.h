#pragma once

#include "platform/agent/NetSnmp.h"

namespace Mib {

// A helper for the chain of a table, below serialize and above bulk_to_next: it answers all repetitions of a GETBULK in
// one call. Otherwise the agent comes by for each of them, and every time it checks the access to the table, assigns
// the requests anew and goes through all variables: a third of what a walk costs.
netsnmp_mib_handler* bulkRepeatHandler();

}  // namespace Mib
