#include "host/Inspection.h"

#include <vector>

#include "host/Path.h"
#include "host/publishers/Publishers.h"
#include "platform/scrivo/Scrivo.h"
#include "platform/store/Vorlin.h"
#include "runtime/reflection/Introspection.h"
#include "runtime/reflection/Strep.h"
#include "runtime/reflection/Type.h"

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

std::string line(std::string_view name, std::initializer_list<std::string_view> fields) {
  std::string text = stepOf(name);
  for (std::string_view const field : fields) text += "\t" + std::string(field);
  return text + "\n";
}

std::string typeOf(PtrInterface const& object) {
  return object.fwkType() == nullptr ? "Zef::PtrInterface" : object.fwkType()->qualifiedName().charPtr();
}

// A value in its text form; `type` is its type.
std::string textOf(Value const& value, Zef::ZefType const& type) {
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
  Zef::ValueText text(type.qualifiedName().charPtr());
  for (auto const& [name, field] : *record) {
    text.add(name, textOf(field, *type.attr(Zef::Name(name))->type()).c_str());
  }
  return text.done().charPtr();
}

std::size_t countOf(PtrInterface const& object, Zef::ZefAttr const& attribute) {
  std::size_t count = 0;
  for (auto at = attribute.walk(object); at->more(); at->advance()) ++count;
  return count;
}

std::string attributeLine(PtrInterface const& object, Zef::ZefAttr const& attribute) {
  std::string_view const name = attribute.name().view();
  String8 const typeText = attribute.typeText();
  std::string_view const type = typeText.view();
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::reference:
    case Kind::optional:
      return line(name, {attribute.kind() == Kind::reference ? "reference" : "value", type,
                         textOf(attribute.get(object), *attribute.type())});
    case Kind::entity:
      return line(name, {"entity", type, attribute.child(object) ? "present" : "None"});
    case Kind::collection:
    case Kind::valueMap:
      return line(name, {attribute.kind() == Kind::collection ? "collection" : "values", type,
                         std::to_string(countOf(object, attribute))});
    case Kind::function:
      break;
  }
  return "";
}

std::string objectText(PtrInterface const& object) {
  std::string text;
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&object)) {
    for (auto const& entity : dir->entities()) text += line(entity->name().view(), {"member", typeOf(*entity)});
  } else if (object.fwkType() != nullptr) {
    for (auto const* attribute : object.fwkType()->allAttributes()) {
      // What a type declares again has the place of its base's.
      if (object.fwkType()->attr(attribute->name()) == attribute) text += attributeLine(object, *attribute);
    }
  }
  return text;
}

std::string collectionText(PtrInterface const& object, Zef::ZefAttr const& attribute) {
  std::string text;
  for (auto at = attribute.walk(object); at->more(); at->advance()) {
    String8 const key = at->keyText();
    Value const value = at->value();
    auto const* const member = value.get<Ptr<PtrInterface>>();
    if (attribute.kind() == Kind::collection && member != nullptr && *member) {
      text += line(key.view(), {"member", typeOf(**member)});
    } else {
      text += line(key.view(), {"value", attribute.typeText().view(), textOf(value, *attribute.type())});
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
    text += line(Zef::format("%.6f", record.start).view(), {"record", Zef::format("%.6f", record.duration).view(),
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
    text += line(attribute.name.view(), {"attribute", attribute.type.view(), about});
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
    text += line(name.view(), {"member", node.base == nullptr ? "" : node.base->qualifiedName().view()});
  }
  return steps.size() == 1 ? text + std::string(end) : refused("there is no such type");
}

std::string listOf(std::vector<std::string> const& texts) {
  std::string list;
  for (std::string const& text : texts)
    list += (list.empty() ? "" : ", ") + std::string(Zef::valueToStrep(String8(text.c_str())).view());
  return "[" + list + "]";
}

// All publishers, or what is known of the one that the path names.
std::string publishersText(Publishers const& publishers, std::vector<String8> const& steps) {
  std::string text;
  for (auto const& each : publishers.described()) {
    if (steps.size() == 1) text += line(each.name, {"member", each.state});
    if (steps.size() != 2 || !(steps[1] == each.name.c_str())) continue;
    auto const value = [&text](char const* name, char const* type, std::string const& of) {
      text += line(name, {"value", type, of});
    };
    auto const words = [&](char const* name, std::string const& of) {
      value(name, "Zef::String8", Zef::valueToStrep(String8(of.c_str())).charPtr());
    };
    words("state", each.state);
    value("claims", "list", listOf(each.claims));
    value("lease", "double", Zef::format("%g", each.lease).charPtr());
    value("leaseLeft", "double", Zef::format("%.1f", each.leaseLeft).charPtr());
    value("messages", "U64", std::to_string(each.messages));
    value("refusals", "U64", std::to_string(each.refusals));
    words("lastRefusal", each.lastRefusal);
    value("rows", "U64", std::to_string(each.rows));
    value("waits", "list", listOf(each.waits));
    return text + std::string(end);
  }
  return steps.size() == 1 ? text + std::string(end) : refused("there is no such publisher");
}

}  // namespace

Inspection::Inspection(Ptr<Zef::Dir> store, Root root, Publishers const* publishers)
    : store_(std::move(store)), root_(std::move(root)), publishers_(publishers) {}

std::string Inspection::answer(std::string_view path) const {
  std::vector<String8> steps = stepsOf(path);
  if (steps.size() == 1 && steps[0] == "trace") return traceText();
  if (!steps.empty() && steps[0] == "types") return typesText(steps);
  if (publishers_ != nullptr && !steps.empty() && steps[0] == "publishers") return publishersText(*publishers_, steps);
  Ptr<PtrInterface> from = store_;
  if (!steps.empty() && steps[0] == "root") {
    from = root_();
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
