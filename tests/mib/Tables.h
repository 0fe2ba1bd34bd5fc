#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/mib/Agent.h"

// A table as a test of iteration sees it: where it stands, which columns it serves, and how a row comes and goes.
struct TableCase {
  std::string name;
  Oid root;
  std::vector<oid> columns;
  std::size_t indexParts;
  std::function<void(Oid const& index)> add;
  std::function<void(Oid const& index)> remove;
  std::function<void()> clear;

  Oid instance(oid column, Oid const& index) const { return root + Oid{1, column} + index; }
  // Indexes in ascending order; with two parts they differ in the first, in the second, and in both.
  std::vector<Oid> indexes() const {
    if (indexParts == 1) return {{1}, {7}, {300}, {302}, {1000000100}};
    return {{1, 5}, {1, 7}, {2, 0}, {2, 1000000100}, {300, 7}};
  }
  // An index that lies behind the one at that place, and before the next.
  Oid hole(std::size_t place) const {
    Oid index = indexes()[place];
    index.back() += 1;
    return index;
  }
};

std::vector<TableCase> const& tableCases();
void PrintTo(TableCase const& table, std::ostream* stream);
