#include "runtime/reflection/Introspection.h"

namespace Zef {

namespace {

String8 nameOf(ZefType const* type) { return type == nullptr ? String8() : type->qualifiedName().stringValue(); }

void registerAttribute(IntrospectionReactor& reactor, ZefType const* type, ZefAttr const& attribute) {
  String8 const attributeType = attribute.typeText();
  String8 const furtherType = nameOf(attribute.keyType());
  bool const isFunction = attribute.kind() == ZefAttr::Kind::function;
  if (!isFunction && attribute.keyType() == nullptr) {
    reactor.defNoninstantiatingAttr(type, attribute.name(), attributeType, furtherType, attribute.access(),
                                    attribute.introspectionFlags(), attribute.id());
    return;
  }
  reactor.attrDel(attribute.name());
  reactor.attrIs(attribute.name(), attributeType, furtherType, attribute.access(), attribute.introspectionFlags(),
                 attribute.id());
  for (auto const& parameter : attribute.parameters()) {
    reactor.attrParameterIs(parameter.name, nameOf(parameter.type()));
  }
  reactor.handleAttr();
  reactor.handleAttrContextExit();
}

}  // namespace

IntrospectionReactor& IntrospectionReactor::global() {
  static auto* const reactor = new IntrospectionReactor;  // as the types, it is never destroyed
  return *reactor;
}

void IntrospectionReactor::handleType(ZefType const* type, ZefType const* base) {
  Node node;
  node.nameSpace = nameSpace_;
  node.type = type;
  node.base = base;
  nodes_.push_back(std::move(node));
}

void IntrospectionReactor::defNoninstantiatingAttr(ZefType const* /*type*/, Name const& name,
                                                   String8 const& attributeType, String8 const& furtherType,
                                                   ZefAttr::Access access, ZefAttr::ZefAttrIntrospectionFlags flags,
                                                   AttributeId id) {
  nodes_.back().attributes.push_back({name, id, attributeType, furtherType, access, flags, {}});
}

void IntrospectionReactor::attrDel(Name const& name) {
  std::erase_if(nodes_.back().attributes, [&](Attribute const& attribute) { return attribute.name == name; });
}

void IntrospectionReactor::attrIs(Name const& name, String8 const& type, String8 const& furtherType,
                                  ZefAttr::Access access, ZefAttr::ZefAttrIntrospectionFlags flags, AttributeId id) {
  open_ = Attribute{name, id, type, furtherType, access, flags, {}};
}

void IntrospectionReactor::attrParameterIs(String8 const& name, String8 const& type) {
  open_->parameters.push_back({name, type});
}

void IntrospectionReactor::handleAttr() { nodes_.back().attributes.push_back(*open_); }

void registerTypes(char const* nameSpace, std::initializer_list<ZefType const*> types) {
  IntrospectionReactor& reactor = IntrospectionReactor::global();
  reactor.handleNameSpace(nameSpace);
  for (ZefType const* type : types) {
    reactor.handleType(type, type->base());
    reactor.hasGenericIfSupportIs(!type->isValue());
    reactor.isEntityIs(type->isEntity());
    reactor.isValueIs(type->isValue());
    for (auto const& parameter : type->parameters()) {
      reactor.constructorArgNameQEnq(parameter.name);
      reactor.constructorArgTypeQEnq(nameOf(parameter.type()));
    }
    for (auto const& attribute : type->attributes()) registerAttribute(reactor, type, *attribute);
    reactor.handleScopeExit();
  }
}

}  // namespace Zef
