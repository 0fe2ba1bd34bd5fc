#include "model/OrvaneLib.h"

namespace Orvane {

Zef::String8 PhysicalEntity::description() const { return phyAttr_ ? phyAttr_->description() : description_; }

}  // namespace Orvane
