#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/reflection/Type.h"

namespace Host {

// Which entities a directory may hold, by their path from the directory of the inputs ("status",
// "redundancy/election"). Those at the top are always there.
using EntityTypes = std::map<std::string, Zef::ZefType const*>;

// Who speaks for what among the inputs. A claim is a place that holds an object, or a collection of objects; the deepest
// one on the way to an object owns it.
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
    // Whether it is to be brought to what waits for a part to stand in, and not to what is live.
    bool waits = false;
    std::map<Zef::String8, std::unique_ptr<Node>> below;

    // Null when no claim lies there or below.
    Node* at(Zef::String8 const& step) const;
    // Whether the owner has a claim here or below.
    bool leadsTo(Owner const& owner) const;
  };
  using Steps = std::vector<Zef::String8>;

  explicit Claims(EntityTypes const& types) : types_(types) {}

  // The steps of a path such as "coolingStatus/fan/Fan1%2F1", each in the spelling of its own type. InventoryError when
  // nothing could ever stand there, or what stands there is no object.
  Steps stepsOf(std::string_view path) const;
  // A path in the spelling of an inspection.
  static std::string pathOf(Steps const& steps);
  // The same place in the words of a refusal: "coolingStatus.fan.Fan1/1".
  static std::string placeOf(Steps const& steps);

  Node const& top() const { return top_; }
  // The node at the steps; null when no claim lies there or below.
  Node* at(Steps const& steps);
  // Who claims that very place; null: nobody.
  Owner const* ownerAt(Steps const& steps);
  void ownerIs(Steps const& steps, Owner const& owner);
  void ownerDel(Steps const& steps);

 private:
  EntityTypes const& types_;
  Node top_;
};

}  // namespace Host
