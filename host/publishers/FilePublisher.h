#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "host/publishers/FileWatch.h"
#include "host/publishers/Inventory.h"

namespace Host {

// Publishes the switch that a file describes, and follows the file. A version with an error in it is refused whole,
// with the place and the reason in the log, and what was published before stays. One that the system gives no means to
// read is tried again every few seconds.
class FilePublisher {
 public:
  // Publishes a directory of inputs; what it gives back is empty, or why it had to build all anew.
  using Publish = std::function<std::string(Zef::Dir const& wanted)>;

  // The inputs are of the types that `types` gives.
  FilePublisher(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, EntityTypes const& types,
                std::filesystem::path file, Log log, Publish publish);

  std::filesystem::path const& file() const { return file_; }
  // Reads the file now, changed or not.
  void read();

 private:
  void attempt();

  EntityTypes const& types_;
  std::filesystem::path file_;
  Log log_;
  Publish publish_;
  std::string trouble_;  // why the file could not be read, as the log has it
  FileWatch watch_;
};

}  // namespace Host
