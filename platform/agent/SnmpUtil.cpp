#include "platform/agent/SnmpUtil.h"

#include <string_view>

namespace SnmpUtil {

namespace {
Zef::Ptr<Zef::Dir>& systemRoot() {
  static Zef::Ptr<Zef::Dir> root;
  return root;
}
}  // namespace

void systemRootIs(Zef::Ptr<Zef::Dir> const& root) { systemRoot() = root; }

Zef::Ptr<Zef::Entity> getEntityRelative(char const* path) {
  Zef::Ptr<Zef::Entity> entity = systemRoot();
  for (std::string_view rest = path; entity;) {
    auto const dir = Zef::dynamicCast<Zef::Dir>(entity);
    if (!dir) return nullptr;
    std::size_t const slash = rest.find('/');
    entity = dir->entity(Zef::Name(Zef::String8(rest.substr(0, slash))));
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  return entity;
}

}  // namespace SnmpUtil
