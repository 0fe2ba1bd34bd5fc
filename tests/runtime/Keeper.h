#pragma once

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "runtime/reactors/Reactor.h"
#include "tests/runtime/Depot.h"

using Lines = std::vector<std::string>;

inline Lines take(Lines& log) { return std::exchange(log, {}); }

template <class Call>
void batched(Call const& change) {
  Zef::Batch const batch;
  change();
}

// The slots() of a reactor that watches these.
template <auto... slot>
auto watching() {
  static constexpr std::array slots{slot...};
  return std::span(slots);
}

// Watches a shelf and writes down what its handlers hear, which begin with what a test says.
struct Keeper final : Zef::Reactor<Depot::Shelf> {
  using Shelf = Depot::Shelf;
  Keeper(std::string theWord, Lines& theLog) : word(std::move(theWord)), log(theLog) {}

  std::span<Slot const> slots() const override {
    return watching<Slot{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel},
                    Slot{Shelf::signAttr, &Shelf::NotifieeConst::onSign}>();
  }
  void onLevel() override {
    if (!zefOnAttribute(Shelf::levelAttr, nullptr)) run("level " + std::to_string(notifier()->level()));
  }
  void onSign() override {
    if (!zefOnAttribute(Shelf::signAttr, nullptr)) run("sign " + std::to_string(notifier()->sign()));
  }
  void onBox(Zef::Name name) override {
    if (zefOnKey(Shelf::boxAttr, name, &Keeper::onBox)) return;
    run((notifier()->box(name) ? "box " : "no box ") + std::string(name.view()));
  }
  void run(std::string const& what) {
    ASSERT_TRUE(alive());
    log.push_back(word + " " + what);
    if (!deed) return;
    std::exchange(deed, nullptr)();
    log.push_back(word + " goes on");
  }
  void onNotificationException(Zef::AttributeId attribute) override {
    log.push_back(word + " exception " + std::to_string(attribute));
    if (throwsTwice) throw 1;
  }

  std::string word;
  Lines& log;
  std::function<void()> deed;  // once
  bool throwsTwice = false;
};
