#include "host/Inspection.h"

#include <charconv>
#include <vector>

#include "platform/scrivo/Scrivo.h"
#include "platform/store/Vorlin.h"
#include "runtime/Introspection.h"
#include "runtime/Strep.h"
#include "runtime/Type.h"

namespace Host {

namespace {

using Kind = Zef::ZefAttr::Kind;
using Zef::PtrInterface;
using Zef::String8;
using Zef::Value;
template <class T>
using Ptr = Zef::Ptr<T>;

constexpr std::string_view end = ".\n";

std::string refused(std::string const& reason) { return "! " + reason + "\n"; }

std::string line(std::initializer_list<std::string_view> fields) {
  std::string text;
  for (std::string_view const field : fields) text += (text.empty() ? "" : "\t") + std::string(field);
  return text + "\n";
}

// The steps of a path; a step may hold an escaped "/".
std::vector<String8> stepsOf(std::string_view path) {
  std::vector<String8> steps;
  std::string step;
  auto const close = [&] {
    if (!step.empty()) steps.emplace_back(std::string_view(step));
    step.clear();
  };
  for (std::size_t at = 0; at < path.size(); ++at) {
    unsigned character = 0;
    if (path[at] == '/') {
      close();
    } else if (path[at] == '%' && path.size() - at > 2 &&
               std::from_chars(&path[at + 1], &path[at] + 3, character, 16).ptr == &path[at] + 3) {
      step += static_cast<char>(character);
      at += 2;
    } else {
      step += path[at];
    }
  }
  close();
  return steps;
}

std::string typeOf(PtrInterface const& object) {
  return object.fwkType() == nullptr ? "Zef::PtrInterface" : object.fwkType()->qualifiedName().charPtr();
}

// A value in its text form; `type` is what a record is a value of.
std::string textOf(Value const& value, String8 const& type) {
  if (auto const* flag = value.get<bool>()) return Zef::valueToStrep(*flag).charPtr();
  if (auto const* number = value.get<std::int64_t>()) return std::to_string(*number);
  if (auto const* number = value.get<double>()) return Zef::valueToStrep(*number).charPtr();
  if (auto const* text = value.get<String8>()) return Zef::valueToStrep(*text).charPtr();
  if (auto const* object = value.get<Ptr<PtrInterface>>()) {
    if (!*object) return "None";
    auto const* const entity = dynamic_cast<Zef::Entity const*>(object->get());
    return entity == nullptr ? Zef::valueToStrepOfRawPtr(object->get()).charPtr() : entity->fullName().charPtr();
  }
  auto const* const record = value.get<Value::Record>();
  if (record == nullptr) return "None";
  std::string text = "Value('" + std::string(type.view()) + "', ** {";
  char const* separator = "";
  for (auto const& [name, field] : *record) {
    text += separator + std::string(Zef::valueToStrep(name).view()) + ": " + textOf(field, "");
    separator = ", ";
  }
  return text + "})";
}

std::string attributeLine(PtrInterface const& object, Zef::ZefAttr const& attribute) {
  std::string_view const name = attribute.name().view();
  std::string_view const type = attribute.typeText().view();
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::reference:
    case Kind::optional:
      return line({name, attribute.kind() == Kind::reference ? "reference" : "value", type,
                   textOf(attribute.get(object), attribute.typeText())});
    case Kind::entity:
      return line({name, "entity", type, attribute.child(object) ? "present" : "None"});
    case Kind::collection:
    case Kind::valueMap:
      return line({name, attribute.kind() == Kind::collection ? "collection" : "values", type,
                   std::to_string(attribute.keys(object).size())});
    case Kind::function:
      break;
  }
  return "";
}

std::string objectText(PtrInterface const& object) {
  std::string text;
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&object)) {
    for (auto const& entity : dir->entities()) text += line({entity->name().view(), "member", typeOf(*entity)});
  } else if (object.fwkType() != nullptr) {
    for (auto const* attribute : object.fwkType()->allAttributes()) text += attributeLine(object, *attribute);
  }
  return text;
}

std::string collectionText(PtrInterface const& object, Zef::ZefAttr const& attribute) {
  std::string text;
  for (String8 const& key : attribute.keys(object)) {
    if (attribute.kind() == Kind::collection) {
      text += line({key.view(), "member", attribute.typeText().view()});
    } else {
      text += line({key.view(), "value", attribute.typeText().view(),
                    textOf(attribute.entry(object, key), attribute.typeText())});
    }
  }
  return text;
}

std::string traceText() {
  if (Scrivo::theTraceFile == nullptr) return refused("nothing is recorded");
  std::string text;
  for (Scrivo::Record const& record : Scrivo::theTraceFile->records()) {
    std::string message = Scrivo::TraceFile::message(record.message);
    if (record.value != 0) message += std::to_string(record.value);
    text += line({Zef::format("%.6f", record.start).view(), "record", Zef::format("%.6f", record.duration).view(),
                  Zef::valueToStrep(String8(message.c_str())).view()});
  }
  return text + std::string(end);
}

std::string typeText(Zef::IntrospectionReactor::Node const& node) {
  std::string text;
  for (auto const& attribute : node.attributes) {
    std::string about = std::to_string(attribute.id);
    if (!attribute.furtherType.empty()) about += " by " + std::string(attribute.furtherType.view());
    if (attribute.access == Zef::ZefAttr::Access::fixed) about += " fixed";
    if (attribute.flags == Zef::ZefAttr::ZefAttrIntrospectionFlags::isFunction_()) {
      char const* separator = " (";
      if (attribute.parameters.empty()) about += separator;
      for (auto const& parameter : attribute.parameters) {
        about += separator + std::string(parameter.type.view()) + " " + parameter.name.charPtr();
        separator = ", ";
      }
      about += ")";
    }
    text += line({attribute.name.view(), "attribute", attribute.type.view(), about});
  }
  return text;
}

// All types, or the one that the path names.
std::string typesText(std::vector<String8> const& steps) {
  auto const& nodes = Zef::IntrospectionReactor::global().nodes();
  std::string text;
  for (auto const& node : nodes) {
    Zef::Name const& name = node.type->qualifiedName();
    if (steps.size() == 2 && name == Zef::Name(steps[1])) return typeText(node) + std::string(end);
    text += line({name.view(), "member", node.base == nullptr ? "" : node.base->qualifiedName().view()});
  }
  return steps.size() == 1 ? text + std::string(end) : refused("there is no such type");
}

}  // namespace

Inspection::Inspection(Ptr<Zef::Dir> store, Ptr<Zef::Entity> root) : store_(std::move(store)), root_(std::move(root)) {}

std::string Inspection::answer(std::string_view path) const {
  std::vector<String8> steps = stepsOf(path);
  if (steps.size() == 1 && steps[0] == "trace") return traceText();
  if (!steps.empty() && steps[0] == "types") return typesText(steps);
  Ptr<PtrInterface> from = store_;
  if (!steps.empty() && steps[0] == "root") {
    from = root_;
    steps.erase(steps.begin());
  }
  if (auto const object = Vorlin::find(from, steps)) return objectText(*object) + std::string(end);
  // The last step may name an attribute that is no object.
  if (!steps.empty()) {
    String8 const last = steps.back();
    steps.pop_back();
    auto const object = Vorlin::find(from, steps);
    auto const* const attribute =
        object && object->fwkType() != nullptr ? object->fwkType()->attr(Zef::Name(last)) : nullptr;
    if (attribute != nullptr && (attribute->kind() == Kind::collection || attribute->kind() == Kind::valueMap))
      return collectionText(*object, *attribute) + std::string(end);
    if (attribute != nullptr) return attributeLine(*object, *attribute) + std::string(end);
  }
  return refused("there is nothing at " + std::string(path));
}

}  // namespace Host
