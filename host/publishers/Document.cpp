#include "host/publishers/Document.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>

#include "platform/text/Printable.h"

namespace Host {

namespace {

using nlohmann::json;
using Zef::String8;

std::string joined(std::string const& above, std::string_view step) {
  return (above.empty() ? above : above + ".") + std::string(step);
}

// Line and column of the last byte that the parser took.
std::string position(std::string_view text, std::size_t byte) {
  std::string_view const taken = text.substr(0, byte == 0 ? 0 : byte - 1);
  std::size_t const lineStart = taken.rfind('\n') + 1;  // 0 when there is none
  return std::to_string(std::count(taken.begin(), taken.end(), '\n') + 1) + ":" +
         std::to_string(taken.size() - lineStart + 1);
}

// The library's messages begin with its own name for them and, for syntax, the position in words.
std::string reasonOf(json::exception const& error) {
  std::string_view text = error.what();
  for (std::string_view const end : {"] ", ": "}) {
    std::size_t const at = text.find(end);
    bool const isPrefix = end == "] " || text.starts_with("parse error");
    if (at != std::string_view::npos && isPrefix) text.remove_prefix(at + end.size());
  }
  return std::string(text);
}

// Goes through a text with places to stop, which the parser has none of: one value can be all of the text.
class Reader {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = char const*;
  using reference = char const&;

  explicit Reader(char const* at) : at_(at) {}
  char const& operator*() const { return *at_; }
  Reader& operator++() {
    ++at_;
    if (reinterpret_cast<std::uintptr_t>(at_) % bytesBetweenPauses == 0) Slices::pause();
    return *this;
  }
  bool operator==(Reader const&) const = default;

 private:
  static constexpr std::size_t bytesBetweenPauses = 256;

  char const* at_;
};

// Builds the document from what the parser meets. The library's own builder would keep the last of several equal keys,
// take twice the memory, and need more of it to let go of what it has.
class Builder final : public nlohmann::json_sax<json> {
 public:
  Builder(std::string_view text, InventoryLimits const& limits) : text_(text), limits_(limits) {}

  Node take() {
    guarded(*this, [this] { json::sax_parse(Reader(text_.data()), Reader(text_.data() + text_.size()), this); });
    return std::move(document_);
  }

  bool null() override { return enter({}); }
  bool boolean(bool value) override { return enter({value}); }
  bool number_integer(std::int64_t value) override { return enter({value}); }
  bool number_unsigned(std::uint64_t value) override {
    if (value > std::uint64_t{INT64_MAX}) return enter({static_cast<double>(value)});
    return enter({static_cast<std::int64_t>(value)});
  }
  bool number_float(double value, std::string const& /*spelling*/) override { return enter({value}); }
  bool string(std::string& value) override { return enter({textOf(value)}); }
  bool binary(json::binary_t& /*value*/) override { return false; }  // not in a text
  bool start_object(std::size_t /*size*/) override { return open({Members()}); }
  bool start_array(std::size_t /*size*/) override { return open({List()}); }
  bool end_array() override {
    open_.pop_back();
    return true;
  }

  bool key(std::string& name) override {
    std::get<Members>(open_.back()->value).push_back({String8(std::string_view(name)), Node()});
    textOf(name);  // which names the key, when it refuses it
    return true;
  }
  bool end_object() override {
    auto& members = std::get<Members>(open_.back()->value);
    open_.pop_back();
    std::sort(members.begin(), members.end(),
              [](Member const& one, Member const& other) { return one.name < other.name; });
    auto const twice = std::adjacent_find(
        members.begin(), members.end(), [](Member const& one, Member const& other) { return one.name == other.name; });
    if (twice != members.end()) throw InventoryError(joined(place(), twice->name.view()), "it stands there twice");
    return true;
  }

  bool parse_error(std::size_t byte, std::string const& /*token*/, json::exception const& error) override {
    throw InventoryError(position(text_, byte), reasonOf(error));
  }

  [[noreturn]] void refuse(std::string const& reason) const {
    std::vector<char>().swap(spare_);
    throw InventoryError(place(), reason);
  }

 private:
  // Where the parser is: at the last key of each object that has not ended.
  std::string place() const {
    std::string text;
    for (Node const* node : open_) {
      auto const* members = node->get<Members>();
      if (members != nullptr && !members->empty()) text = joined(text, members->back().name.view());
    }
    return text;
  }
  String8 textOf(std::string const& text) const {
    if (text.find('\0') != std::string::npos) refuse("a text cannot hold a zero byte");
    return String8(std::string_view(text));
  }

  bool enter(Node node) {
    entered(std::move(node));
    return true;
  }
  bool open(Node node) {
    if (open_.size() == limits_.levels) refuse("nested deeper than " + std::to_string(limits_.levels) + " levels");
    open_.push_back(&entered(std::move(node)));
    return true;
  }
  Node& entered(Node node) {
    if (++values_ > limits_.values) refuse("more than " + std::to_string(limits_.values) + " values");
    if (open_.empty()) return document_ = std::move(node);
    if (auto* const list = std::get_if<List>(&open_.back()->value)) return list->emplace_back(std::move(node));
    return std::get<Members>(open_.back()->value).back().node = std::move(node);
  }

  std::string_view text_;
  InventoryLimits limits_;
  Node document_;
  std::vector<Node*> open_;  // the objects and lists that have not ended; each stays where it is until then
  std::size_t values_ = 0;
  mutable std::vector<char> spare_ = std::vector<char>(16'384);  // to refuse with, when there is no memory left
};

}  // namespace

InventoryError::InventoryError(std::string const& place, std::string const& reason)
    : std::runtime_error((place.empty() ? "" : Text::printable(place) + ": ") + Text::printable(reason)),
      place_(Text::printable(place)),
      reason_(Text::printable(reason)) {}

std::string reasonCaught() {
  try {
    throw;
  } catch (std::bad_alloc const&) {
    return "not enough memory";
  } catch (std::exception const& error) {
    return error.what();
  } catch (...) {
    return "an error without words";
  }
}

std::string Place::text() const { return above_ == nullptr ? std::string() : joined(above_->text(), step_); }

Node readDocument(std::string_view text, InventoryLimits const& limits) { return Builder(text, limits).take(); }

char const* kindOf(Node const& node) {
  if (node.get<List>() != nullptr) return "a list";
  if (node.get<Members>() != nullptr) return "an object in braces";
  if (node.get<String8>() != nullptr) return "a text";
  if (node.get<bool>() != nullptr) return "true or false";
  return node.get<std::monostate>() != nullptr ? "null" : "a number";
}

Members const& membersOf(Node const& node, Place const& place) {
  auto const* members = node.get<Members>();
  if (members == nullptr) place.refuse(std::string("an object in braces is needed, not ") + kindOf(node));
  return *members;
}

Node const* memberOf(Node const& node, String8 const& name) {
  auto const* const members = node.get<Members>();
  if (members == nullptr) return nullptr;
  auto const found = std::lower_bound(members->begin(), members->end(), name,
                                      [](Member const& member, String8 const& wanted) { return member.name < wanted; });
  return found != members->end() && found->name == name ? &found->node : nullptr;
}

Zef::Value valueOf(Node const& node, Place const& place) {
  if (auto const* flag = node.get<bool>()) return *flag;
  if (auto const* number = node.get<std::int64_t>()) return *number;
  if (auto const* number = node.get<double>()) return *number;
  if (auto const* text = node.get<String8>()) return *text;
  if (node.get<Members>() != nullptr) {
    Zef::Value::Record record;
    forEachMember(node, place, [&](String8 const& name, Node const& below, Place const& there) {
      record.emplace_back(name, valueOf(below, there));
    });
    return record;
  }
  if (node.get<List>() != nullptr) place.refuse(std::string("a value is needed, not ") + kindOf(node));
  place.refuse("a value is needed, not null; leave the name out for none");
}

}  // namespace Host
