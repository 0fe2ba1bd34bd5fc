#include "runtime/collections/RbTreeMap.h"

namespace Zef {

RbTreeLink* RbTreeMapGeneric::first() const {
  RbTreeLink* at = root_;
  while (at != nullptr && at->left_ != nullptr) at = at->left_;
  return at;
}

RbTreeLink* RbTreeMapGeneric::next(RbTreeLink* link) {
  if (link->right_ != nullptr) {
    RbTreeLink* at = link->right_;
    while (at->left_ != nullptr) at = at->left_;
    return at;
  }
  RbTreeLink* parent = link->up();
  while (parent != nullptr && parent->right_ == link) {
    link = parent;
    parent = link->up();
  }
  return parent;
}

void RbTreeMapGeneric::clear(RbTreeLink* member) {
  member->parentAndColour_ = 0;
  member->left_ = nullptr;
  member->right_ = nullptr;
}

void RbTreeMapGeneric::childReplace(RbTreeLink* parent, RbTreeLink* old, RbTreeLink* child) {
  if (parent == nullptr) {
    root_ = child;
  } else {
    side(parent, parent->left_ == old) = child;
  }
}

void RbTreeMapGeneric::rotate(RbTreeLink* pivot, bool toLeft) {
  RbTreeLink* const rising = side(pivot, !toLeft);
  RbTreeLink* const inner = side(rising, toLeft);
  side(pivot, !toLeft) = inner;
  if (inner != nullptr) inner->upIs(pivot);
  rising->upIs(pivot->up());
  childReplace(pivot->up(), pivot, rising);
  side(rising, toLeft) = pivot;
  pivot->upIs(rising);
}

void RbTreeMapGeneric::memberNewChild(RbTreeLink* parent, RbTreeLink* member, bool left) {
  clear(member);
  member->upIs(parent);
  member->isRedIs(true);
  if (parent == nullptr) {
    root_ = member;
  } else {
    side(parent, left) = member;
  }
  ++count_;
  ++version_;
  rebalanceAfterInsert(member);
}

void RbTreeMapGeneric::rebalanceAfterInsert(RbTreeLink* member) {
  while (member->up() != nullptr && member->up()->isRed()) {
    RbTreeLink* parent = member->up();
    RbTreeLink* const grandparent = parent->up();
    bool const onLeft = grandparent->left_ == parent;
    RbTreeLink* const uncle = side(grandparent, !onLeft);
    if (!isBlack(uncle)) {
      parent->isRedIs(false);
      uncle->isRedIs(false);
      grandparent->isRedIs(true);
      member = grandparent;
      continue;
    }
    if (member == side(parent, !onLeft)) {
      rotate(parent, onLeft);
      parent = member;
    }
    parent->isRedIs(false);
    grandparent->isRedIs(true);
    rotate(grandparent, !onLeft);
    break;
  }
  root_->isRedIs(false);
}

void RbTreeMapGeneric::memberReplace(RbTreeLink* old, RbTreeLink* member) {
  member->parentAndColour_ = old->parentAndColour_;
  member->left_ = old->left_;
  member->right_ = old->right_;
  if (member->left_ != nullptr) member->left_->upIs(member);
  if (member->right_ != nullptr) member->right_->upIs(member);
  childReplace(old->up(), old, member);
  clear(old);
  ++version_;
}

void RbTreeMapGeneric::memberDelG(RbTreeLink* member) {
  RbTreeLink* child = nullptr;   // what moves up into the gap
  RbTreeLink* parent = nullptr;  // above the gap
  bool blackGone = false;
  if (member->left_ != nullptr && member->right_ != nullptr) {
    // Two children: the successor, which has no left child, takes the member's place and colour.
    RbTreeLink* const heir = next(member);
    child = heir->right_;
    blackGone = !heir->isRed();
    parent = heir->up() == member ? heir : heir->up();
    if (parent != heir) {
      childReplace(heir->up(), heir, child);
      if (child != nullptr) child->upIs(parent);
      heir->right_ = member->right_;
      heir->right_->upIs(heir);
    }
    heir->left_ = member->left_;
    heir->left_->upIs(heir);
    childReplace(member->up(), member, heir);
    heir->parentAndColour_ = member->parentAndColour_;
  } else {
    child = member->left_ != nullptr ? member->left_ : member->right_;
    parent = member->up();
    blackGone = !member->isRed();
    if (child != nullptr) child->upIs(parent);
    childReplace(parent, member, child);
  }
  if (blackGone) rebalanceAfterDelete(child, parent);
  clear(member);
  --count_;
  ++version_;
}

void RbTreeMapGeneric::rebalanceAfterDelete(RbTreeLink* child, RbTreeLink* parent) {
  while (parent != nullptr && isBlack(child)) {
    bool const onLeft = parent->left_ == child;
    RbTreeLink* sibling = side(parent, !onLeft);
    if (sibling->isRed()) {
      sibling->isRedIs(false);
      parent->isRedIs(true);
      rotate(parent, onLeft);
      sibling = side(parent, !onLeft);
    }
    if (isBlack(sibling->left_) && isBlack(sibling->right_)) {
      sibling->isRedIs(true);
      child = parent;
      parent = child->up();
      continue;
    }
    if (isBlack(side(sibling, !onLeft))) {
      side(sibling, onLeft)->isRedIs(false);
      sibling->isRedIs(true);
      rotate(sibling, !onLeft);
      sibling = side(parent, !onLeft);
    }
    sibling->isRedIs(parent->isRed());
    parent->isRedIs(false);
    side(sibling, !onLeft)->isRedIs(false);
    rotate(parent, onLeft);
    return;
  }
  if (child != nullptr) child->isRedIs(false);
}

}  // namespace Zef
