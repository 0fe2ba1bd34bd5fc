#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/Timer.h"

namespace Host {

// Lets a few lines a second of each kind into the log, and counts the others, so that whoever causes them cannot fill
// it.
class LineLimit {
 public:
  // How many were left out of a kind, when its second is over.
  using Tell = std::function<void(std::string const& kind, unsigned leftOut)>;

  LineLimit(Zef::Ptr<Zef::Clock> const& clock, unsigned mostInASecond, Tell tell);
  // Tells of all that is left to be told.
  ~LineLimit();
  LineLimit(LineLimit const&) = delete;
  LineLimit& operator=(LineLimit const&) = delete;

  // Whether one more may pass.
  bool passes(std::string const& kind);

 private:
  struct Second {
    double began = 0;
    unsigned lines = 0;
  };

  void tellBefore(double now);

  unsigned most_;
  Tell tell_;
  std::map<std::string, Second> kinds_;
  Zef::Ptr<Timer> timer_;
};

}  // namespace Host
