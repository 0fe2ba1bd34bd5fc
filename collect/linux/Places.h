#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "collect/door/Journal.h"

namespace Collect {

// Which number each thing of the machine has among its like, kept in a file over restarts: what was given once stays,
// whatever else comes and goes. Things are known by where they are, never by the order in which they were found.
class Places {
 public:
  // A file that is not there is begun; one that is damaged is begun anew, with a line in the journal. Without a name
  // nothing is kept, nor is anything in a file that is only to be read.
  Places(Journal& journal, std::filesystem::path file, bool isKept = true);

  // Nobody but who asks by this number gets it, among the things of that group.
  void reserve(std::string const& group, unsigned number);
  // The number of the thing `source` in that group, from 1 to `most`: the one that it has, or else the preferred one,
  // or else the lowest that is free. 0 when there is none.
  unsigned number(std::string const& group, std::string const& source, unsigned most, unsigned preferred = 0);
  // Writes what was given since, whole or not at all.
  void keep();

 private:
  using Numbers = std::map<std::string, unsigned>;  // by source

  std::string text() const;
  bool read(std::string const& text);

  Journal& journal_;
  std::filesystem::path file_;
  bool isKept_;
  std::map<std::string, Numbers> groups_;
  std::map<std::string, std::set<unsigned>> taken_;
  std::map<std::string, std::set<std::string>> seen_;
  std::map<std::string, std::set<unsigned>> reserved_;
  bool hasNews_ = false;
};

}  // namespace Collect
