#include "mib/Trace.h"

namespace Mib {

std::string oidText(oid const* subidentifiers, std::size_t length) {
  char text[200];
  snprint_objid(text, sizeof text, subidentifiers, length);
  return text;
}

}  // namespace Mib
