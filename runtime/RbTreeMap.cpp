#include "runtime/RbTreeMap.h"

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
  RbTreeLink* parent = link->parent();
  while (parent != nullptr && parent->right_ == link) {
    link = parent;
    parent = link->parent();
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
  if (inner != nullptr) inner->parentIs(pivot);
  rising->parentIs(pivot->parent());
  childReplace(pivot->parent(), pivot, rising);
  side(rising, toLeft) = pivot;
  pivot->parentIs(rising);
}

void RbTreeMapGeneric::memberNewChild(RbTreeLink* parent, RbTreeLink* member, bool left) {
  clear(member);
  member->parentIs(parent);
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
  while (member->parent() != nullptr && member->parent()->isRed()) {
    RbTreeLink* parent = member->parent();
    RbTreeLink* const grandparent = parent->parent();
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
  if (member->left_ != nullptr) member->left_->parentIs(member);
  if (member->right_ != nullptr) member->right_->parentIs(member);
  childReplace(old->parent(), old, member);
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
    parent = heir->parent() == member ? heir : heir->parent();
    if (parent != heir) {
      childReplace(heir->parent(), heir, child);
      if (child != nullptr) child->parentIs(parent);
      heir->right_ = member->right_;
      heir->right_->parentIs(heir);
    }
    heir->left_ = member->left_;
    heir->left_->parentIs(heir);
    childReplace(member->parent(), member, heir);
    heir->parentAndColour_ = member->parentAndColour_;
  } else {
    child = member->left_ != nullptr ? member->left_ : member->right_;
    parent = member->parent();
    blackGone = !member->isRed();
    if (child != nullptr) child->parentIs(parent);
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
      parent = child->parent();
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
