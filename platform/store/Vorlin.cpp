#include "platform/store/Vorlin.h"

#include "runtime/reflection/Type.h"

namespace Vorlin {

using Zef::Ptr;
using Zef::String8;

namespace {

// One step; a collection's attribute takes its key from the steps too.
Ptr<Zef::PtrInterface> step(Zef::PtrInterface const& from, std::span<String8 const>& steps) {
  String8 const name = steps.front();
  steps = steps.subspan(1);
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&from)) return dir->entity(name);

  Zef::ZefAttr const* const attribute = from.fwkType() == nullptr ? nullptr : from.fwkType()->attr(name);
  if (attribute == nullptr) return nullptr;
  if (attribute->kind() == Zef::ZefAttr::Kind::entity) return attribute->child(from);
  if (attribute->kind() != Zef::ZefAttr::Kind::collection || steps.empty()) return nullptr;
  String8 const key = steps.front();
  steps = steps.subspan(1);
  try {
    return attribute->member(from, key);
  } catch (Zef::RangeException const&) {  // no key of that type, so there is no such member
    return nullptr;
  }
}

}  // namespace

Ptr<Zef::PtrInterface> find(Ptr<Zef::PtrInterface> from, std::span<String8 const> steps) {
  while (from && !steps.empty()) from = step(*from, steps);
  return from;
}

bool stepsTo(Zef::Entity const& entity, Zef::Entity const* top, std::vector<String8>& steps) {
  if (&entity == top) return true;
  auto const parent = entity.parent();
  if (!parent || !stepsTo(*parent, top, steps)) return false;
  Zef::ZefAttr const* const attribute =
      entity.parentAttrId() == 0 ? nullptr : parent->fwkType()->attr(entity.parentAttrId());
  if (attribute != nullptr) steps.push_back(attribute->name());
  // A single child is named by its attribute alone.
  if (attribute == nullptr || attribute->kind() == Zef::ZefAttr::Kind::collection) steps.push_back(entity.name());
  return true;
}

Store::Store() : top_(Zef::make<Zef::Dir>("vx")), root_(Zef::make<Zef::Dir>("Vorlin")) { top_->entityIs(root_); }

Ptr<Zef::Dir> Store::dirIs(std::string_view path) {
  Ptr<Zef::Dir> at = root_;
  while (!path.empty()) {
    std::size_t const slash = std::min(path.find('/'), path.size());
    String8 const name{path.substr(0, slash)};
    path.remove_prefix(std::min(slash + 1, path.size()));
    auto next = Zef::dynamicCast<Zef::Dir>(at->entity(name));
    if (!next) {
      next = Zef::make<Zef::Dir>(name);
      at->entityIs(next);
    }
    at = next;
  }
  return at;
}

}  // namespace Vorlin
