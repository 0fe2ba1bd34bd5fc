#pragma once

#include <utility>

#include "runtime/collections/HashMap.h"
#include "runtime/reactors/Activity.h"
#include "runtime/reactors/Notifiee.h"
#include "runtime/reflection/Entity.h"

// Small observable types: a shelf with a lid and boxes, and a tall shelf, which is one with a further attribute.
namespace Depot {

class Lid : public Zef::Entity {
 public:
  class NotifieeConst;
  static constexpr Zef::AttributeId colourAttr = Zef::firstAttributeId;

  using Entity::Entity;
  int colour() const { return colour_; }
  void colourIs(int colour);

 private:
  int colour_ = 0;
};

class Lid::NotifieeConst : public Zef::NotifieeOf<Lid, Zef::Entity::NotifieeConst> {
 public:
  virtual void onColour() {}
};

inline void Lid::colourIs(int colour) {
  if (colour == colour_) return;
  colour_ = colour;
  notify<NotifieeConst>(colourAttr, [](NotifieeConst& n) { n.onColour(); });
}

class Box : public Zef::Entity, public Zef::HashMapLink {
 public:
  class NotifieeConst;
  static constexpr Zef::AttributeId weightAttr = Zef::firstAttributeId;

  using Entity::Entity;
  Zef::Name const& fwkKey() const { return name(); }
  int weight() const { return weight_; }
  void weightIs(int weight);

 private:
  int weight_ = 0;
};

class Box::NotifieeConst : public Zef::NotifieeOf<Box, Zef::Entity::NotifieeConst> {
 public:
  virtual void onWeight() {}
};

inline void Box::weightIs(int weight) {
  if (weight == weight_) return;
  weight_ = weight;
  notify<NotifieeConst>(weightAttr, [](NotifieeConst& n) { n.onWeight(); });
}

class Shelf : public Zef::Entity {
 public:
  class NotifieeConst;
  using BoxIteratorConst = Zef::HashMap<Box, Zef::Name>::IteratorConst;
  static constexpr Zef::AttributeId levelAttr = Zef::firstAttributeId;
  static constexpr Zef::AttributeId signAttr = levelAttr + 1;
  static constexpr Zef::AttributeId lidAttr = levelAttr + 2;
  static constexpr Zef::AttributeId boxAttr = levelAttr + 3;

  using Entity::Entity;
  int level() const { return level_; }
  void levelIs(int level);
  int sign() const { return sign_; }
  void signIs(int sign);
  Zef::Ptr<Lid> const& lid() const { return lid_; }
  void lidIs(Zef::Ptr<Lid> const& lid);
  Zef::Ptr<Box> box(Zef::Name const& name) const { return box_.find(name); }
  Zef::Ptr<Box> newBox(Zef::Name const& name);
  Zef::Ptr<Box> boxDel(Zef::Name const& name);
  BoxIteratorConst boxIterator() const { return box_.iterator(Zef::Ptr<PtrInterface const>(this)); }

 private:
  void boxNotify(Zef::Name const& name);

  int level_ = 0;
  int sign_ = 0;
  Zef::Ptr<Lid> lid_;
  Zef::HashMap<Box, Zef::Name> box_;
};

class Shelf::NotifieeConst : public Zef::NotifieeOf<Shelf, Zef::Entity::NotifieeConst> {
 public:
  virtual void onLevel() {}
  virtual void onSign() {}
  virtual void onLid() {}
  virtual void onBox(Zef::Name /*name*/) {}
};

inline void Shelf::levelIs(int level) {
  if (level == level_) return;
  level_ = level;
  notify<NotifieeConst>(levelAttr, [](NotifieeConst& n) { n.onLevel(); });
}

inline void Shelf::signIs(int sign) {
  if (sign == sign_) return;
  sign_ = sign;
  notify<NotifieeConst>(signAttr, [](NotifieeConst& n) { n.onSign(); });
}

inline void Shelf::lidIs(Zef::Ptr<Lid> const& lid) {
  if (lid == lid_) return;
  lid_ = lid;
  notify<NotifieeConst>(lidAttr, [](NotifieeConst& n) { n.onLid(); });
}

inline void Shelf::boxNotify(Zef::Name const& name) {
  notify<NotifieeConst>(boxAttr, [&](NotifieeConst& n) { n.onBox(name); });
}

inline Zef::Ptr<Box> Shelf::newBox(Zef::Name const& name) {
  auto const box = Zef::make<Box>(name);
  box_.insert(box);
  boxNotify(name);
  return box;
}

inline Zef::Ptr<Box> Shelf::boxDel(Zef::Name const& name) {
  Zef::Ptr<Box> const box = box_.del(name);
  if (box) boxNotify(name);
  return box;
}

class TallShelf : public Shelf {
 public:
  class NotifieeConst;
  static constexpr Zef::AttributeId heightAttr = boxAttr + 1;

  using Shelf::Shelf;
  int height() const { return height_; }
  void heightIs(int height);

 private:
  int height_ = 0;
};

class TallShelf::NotifieeConst : public Zef::NotifieeOf<TallShelf, Shelf::NotifieeConst> {
 public:
  virtual void onHeight() {}
};

inline void TallShelf::heightIs(int height) {
  if (height == height_) return;
  height_ = height;
  notify<NotifieeConst>(heightAttr, [](NotifieeConst& n) { n.onHeight(); });
}

}  // namespace Depot
