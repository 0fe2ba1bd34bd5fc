#pragma once

#include <filesystem>
#include <functional>

#include "host/publishers/FileWatch.h"
#include "host/publishers/Inventory.h"

namespace Host {

// Publishes the switch that a file describes, and follows the file. A version with an error in it is refused whole,
// with the place and the reason in the log, and what was published before stays. One that the system gives no means to
// read is tried again every few seconds.
class FilePublisher {
 public:
  // `inputs` is the live directory of the inputs, of the types that `types` gives; `published` is called behind each
  // version that was taken.
  FilePublisher(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Zef::Ptr<Zef::Dir> inputs, EntityTypes const& types,
                std::filesystem::path file, Log log, std::function<void()> published);

  std::filesystem::path const& file() const { return file_; }
  // Reads the file now, changed or not.
  void read();

 private:
  void attempt();

  Zef::Ptr<Zef::Dir> inputs_;
  EntityTypes const& types_;
  std::filesystem::path file_;
  Log log_;
  std::function<void()> published_;
  std::string trouble_;  // why the file could not be read, as the log has it
  FileWatch watch_;
};

}  // namespace Host
