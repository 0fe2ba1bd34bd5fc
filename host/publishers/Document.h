#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/Slices.h"
#include "runtime/reflection/Value.h"

// The texts that publishers write, as what they hold, and how they are refused.
namespace Host {

// What is wrong with a text, and where: "3:14" is a line and a column, "status.fixedSystem.label" the names that lead
// to the place. what() has both: "status.fixedSystem.label: no such attribute".
class InventoryError : public std::runtime_error {
 public:
  InventoryError(std::string const& place, std::string const& reason);

  // Of printable characters. The place may be empty.
  std::string const& place() const { return place_; }
  std::string const& reason() const { return reason_; }

 private:
  std::string place_;
  std::string reason_;
};

// To be called where something has been caught: what it says, in words for the log, whatever its class.
std::string reasonCaught();

// What one text may cost, besides its size.
struct InventoryLimits {
  std::size_t levels = 64;  // of objects and lists in one another
  std::size_t values = 8'000'000;
};

// The way to a place in a text. It lives no longer than the walk that has come there.
class Place {
 public:
  Place() = default;
  Place(Place const& above, std::string_view step) : above_(&above), step_(step) {}

  std::string text() const;
  [[noreturn]] void refuse(std::string const& reason) const { throw InventoryError(text(), reason); }

 private:
  Place const* above_ = nullptr;
  std::string_view step_;
};

// Has whatever goes wrong refused, with the innermost place that it passed.
template <class At, class Call>
auto guarded(At const& place, Call&& call) {
  try {
    return call();
  } catch (InventoryError const&) {
    throw;
  } catch (...) {
    place.refuse(reasonCaught());
  }
}

// What was read. It can be dropped without memory, as it must be when there is none left.
struct Node;
struct Member;
using Members = std::vector<Member>;  // in the order of their names, which differ
using List = std::vector<Node>;
struct Node {
  std::variant<std::monostate, bool, std::int64_t, double, Zef::String8, Members, List> value;

  bool isNull() const { return std::holds_alternative<std::monostate>(value); }
  template <class T>
  T const* get() const {
    return std::get_if<T>(&value);
  }
};

struct Member {
  Zef::String8 name;
  Node node;
};

// A JSON text. InventoryError when it is none, is too deep or too large, or has a name twice in one object.
Node readDocument(std::string_view text, InventoryLimits const& limits = {});

// "a text", "an object in braces"
char const* kindOf(Node const& node);
// The members of an object; anything else is refused.
Members const& membersOf(Node const& node, Place const& place);
// The member of that name; null when there is none.
Node const* memberOf(Node const& node, Zef::String8 const& name);
// A value, or a group of values.
Zef::Value valueOf(Node const& node, Place const& place);

// Calls back with the name, the node and the place of each member of an object.
template <class Call>
void forEachMember(Node const& node, Place const& place, Call const& call) {
  for (Member const& member : membersOf(node, place)) {
    Slices::pause();
    Place const there(place, member.name.view());
    guarded(there, [&] { call(member.name, member.node, there); });
  }
}

}  // namespace Host
