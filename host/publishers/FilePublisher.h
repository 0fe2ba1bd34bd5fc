#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/publishers/FileWatch.h"

namespace Host {

// Publishes the switch that a file describes, and follows the file. A version with an error in it is refused whole,
// with the place and the reason in the log, and what was published before stays. One that the system gives no means to
// read is tried again every few seconds.
class FilePublisher {
 public:
  // Publishes the text; what it gives back are the places that it left out, since others speak for them.
  using Publish = std::function<std::vector<std::string>(std::string_view text)>;

  FilePublisher(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path file, Log log,
                Publish publish);

  std::filesystem::path const& file() const { return file_; }
  // Reads the file now, changed or not.
  void read();

 private:
  void attempt();

  std::filesystem::path file_;
  Log log_;
  Publish publish_;
  std::string trouble_;  // why the file could not be read, as the log has it
  FileWatch watch_;
};

}  // namespace Host
