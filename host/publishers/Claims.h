#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/reflection/Type.h"

namespace Host {

// Which entities a directory may hold, by their path from the directory of the inputs ("status",
// "redundancy/election"). Those at the top are always there.
using EntityTypes = std::map<std::string, Zef::ZefType const*>;

using Steps = std::vector<Zef::String8>;

// The place of an object, or of a collection of objects, among the inputs.
struct Claim {
  Steps steps;
  std::size_t owner = 0;      // so many of them lead to the object that it stands in
  bool isCollection = false;  // all members of an attribute
  bool isPart = false;        // it stands in the hardware tree

  bool operator==(Claim const& other) const { return steps == other.steps; }
};

// Who speaks for what among the inputs. The deepest claim on the way to an object owns it.
class Claims {
 public:
  // Stands for who claims; nothing is known of it but its name.
  class Owner {
   public:
    virtual std::string const& name() const = 0;

   protected:
    ~Owner() = default;
  };

  // A step on the way to claims, or one.
  struct Node {
    Owner const* owner = nullptr;  // who claims this very place
    Claim claim;
    bool waits = false;  // the object that it stands in is not there, or a name that it has is not free
    std::map<Zef::String8, std::unique_ptr<Node>> below;

    // Null when no claim lies there or below.
    Node* at(Zef::String8 const& step) const;
  };

  explicit Claims(EntityTypes const& types) : types_(types) {}

  // The claim of a path such as "coolingStatus/fan/Fan1%2F1", each step in the spelling of its own type. InventoryError
  // when nothing could ever stand there, or what stands there is no object.
  Claim claimOf(std::string_view path) const;
  // A path in the spelling of an inspection.
  static std::string pathOf(Steps const& steps);
  // The same place in the words of a refusal: "coolingStatus.fan.Fan1/1".
  static std::string placeOf(Steps const& steps);

  Node const& top() const { return top_; }
  // The node at the steps; null when no claim lies there or below.
  Node* at(Steps const& steps) const;
  // Who claims that very place; null: nobody.
  Owner const* ownerAt(Steps const& steps) const;
  // Who speaks for a place: the deepest claim on the way to it, or at it. Null: nobody.
  Owner const* speakerAt(Steps const& steps) const;
  // In place of whoever claimed it.
  Node& ownerIs(Claim const& claim, Owner const& owner);
  // It takes no memory.
  void ownerDel(Steps const& steps);

 private:
  static void ownerDel(Node& node, std::span<Zef::String8 const> steps);

  EntityTypes const& types_;
  Node top_;
};

}  // namespace Host
