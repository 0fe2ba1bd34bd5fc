#include "host/publishers/Inventory.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/Printable.h"
#include "platform/store/Vorlin.h"

namespace Host {

namespace {

using nlohmann::json;
using Zef::Ptr;
using Zef::PtrInterface;
using Zef::String8;
using Zef::ZefAttr;
using Kind = ZefAttr::Kind;

// The way to a place in the file.
class Place {
 public:
  Place() = default;
  Place(Place const& above, std::string_view step) : above_(&above), step_(step) {}

  std::string text() const {
    if (above_ == nullptr) return {};
    std::string const above = above_->text();
    return (above.empty() ? above : above + ".") + std::string(step_);
  }
  [[noreturn]] void refuse(std::string const& reason) const { throw InventoryError(text(), reason); }

 private:
  Place const* above_ = nullptr;
  std::string_view step_;
};

// Has the model refuse what does not fit, and says where that was.
template <class Call>
auto fitting(Place const& place, Call&& call) {
  try {
    return call();
  } catch (Zef::RangeException const& error) {
    place.refuse(error.what());
  }
}

// Line and column of the last byte that the parser took.
std::string position(std::string_view text, std::size_t byte) {
  std::string_view const taken = text.substr(0, byte == 0 ? 0 : byte - 1);
  std::size_t const lineStart = taken.rfind('\n') + 1;  // 0 when there is none
  return std::to_string(std::count(taken.begin(), taken.end(), '\n') + 1) + ":" +
         std::to_string(taken.size() - lineStart + 1);
}

// The library's messages begin with its own name for them and, for syntax, the position in words.
std::string reasonOf(json::exception const& error) {
  std::string_view text = error.what();
  for (std::string_view const end : {"] ", ": "}) {
    std::size_t const at = text.find(end);
    bool const isPrefix = end == "] " || text.starts_with("parse error");
    if (at != std::string_view::npos && isPrefix) text.remove_prefix(at + end.size());
  }
  return std::string(text);
}

// Builds the document from what the parser meets, each value once: the library's own builder keeps the last of several
// equal keys, and the one that tells of them takes time with the square of an object's size.
class Builder final : public nlohmann::json_sax<json> {
 public:
  explicit Builder(std::string_view text) : text_(text) {}

  json take() { return std::move(document_); }

  bool null() override { return enter(nullptr); }
  bool boolean(bool value) override { return enter(value); }
  bool number_integer(std::int64_t value) override { return enter(value); }
  bool number_unsigned(std::uint64_t value) override { return enter(value); }
  bool number_float(double value, std::string const& /*spelling*/) override { return enter(value); }
  bool string(std::string& value) override { return enter(std::move(value)); }
  bool binary(json::binary_t& /*value*/) override { return false; }  // not in a text
  bool start_object(std::size_t /*size*/) override { return enter(json::object()); }
  bool start_array(std::size_t /*size*/) override { return enter(json::array()); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }

  bool key(std::string& name) override {
    open_.back().key = name;
    auto const [at, isNew] = open_.back().value->get_ref<json::object_t&>().emplace(name, nullptr);
    if (!isNew) refuseKey();
    slot_ = &at->second;
    return true;
  }

  bool parse_error(std::size_t byte, std::string const& /*token*/, json::exception const& error) override {
    throw InventoryError(position(text_, byte), reasonOf(error));
  }

 private:
  struct Open {
    json* value;  // an object or an array that has not ended; it stays where it is until then
    std::string key;
  };

  bool enter(json value) {
    json* at = open_.empty() ? &document_ : slot_;
    if (!open_.empty() && open_.back().value->is_array()) {
      at = &open_.back().value->get_ref<json::array_t&>().emplace_back();
    }
    *at = std::move(value);
    if (at->is_structured()) open_.push_back({at, {}});
    return true;
  }
  bool leave() {
    open_.pop_back();
    return true;
  }
  [[noreturn]] void refuseKey() const {
    std::string place;
    for (Open const& open : open_) {
      if (open.value->is_object()) place += (place.empty() ? "" : ".") + open.key;
    }
    throw InventoryError(place, "it stands there twice");
  }

  std::string_view text_;
  json document_;
  std::vector<Open> open_;
  json* slot_ = nullptr;  // where the value of the key that was met last belongs
};

json parse(std::string_view text) {
  Builder builder(text);
  json::sax_parse(text, &builder);
  return builder.take();
}

String8 textOf(std::string const& text, Place const& place) {
  if (text.find('\0') != std::string::npos) place.refuse("a text cannot hold a zero byte");
  return String8(std::string_view(text));
}

char const* kindOf(json const& value) {
  if (value.is_array()) return "a list";
  if (value.is_object()) return "an object in braces";
  if (value.is_string()) return "a text";
  if (value.is_number()) return "a number";
  return value.is_boolean() ? "true or false" : "null";
}

json::object_t const& objectOf(json const& value, Place const& place) {
  if (!value.is_object()) place.refuse(std::string("an object in braces is needed, not ") + kindOf(value));
  return value.get_ref<json::object_t const&>();
}

Zef::Value valueOf(json const& value, Place const& place) {
  switch (value.type()) {
    case json::value_t::boolean:
      return value.get<bool>();
    case json::value_t::number_integer:
      return value.get<std::int64_t>();
    case json::value_t::number_unsigned: {
      auto const number = value.get<std::uint64_t>();
      if (number > std::uint64_t{INT64_MAX}) return static_cast<double>(number);
      return number;
    }
    case json::value_t::number_float:
      return value.get<double>();
    case json::value_t::string:
      return textOf(value.get_ref<std::string const&>(), place);
    case json::value_t::object: {
      Zef::Value::Record record;
      for (auto const& [name, field] : value.get_ref<json::object_t const&>()) {
        Place const below(place, name);
        record.emplace_back(textOf(name, below), valueOf(field, below));
      }
      return record;
    }
    default:
      if (value.is_null()) place.refuse("a value is needed, not null; leave the name out for none");
      place.refuse(std::string("a value is needed, not ") + kindOf(value));
  }
}

class Reader {
 public:
  explicit Reader(EntityTypes const& types) : types_(types) {}

  Ptr<Zef::Dir> read(json const& document);

 private:
  // Places outlive nothing but the walk, so a reference that waits for its end keeps the text.
  struct Reference {
    Ptr<PtrInterface> from;
    ZefAttr const* attribute;
    std::vector<String8> steps;
    std::string place;
  };

  void directory(Zef::Dir& dir, std::string const& path, json const& value, Place const& place);
  void fill(PtrInterface& object, std::string const& path, json const& value, Place const& place);
  void attributes(PtrInterface& object, json::object_t const& members, Place const& place);
  void own(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place);
  void children(PtrInterface& object, json::object_t const& members, Place const& place);
  void collection(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place);
  void entries(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place);
  void reference(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place);
  void refer(Ptr<Zef::Dir> const& inputs) const;

  EntityTypes const& types_;
  std::vector<Reference> references_;
};

Ptr<Zef::Dir> Reader::read(json const& document) {
  auto inputs = Zef::make<Zef::Dir>("input");
  for (auto const& [path, type] : types_) {
    if (path.find('/') == std::string::npos) type->newEntity(Zef::Name(path.c_str()), inputs.get());
  }
  directory(*inputs, "", document, Place());
  refer(inputs);
  return inputs;
}

void Reader::directory(Zef::Dir& dir, std::string const& path, json const& value, Place const& place) {
  std::string const prefix = path.empty() ? "" : path + "/";
  for (auto const& [name, below] : objectOf(value, place)) {
    Place const there(place, name);
    auto const type = types_.find(std::string(prefix).append(name));
    if (type == types_.end()) there.refuse(path.empty() ? "no such input" : "no such entity");
    Zef::Name const entityName(name.c_str());
    Ptr<Zef::Entity> entity = dir.entity(entityName);
    if (!entity) entity = type->second->newEntity(entityName, &dir);
    fill(*entity, type->first, below, there);
  }
}

void Reader::fill(PtrInterface& object, std::string const& path, json const& value, Place const& place) {
  if (auto* const dir = dynamic_cast<Zef::Dir*>(&object)) {
    directory(*dir, path, value, place);
    return;
  }
  json::object_t const& members = objectOf(value, place);
  // What stands below an object may take its place from the object's own values.
  attributes(object, members, place);
  children(object, members, place);
}

void Reader::attributes(PtrInterface& object, json::object_t const& members, Place const& place) {
  for (auto const& member : members) {
    Place const there(place, member.first);
    ZefAttr const* const attribute = object.fwkType()->attr(Zef::Name(member.first.c_str()));
    if (attribute == nullptr || attribute->kind() == Kind::function) there.refuse("no such attribute");
    if (attribute->access() == ZefAttr::Access::readOnly) {
      there.refuse("it follows from the place in the tree or from other values, and is not written in a file");
    }
    fitting(there, [&] { own(object, *attribute, member.second, there); });
  }
}

void Reader::own(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place) {
  switch (attribute.kind()) {
    case Kind::value:
    case Kind::optional:
      attribute.set(object, valueOf(value, place));
      break;
    case Kind::valueMap:
      entries(object, attribute, value, place);
      break;
    case Kind::reference:
      reference(object, attribute, value, place);
      break;
    case Kind::entity:
    case Kind::collection:
    case Kind::function:
      break;
  }
}

void Reader::entries(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place) {
  for (auto const& entry : objectOf(value, place)) {
    Place const there(place, entry.first);
    fitting(there, [&] {
      attribute.entryIs(object, attribute.key(textOf(entry.first, there)), valueOf(entry.second, there));
    });
  }
}

void Reader::reference(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place) {
  Reference reference{&object, &attribute, {}, place.text()};
  bool const isList = value.is_array() && !value.empty() &&
                      std::all_of(value.begin(), value.end(), [](json const& step) { return step.is_string(); });
  if (!isList) place.refuse("a list of the names that lead to an object is needed");
  for (json const& step : value) reference.steps.push_back(textOf(step.get_ref<std::string const&>(), place));
  references_.push_back(std::move(reference));
}

void Reader::children(PtrInterface& object, json::object_t const& members, Place const& place) {
  for (auto const& [name, value] : members) {
    Place const there(place, name);
    ZefAttr const& attribute = *object.fwkType()->attr(Zef::Name(name.c_str()));
    if (attribute.kind() == Kind::entity) {
      auto const child = fitting(there, [&] { return attribute.childIs(object); });
      fill(*child, "", value, there);
    } else if (attribute.kind() == Kind::collection) {
      collection(object, attribute, value, there);
    }
  }
}

void Reader::collection(PtrInterface& object, ZefAttr const& attribute, json const& value, Place const& place) {
  for (auto const& member : objectOf(value, place)) {
    Place const there(place, member.first);
    auto const entered = fitting(there, [&] {
      String8 const key = attribute.key(textOf(member.first, there));
      if (attribute.member(object, key)) there.refuse("it is another spelling of a key that stands there already");
      return attribute.memberIs(object, key);
    });
    fill(*entered, "", member.second, there);
  }
}

void Reader::refer(Ptr<Zef::Dir> const& inputs) const {
  for (Reference const& reference : references_) {
    auto const object = Vorlin::find(inputs, reference.steps);
    if (!object) {
      std::string steps;
      for (String8 const& step : reference.steps) steps += (steps.empty() ? "" : ", ") + std::string(step.view());
      throw InventoryError(reference.place, "there is nothing at " + steps);
    }
    try {
      reference.attribute->set(*reference.from, object);
    } catch (Zef::RangeException const& error) {
      throw InventoryError(reference.place, error.what());
    }
  }
}

}  // namespace

InventoryError::InventoryError(std::string const& place, std::string const& reason)
    : std::runtime_error(place.empty() ? printable(reason) : printable(place) + ": " + printable(reason)) {}

Ptr<Zef::Dir> readInventory(std::string_view text, EntityTypes const& types) { return Reader(types).read(parse(text)); }

}  // namespace Host
