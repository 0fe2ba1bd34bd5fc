#include "runtime/reflection/GenericIf.h"

#include <algorithm>

#include "runtime/reactors/Activity.h"

namespace Zef {

namespace {

using Op = GenericIf::AttributeOp;
using Kind = ZefAttr::Kind;

// A key of that type as the text by which attributes know it.
String8 keyTextOf(Value const& key, ZefType const& type) {
  if (auto const* number = key.get<std::int64_t>()) return format("%lld", static_cast<long long>(*number));
  if (auto const* text = key.get<String8>()) return *text;
  auto const* const fields = key.get<Value::Record>();
  if (fields == nullptr || fields->size() != type.attributes().size()) {
    throwRangeException(format("no %s is %s", type.qualifiedName().charPtr(), key.description().charPtr()));
  }
  String8 text;
  for (auto const& field : type.attributes()) {
    auto const found = std::find_if(fields->begin(), fields->end(),
                                    [&](auto const& given) { return field->name().stringValue() == given.first; });
    if (found == fields->end()) throwRangeException(format("the field %s is missing", field->name().charPtr()));
    text += (field == type.attributes().front() ? "" : "/") + keyTextOf(found->second, *field->type());
  }
  return text;
}

// What is to become writable through the result may not be const here.
Value valueFor(Ptr<GenericIf> const& given, bool pointsAtConst) {
  if (!given) return {};
  Value value = given->value();
  if (given->isConst() && !pointsAtConst && value.get<Ptr<PtrInterface>>() != nullptr) GenericIf::throwConstException();
  return value;
}

// Does what may refuse a value or a key, and names the attribute in the refusal.
template <class Call>
auto fitting(ZefAttr const& attribute, Call call) {
  try {
    return call();
  } catch (RangeException const& error) {
    GenericIf::throwTypeException(attribute.name(), error.what());
  }
}

std::vector<Value> argumentsOf(ZefAttr const& function, Ptr<GenericIf> const& given) {
  std::vector<Value> values;
  if (!given) return values;
  auto const* const list = dynamic_cast<GenericIf::List const*>(given.get());
  if (list == nullptr) GenericIf::throwTypeException(function.name(), "a list of arguments is needed");
  for (auto const& argument : list->members()) {
    bool const known = values.size() < function.parameters().size();
    values.push_back(valueFor(argument, known && function.parameters()[values.size()].pointsAtConst));
  }
  return values;
}

// One operation on one attribute of one object; what it gives is in the attribute's type.
class Operation {
 public:
  Operation(PtrInterface& object, ZefAttr const& attribute, Op const& op, bool isConst)
      : object_(object), attribute_(attribute), op_(op), const_(isConst) {}

  Ptr<GenericIf> run(Ptr<GenericIf const> const& key, Ptr<GenericIf> const& value) const {
    bool const keyed = attribute_.keyType() != nullptr;
    if (key && !keyed) GenericIf::throwBadIndexAttrException(attribute_.name());
    if (attribute_.kind() == Kind::function) return call(value);
    if (op_.code() == Op::count && keyed && !key) return count();
    if (keyed) return onKey(key, value);
    return attribute_.kind() == Kind::entity ? onChild() : onScalar(value);
  }

 private:
  [[noreturn]] void notSupported(bool keyed = false) const {
    GenericIf::throwOpNotSupportedException(attribute_.name(), op_.code(), keyed);
  }
  Ptr<GenericIf> shown(Value const& value) const {
    return attribute_.type()->genericIf(value, const_ || attribute_.givesConst());
  }
  Ptr<GenericIf> shown(Ptr<PtrInterface> const& object) const { return object ? shown(Value(object)) : nullptr; }

  Ptr<GenericIf> call(Ptr<GenericIf> const& arguments) const {
    if (op_.code() != (attribute_.isMutation() ? Op::callMutating : Op::call)) notSupported();
    Value const result = attribute_.call(object_, argumentsOf(attribute_, arguments));
    return attribute_.type() == nullptr ? nullptr : shown(result);
  }

  Ptr<GenericIf> count() const {
    U32 members = 0;
    for (auto at = attribute_.walk(object_); at->more(); at->advance()) ++members;
    return typeOf<U32>()->genericIf(Value(members), true);
  }

  Ptr<GenericIf> onScalar(Ptr<GenericIf> const& value) const {
    bool const optional = attribute_.kind() == Kind::optional;
    if (op_.code() == Op::get) return shown(attribute_.get(object_));
    bool const changes = op_.code() == Op::set || (op_.code() == Op::del && optional);
    // A fixed attribute is set before anyone else sees the object.
    if (!changes || attribute_.access() != ZefAttr::Access::writable) notSupported();
    Value const wanted = op_.code() == Op::set ? valueFor(value, attribute_.givesConst()) : Value();
    fitting(attribute_, [&] { attribute_.set(object_, wanted); });
    return nullptr;
  }

  Ptr<GenericIf> onChild() const {
    switch (op_.code()) {
      case Op::get:
        return shown(attribute_.child(object_));
      case Op::create:
        return shown(attribute_.childIs(object_));
      case Op::del:
        attribute_.childDel(object_);
        return nullptr;
      default:
        notSupported();
    }
  }

  Ptr<GenericIf> onKey(Ptr<GenericIf const> const& given, Ptr<GenericIf> const& value) const {
    if (!given) GenericIf::throwBadIndexAttrException(attribute_.name());
    String8 const key = fitting(attribute_, [&] { return keyTextOf(given->value(), *attribute_.keyType()); });
    bool const isMember = attribute_.kind() == Kind::collection;
    if (op_.code() == Op::get) {
      if (isMember) return shown(fitting(attribute_, [&] { return attribute_.member(object_, key); }));
      Value const entry = fitting(attribute_, [&] { return attribute_.entry(object_, key); });
      return entry.isNull() ? nullptr : shown(entry);
    }
    if (op_.code() == Op::create && attribute_.makesMembers()) {
      return shown(fitting(attribute_, [&] { return attribute_.memberIs(object_, key); }));
    }
    if (op_.code() == Op::set && !isMember) {
      fitting(attribute_, [&] { attribute_.entryIs(object_, key, valueFor(value, true)); });
      return nullptr;
    }
    if (op_.code() != Op::del) notSupported(true);
    if (isMember) return shown(fitting(attribute_, [&] { return attribute_.memberDel(object_, key); }));
    fitting(attribute_, [&] { attribute_.entryDel(object_, key); });
    return nullptr;
  }

  PtrInterface& object_;
  ZefAttr const& attribute_;
  Op const& op_;
  bool const_;
};

}  // namespace

AttributeId GenericIf::attributeId(String8 const& name) const {
  ZefAttr const* const attribute = type() == nullptr ? nullptr : type()->attr(Name(name));
  return attribute == nullptr ? 0 : attribute->id();
}

String8 GenericIf::attributeString(AttributeId attribute) const {
  ZefAttr const* const found = type() == nullptr ? nullptr : type()->attr(attribute);
  return found == nullptr ? String8("unknown") : found->name().stringValue();
}

Ptr<GenericIf::Iterator> GenericIf::attributeIterator(AttributeId attribute) const {
  throwOpNotSupportedException(attributeString(attribute), AttributeOp::get, false);
}

Ptr<GenericIf::Iterator> GenericIf::attributeIteratorConst(AttributeId attribute) const {
  return attributeIterator(attribute);
}

Ptr<GenericIf::Iterator> GenericIf::attributeIteratorKey(AttributeId attribute,
                                                         Ptr<GenericIf const> const& /*key*/) const {
  return attributeIterator(attribute);
}

Ptr<GenericIf::Iterator> GenericIf::attributeIteratorKeyConst(AttributeId attribute,
                                                              Ptr<GenericIf const> const& /*key*/) const {
  return attributeIterator(attribute);
}

void GenericIf::throwConstException() { throwRangeException("attempting to modify a const instance"); }

void GenericIf::throwBadIndexAttrException(Name const& attribute) {
  throwRangeException(format("bad index for attribute %s", attribute.charPtr()));
}

void GenericIf::throwOpNotSupportedException(Name const& attribute, U8 code, bool keyed) {
  throwRangeException(format("operation %u is not supported on attribute %s%s", static_cast<unsigned>(code),
                             attribute.charPtr(), keyed ? " with a key" : ""));
}

void GenericIf::throwTypeException(Name const& attribute, String8 const& reason) {
  throwRangeException(format("%s: %s", attribute.charPtr(), reason.charPtr()));
}

void GenericIf::throwUnknownArgException(Name const& function, unsigned argument) {
  throwRangeException(format("%s takes no argument %u", function.charPtr(), argument));
}

void GenericIf::throwUnknownAttrException(ZefType const& type, AttributeId attribute) {
  throwRangeException(format("%s has no attribute %d", type.qualifiedName().charPtr(), attribute));
}

ZefAttr const& GenericIf::attributeFor(AttributeOp const& op) const {
  if (op.isMutation() && isConst()) throwConstException();
  ZefType const& known = type() == nullptr ? *objectType() : *type();
  ZefAttr const* const attribute = known.attr(op.attribute());
  if (attribute == nullptr) throwUnknownAttrException(known, op.attribute());
  return *attribute;
}

Ptr<GenericIf> GenericIf::List::attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& /*key*/,
                                            Ptr<GenericIf> const& /*value*/) const {
  throwUnknownAttrException(*objectType(), op.attribute());
}

Ptr<GenericIf> GenericIfValue::attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                                           Ptr<GenericIf> const& /*value*/) const {
  ZefAttr const& field = attributeFor(op);
  if (key) throwBadIndexAttrException(field.name());
  if (op.code() != Op::get) throwOpNotSupportedException(field.name(), op.code(), false);
  if (auto const* record = value_.get<Value::Record>()) {
    for (auto const& [name, value] : *record) {
      if (field.name().stringValue() == name) return field.type()->genericIf(value, true);
    }
  }
  return nullptr;
}

GenericIfPtrInterface::GenericIfPtrInterface(Ptr<PtrInterface> shown, bool readOnly)
    : object_(std::move(shown)), const_(readOnly) {
  if (!object_) throwRangeException("there is no object to show");
}

Ptr<GenericIf> GenericIfPtrInterface::attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                                                  Ptr<GenericIf> const& value) const {
  return Operation(*object_, attributeFor(op), op, const_).run(key, value);
}

Ptr<GenericIf::Iterator> GenericIfPtrInterface::walk(AttributeId attribute, Ptr<GenericIf const> const* key,
                                                     bool isConst) const {
  ZefAttr const& walked = attributeFor(AttributeOp(Op::get, attribute));
  if (walked.keyType() == nullptr) throwOpNotSupportedException(walked.name(), Op::get, false);
  if (key == nullptr) return make<Iterator>(object_, &walked, walked.walk(*object_), isConst);
  if (!*key) throwBadIndexAttrException(walked.name());
  auto at = fitting(walked, [&] { return walked.walkFrom(*object_, keyTextOf((*key)->value(), *walked.keyType())); });
  return make<Iterator>(object_, &walked, std::move(at), isConst);
}

Ptr<GenericIf::Iterator> GenericIfPtrInterface::attributeIterator(AttributeId attribute) const {
  return walk(attribute, nullptr, const_);
}

Ptr<GenericIf::Iterator> GenericIfPtrInterface::attributeIteratorConst(AttributeId attribute) const {
  return walk(attribute, nullptr, true);
}

Ptr<GenericIf::Iterator> GenericIfPtrInterface::attributeIteratorKey(AttributeId attribute,
                                                                     Ptr<GenericIf const> const& key) const {
  return walk(attribute, &key, const_);
}

Ptr<GenericIf::Iterator> GenericIfPtrInterface::attributeIteratorKeyConst(AttributeId attribute,
                                                                          Ptr<GenericIf const> const& key) const {
  return walk(attribute, &key, true);
}

Ptr<GenericIf> GenericIf::Iterator::key() const {
  return more() ? attribute_->keyType()->genericIf(at_->key(), true) : nullptr;
}

Ptr<GenericIf> GenericIf::Iterator::value() const {
  return more() ? attribute_->type()->genericIf(at_->value(), const_ || attribute_->givesConst()) : nullptr;
}

void GenericIf::Iterator::deleteMember() {
  if (const_) throwConstException();
  if (!more()) return;
  String8 const key = at_->keyText();
  if (attribute_->kind() == Kind::collection) {
    attribute_->memberDel(*owner_, key);
  } else {
    attribute_->entryDel(*owner_, key);
  }
}

Ptr<PtrInterface::NotifieeConst> GenericIfEntity::listen(Ptr<Listener> const& listener) const {
  Ptr<PtrInterface::NotifieeConst> adapter = type() == nullptr ? nullptr : type()->newAdapter(listener);
  if (!adapter) {
    throwRangeException(
        format("nothing observes a %s", (type() == nullptr ? objectType() : type())->qualifiedName().charPtr()));
  }
  adapter->notifierIs(object());
  adapter->isRegisteredNotifieeIs(true);
  return adapter;
}

}  // namespace Zef
