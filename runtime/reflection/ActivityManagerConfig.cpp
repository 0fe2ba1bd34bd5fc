#include "runtime/reflection/ActivityManagerConfig.h"

#include "runtime/reflection/TypeBuilder.h"

namespace Zef {

ZefType const* ActivityManagerConfig::_fwkType() {
  static ZefType const* const type =
      TypeBuilder<ActivityManagerConfig>("Zef::ActivityManagerConfig", entityType()).done();
  return type;
}

Ptr<Clock> processClock() {
  Ptr<Entity> manager = Entity::singletonExists(typeName<ActivityManagerConfig>());
  if (!manager) manager = Entity::singletonIs(ActivityManagerConfig::_fwkType());
  return static_cast<ActivityManagerConfig&>(*manager).clock();
}

}  // namespace Zef
