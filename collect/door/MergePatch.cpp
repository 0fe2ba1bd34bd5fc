#include "collect/door/MergePatch.h"

#include <cstddef>

namespace Collect {

using nlohmann::json;

json mergePatch(json const& from, json const& to) {
  json patch = json::object();
  for (auto const& [name, value] : from.items()) {
    if (!to.contains(name)) patch[name] = nullptr;
  }
  for (auto const& [name, value] : to.items()) {
    auto const old = from.find(name);
    if (old == from.end()) {
      patch[name] = value;
    } else if (value.is_object() && old->is_object()) {
      if (json inner = mergePatch(*old, value); !inner.empty()) patch[name] = std::move(inner);
    } else if (value != *old) {
      patch[name] = value;
    }
  }
  return patch;
}

json const* at(json const& document, Path const& path) {
  json const* found = &document;
  for (auto const& step : path) {
    if (!found->is_object()) return nullptr;
    auto const next = found->find(step);
    if (next == found->end()) return nullptr;
    found = &*next;
  }
  return found;
}

json& made(json& document, Path const& path) {
  json* found = &document;
  for (auto const& step : path) {
    json& next = (*found)[step];
    if (!next.is_object()) next = json::object();
    found = &next;
  }
  return *found;
}

namespace {

void eraseFrom(json& object, Path const& path, std::size_t step) {
  auto const next = object.is_object() && step < path.size() ? object.find(path[step]) : object.end();
  if (next == object.end()) return;
  if (step + 1 < path.size()) {
    eraseFrom(*next, path, step + 1);
    if (!next->is_object() || !next->empty()) return;
  }
  object.erase(next);
}

}  // namespace

void erase(json& document, Path const& path) { eraseFrom(document, path, 0); }

}  // namespace Collect
