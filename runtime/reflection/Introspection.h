#pragma once

#include <initializer_list>
#include <optional>
#include <vector>

#include "runtime/reflection/Type.h"

namespace Zef {

// Keeps what the models say of their types, as they register: in text, for tools that list them. A registration names
// the namespace, then each type with its base and flags, the constructor's parameters, and its attributes in order;
// handleScopeExit ends a type.
class IntrospectionReactor {
 public:
  struct Parameter {
    String8 name;
    String8 type;
  };
  struct Attribute {
    Name name;
    AttributeId id = 0;
    String8 type;
    String8 furtherType;  // of the key; empty without one
    ZefAttr::Access access = ZefAttr::Access::readOnly;
    ZefAttr::ZefAttrIntrospectionFlags flags{0};
    std::vector<Parameter> parameters;
  };
  struct Node {
    Name nameSpace;
    ZefType const* type = nullptr;
    ZefType const* base = nullptr;
    bool hasGenericIfSupport = false;
    bool isEntity = false;
    bool isValue = false;
    std::vector<Parameter> constructor;
    std::vector<Attribute> attributes;
  };

  static IntrospectionReactor& global();

  void handleNameSpace(Name const& name) { nameSpace_ = name; }
  void handleType(ZefType const* type, ZefType const* base);
  void hasGenericIfSupportIs(bool on) { nodes_.back().hasGenericIfSupport = on; }
  void isEntityIs(bool on) { nodes_.back().isEntity = on; }
  void isValueIs(bool on) { nodes_.back().isValue = on; }
  // A parameter of the constructor: its name, then its type.
  void constructorArgNameQEnq(String8 const& name) { nodes_.back().constructor.push_back({name, ""}); }
  void constructorArgTypeQEnq(String8 const& type) { nodes_.back().constructor.back().type = type; }
  // A data attribute, whole.
  void defNoninstantiatingAttr(ZefType const* type, Name const& name, String8 const& attributeType,
                               String8 const& furtherType, ZefAttr::Access access,
                               ZefAttr::ZefAttrIntrospectionFlags flags, AttributeId id);
  // A function or a collection: opened by attrIs, with its parameters behind it, entered by handleAttr.
  void attrDel(Name const& name);
  void attrIs(Name const& name, String8 const& type, String8 const& furtherType, ZefAttr::Access access,
              ZefAttr::ZefAttrIntrospectionFlags flags, AttributeId id);
  void attrParameterIs(String8 const& name, String8 const& type);
  void handleAttr();
  void handleAttrContextExit() { open_.reset(); }
  void handleScopeExit() {}

  // In the order of registration.
  std::vector<Node> const& nodes() const { return nodes_; }

 private:
  Name nameSpace_;
  std::vector<Node> nodes_;
  std::optional<Attribute> open_;
};

// Registers the types of one namespace of a model, in order.
void registerTypes(char const* nameSpace, std::initializer_list<ZefType const*> types);

}  // namespace Zef
