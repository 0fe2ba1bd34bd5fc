#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>

#include <sys/stat.h>

#include "host/EventLoop.h"
#include "host/Log.h"
#include "host/Timer.h"

namespace Host {

// Tells when a file may have become another one: written, replaced by a rename, removed, or reached by folders and
// symbolic links that now lead elsewhere. It watches the file's directory and that of what the links lead to, so that
// the file itself may come and go; one save, with all that an editor does for it, is one call. What happens elsewhere,
// to a folder or link higher up or through another name of the file, shows when it looks at the file, every few
// seconds. A directory that cannot be watched is said so in the log, once, and tried again each time.
class FileWatch {
 public:
  FileWatch(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path file,
            std::function<void()> changed, Log log);
  ~FileWatch();
  FileWatch(FileWatch const&) = delete;
  FileWatch& operator=(FileWatch const&) = delete;

  // Calls again with the next look, in a few seconds, changed or not.
  void again() { touched_ = true; }

 private:
  // Which file the path leads to, and which version of it; all zero when it leads to none.
  struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    __time_t seconds = 0;
    long nanoseconds = 0;
    bool operator==(Identity const&) const = default;
  };

  Identity identity() const;
  // Brings the watches in line with where the path leads now.
  void watch();
  void troubleIs(std::string const& trouble);
  void events();
  // The file, or a link on the way to it, has been touched.
  void touched(bool file);
  // When a save may be over, and every few seconds.
  void look();

  EventLoop& loop_;
  std::filesystem::path file_;
  std::function<void()> changed_;
  Log log_;
  int inotify_ = -1;
  std::map<int, std::set<std::string>> watched_;  // names that matter, by watch descriptor of their directory
  bool throughLinks_ = false;
  std::string trouble_;
  Identity identity_;
  bool touched_ = false;  // the next look calls, unless the file is being written
  double settleBy_ = Zef::Clock::never;
  Zef::Ptr<Timer> timer_;
};

}  // namespace Host
