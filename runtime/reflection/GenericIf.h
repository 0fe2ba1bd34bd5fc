#pragma once

#include <concepts>

#include "runtime/collections/LinkedQueue.h"
#include "runtime/reactors/Notifiee.h"
#include "runtime/reflection/Type.h"

// Objects and values as those see them that know no type of a model: by the names and ids of attributes.
namespace Zef {

// What one value or object looks like to a caller that knows its type only at run time. ZefType::genericIf makes it.
// Whatever a const one hands out is const too. What it does not do is a RangeException, from one of the throw...
// operations below.
class GenericIf : public PtrInterface {
 public:
  class AttributeOp;
  class Iterator;
  class List;
  using Listener = GenericIfListener;

  virtual ZefType const* type() const = 0;
  virtual bool isConst() const = 0;
  // The value, or the object itself.
  virtual Value value() const = 0;

  // 0 for a name that the type does not have, "unknown" for such an id.
  AttributeId attributeId(String8 const& name) const;
  String8 attributeString(AttributeId attribute) const;

  // Does one operation on one attribute. `key` tells the member of a collection or the entry of values by key, and is
  // null elsewhere; `value` is what is set, or a List of a function's arguments. The result is what was read, made,
  // removed or returned, and null when there is nothing.
  virtual Ptr<GenericIf> attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                                     Ptr<GenericIf> const& value) const = 0;

  // A walk over a collection or over values by key; from the key, or from what follows it. The Const ones hand out
  // const members and delete none.
  virtual Ptr<Iterator> attributeIterator(AttributeId attribute) const;
  virtual Ptr<Iterator> attributeIteratorConst(AttributeId attribute) const;
  virtual Ptr<Iterator> attributeIteratorKey(AttributeId attribute, Ptr<GenericIf const> const& key) const;
  virtual Ptr<Iterator> attributeIteratorKeyConst(AttributeId attribute, Ptr<GenericIf const> const& key) const;

  [[noreturn]] static void throwConstException();
  // A key where there is none to give, or none where one is needed.
  [[noreturn]] static void throwBadIndexAttrException(Name const& attribute);
  [[noreturn]] static void throwOpNotSupportedException(Name const& attribute, U8 code, bool keyed);
  // A value, a key or an argument that does not fit, with the reason.
  [[noreturn]] static void throwTypeException(Name const& attribute, String8 const& reason);
  // `argument` counts from 1.
  [[noreturn]] static void throwUnknownArgException(Name const& function, unsigned argument);
  [[noreturn]] static void throwUnknownAttrException(ZefType const& type, AttributeId attribute);

 protected:
  // The attribute of that id; throws when there is none, or when the operation would change a const object.
  ZefAttr const& attributeFor(AttributeOp const& op) const;
};

class GenericIf::AttributeOp {
 public:
  // From 128 on an operation changes the object.
  enum Code : U8 {
    get = 0,    // the value, the child, the member or the entry
    count = 1,  // of members or entries
    call = 2,   // a function that leaves its object alone
    set = 128,  // the value, the reference, the entry
    create,     // the child or the member, unless it is there; the result is the one that is there then
    del,        // the optional value, the child, the member, the entry
    callMutating,
  };
  static constexpr U8 firstMutation = 128;

  AttributeOp(Code code, AttributeId attribute) : code_(code), attribute_(attribute) {}
  Code code() const { return code_; }
  AttributeId attribute() const { return attribute_; }
  bool isMutation() const { return code_ >= firstMutation; }

 private:
  Code code_;
  AttributeId attribute_;
};

// A value: of a built-in type, an enumeration, a value type or a record's values. It is const, and its attributes are
// the fields.
class GenericIfValue : public GenericIf {
 public:
  GenericIfValue(Value shown, ZefType const* ofType) : value_(std::move(shown)), type_(ofType) {}

  ZefType const* type() const override { return type_; }
  bool isConst() const override { return true; }
  Value value() const override { return value_; }
  Ptr<GenericIf> attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                             Ptr<GenericIf> const& value) const override;

 private:
  Value value_;
  ZefType const* type_;
};

// The arguments of a call, in their order.
class GenericIf::List : public GenericIf {
 public:
  ZefType const* type() const override { return nullptr; }
  bool isConst() const override { return true; }
  Value value() const override { return {}; }
  [[noreturn]] Ptr<GenericIf> attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                                          Ptr<GenericIf> const& value) const override;

  LinkedQueue<Ptr<GenericIf>> const& members() const { return members_; }
  void enq(Ptr<GenericIf> argument) { members_.enq(std::move(argument)); }

 private:
  LinkedQueue<Ptr<GenericIf>> members_;
};

// An object.
class GenericIfPtrInterface : public GenericIf {
 public:
  explicit GenericIfPtrInterface(Ptr<PtrInterface> shown, bool readOnly = false);

  ZefType const* type() const override { return object_->fwkType(); }
  bool isConst() const override { return const_; }
  Value value() const override { return object_; }
  Ptr<GenericIf> attributeOp(AttributeOp const& op, Ptr<GenericIf const> const& key,
                             Ptr<GenericIf> const& value) const override;
  Ptr<Iterator> attributeIterator(AttributeId attribute) const override;
  Ptr<Iterator> attributeIteratorConst(AttributeId attribute) const override;
  Ptr<Iterator> attributeIteratorKey(AttributeId attribute, Ptr<GenericIf const> const& key) const override;
  Ptr<Iterator> attributeIteratorKeyConst(AttributeId attribute, Ptr<GenericIf const> const& key) const override;

 protected:
  Ptr<PtrInterface> const& object() const { return object_; }

 private:
  Ptr<Iterator> walk(AttributeId attribute, Ptr<GenericIf const> const* key, bool isConst) const;

  Ptr<PtrInterface> object_;
  bool const_;
};

// A walk over one attribute of an object, which it holds; it survives what the collection's own iterators survive.
class GenericIf::Iterator : public PtrInterface {
 public:
  Iterator(Ptr<PtrInterface> owner, ZefAttr const* attribute, std::unique_ptr<ZefAttr::Walk> at, bool isConst)
      : owner_(std::move(owner)), attribute_(attribute), at_(std::move(at)), const_(isConst) {}

  bool more() const { return at_->more(); }
  void advance() { at_->advance(); }
  Ptr<GenericIf> key() const;
  // The member or the entry.
  Ptr<GenericIf> value() const;
  // Removes it from its owner, which tells everyone. The walk goes on with advance().
  void deleteMember();

 private:
  Ptr<PtrInterface> owner_;
  ZefAttr const* attribute_;
  std::unique_ptr<ZefAttr::Walk> at_;
  bool const_;
};

// Hears of the changes of any object, by the attribute's id; `key` is null for what has none.
class GenericIfListener : public PtrInterface {
 public:
  virtual void onAttribute(AttributeId attribute, Ptr<GenericIf const> const& key) = 0;
};

class GenericIfEntity : public GenericIfPtrInterface {
 public:
  using GenericIfPtrInterface::GenericIfPtrInterface;

  // Base of T::GenericIf_::GenericIf_Adapter_, which hands each slot of T's notifiee to a listener.
  template <class TNotifiee>
  class Adapter : public TNotifiee {
   public:
    explicit Adapter(Ptr<Listener> listener) : listener_(std::move(listener)) {}
    void onIsNondestructing() override { tell(isNondestructingAttr); }

   protected:
    void tell(AttributeId attribute) { listener_->onAttribute(attribute, nullptr); }
    template <class Key>
    void tell(AttributeId attribute, Key const& key) {
      listener_->onAttribute(attribute, Ptr<GenericIf const>(typeOf<Key>()->genericIf(toValue<Key>(key), true)));
    }

   private:
    Ptr<Listener> listener_;
  };

  // Lets the listener hear of the object's changes for as long as the result lives. RangeException for a type whose
  // model does not ask for it (`genericNotifiee`).
  Ptr<PtrInterface::NotifieeConst> listen(Ptr<Listener> const& listener) const;
};

// T::_Type; it stands in runtime/reflection/TypeBuilder.h, and only sources need it.
template <class T>
class TypeObject;

// T::GenericIf_: the same for an object that is known to be a T.
template <class T, class Base>
class GenericIfOf : public Base {
 public:
  explicit GenericIfOf(Ptr<T> const& object, bool isConst = false) : Base(object, isConst) {}
  explicit GenericIfOf(Ptr<T const> const& object) : Base(Ptr<PtrInterface>(const_cast<T*>(object.get())), true) {}
};

}  // namespace Zef
