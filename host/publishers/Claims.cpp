#include "host/publishers/Claims.h"

#include "host/Path.h"
#include "host/publishers/Document.h"

namespace Host {

namespace {

using Kind = Zef::ZefAttr::Kind;
using Zef::String8;

// The steps joined, each in its spelling.
template <class Spelling>
std::string joined(Steps const& steps, char separator, Spelling const& spelling) {
  std::string text;
  for (String8 const& step : steps) {
    if (!text.empty()) text += separator;
    text += spelling(step.view());
  }
  return text;
}

}  // namespace

Claims::Node* Claims::Node::at(String8 const& step) const {
  auto const found = below.find(step);
  return found == below.end() ? nullptr : found->second.get();
}

Claim Claims::claimOf(std::string_view path) const {
  auto const refuse = [&path](std::string const& reason) { throw InventoryError(std::string(path), reason); };
  Steps const spelled = stepsOf(path);
  if (spelled.empty()) refuse("a claim is the path of an object or a collection, such as tempStatus/tempSensor");
  for (String8 const& step : spelled) {
    if (step.view().find('\0') != std::string_view::npos) throw InventoryError("", "a path has no zero byte");
  }
  Claim claim;
  auto at = spelled.begin();
  // Directories and the entities in them first, and then what these own. Objects that stand alone tell what can be.
  std::string entity;
  Zef::Ptr<Zef::PtrInterface> object;
  do {
    entity += (entity.empty() ? "" : "/") + std::string(at->view());
    auto const found = types_.find(entity);
    if (found == types_.end()) refuse(claim.steps.empty() ? "no such input" : "no such entity");
    object = found->second->newObject(Zef::Name(*at));
    claim.owner = claim.steps.size();
    claim.steps.push_back(*at++);
  } while (at != spelled.end() && dynamic_cast<Zef::Dir const*>(object.get()) != nullptr);
  while (at != spelled.end()) {
    Zef::ZefAttr const* const attribute = object->fwkType()->attr(Zef::Name(*at));
    if (attribute == nullptr) refuse("no such attribute: " + std::string(at->view()));
    bool const isCollection = attribute->kind() == Kind::collection;
    if (!isCollection && attribute->kind() != Kind::entity)
      refuse(std::string(at->view()) + " is a value, which is claimed with the object that has it");
    claim.owner = claim.steps.size();
    claim.steps.push_back(*at++);
    claim.isCollection = isCollection && at == spelled.end();
    if (!isCollection) {
      object = attribute->childIs(*object);
    } else if (at != spelled.end()) {
      try {
        claim.steps.push_back(attribute->key(*at++));
        object = attribute->memberIs(*object, claim.steps.back());
      } catch (Zef::RangeException const& error) {
        refuse(error.what());
      }
    }
  }
  claim.isPart = claim.steps.front() == "status";
  return claim;
}

std::string Claims::pathOf(Steps const& steps) { return joined(steps, '/', &stepOf); }

std::string Claims::placeOf(Steps const& steps) {
  return joined(steps, '.', [](std::string_view step) { return step; });
}

Claims::Node* Claims::at(Steps const& steps) const {
  Node const* node = &top_;
  for (String8 const& step : steps) {
    node = node->at(step);
    if (node == nullptr) return nullptr;
  }
  return const_cast<Node*>(node);
}

Claims::Owner const* Claims::ownerAt(Steps const& steps) const {
  Node const* const node = at(steps);
  return node == nullptr ? nullptr : node->owner;
}

Claims::Owner const* Claims::speakerAt(Steps const& steps) const {
  Owner const* speaker = nullptr;
  Node const* node = &top_;
  for (String8 const& step : steps) {
    node = node->at(step);
    if (node == nullptr) break;
    if (node->owner != nullptr) speaker = node->owner;
  }
  return speaker;
}

Claims::Node& Claims::ownerIs(Claim const& claim, Owner const& owner) {
  Node* node = &top_;
  for (String8 const& step : claim.steps) {
    auto& below = node->below[step];
    if (!below) below = std::make_unique<Node>();
    node = below.get();
  }
  node->owner = &owner;
  node->claim = claim;
  return *node;
}

void Claims::ownerDel(Steps const& steps) { ownerDel(top_, steps); }

void Claims::ownerDel(Node& node, std::span<String8 const> steps) {
  if (steps.empty()) {
    node.owner = nullptr;
    node.waits = false;
    return;
  }
  auto const next = node.below.find(steps.front());
  if (next == node.below.end()) return;
  ownerDel(*next->second, steps.subspan(1));
  if (next->second->owner == nullptr && next->second->below.empty()) node.below.erase(next);
}

}  // namespace Host
