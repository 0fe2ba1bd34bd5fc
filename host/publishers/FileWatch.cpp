#include "host/publishers/FileWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/text/Printable.h"

namespace Host {

namespace {

constexpr double quiet = 0.1;     // seconds without an event after which a save is over
constexpr double patience = 1.0;  // seconds after which a file that never rests is read all the same
constexpr double interval = 5.0;  // seconds between two looks at a file of which nothing is heard

constexpr std::uint32_t interest = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM |
                                   IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

FileWatch::FileWatch(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path file,
                     std::function<void()> changed, Log log)
    : loop_(loop),
      file_(std::move(file)),
      changed_(std::move(changed)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { look(); })) {
  watch();
  identity_ = identity();
  timer_->withinIs(interval);
}

FileWatch::~FileWatch() {
  timer_->isRegisteredNotifieeIs(false);
  if (inotify_ < 0) return;
  loop_.readFdDel(inotify_);
  close(inotify_);
}

FileWatch::Identity FileWatch::identity() const {
  struct stat status {};
  if (stat(file_.c_str(), &status) != 0) return {};
  // The time of the last change of anything: that of the last write can be set back.
  return {status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

void FileWatch::watch() {
  if (inotify_ < 0) {
    inotify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_ >= 0 && !loop_.readFdIs(inotify_, [this] { events(); })) {
      close(inotify_);
      inotify_ = -1;
      errno = EMFILE;
    }
    if (inotify_ < 0) {
      troubleIs(std::strerror(errno));
      return;
    }
  }

  std::error_code error;
  std::filesystem::path const real = std::filesystem::canonical(file_, error);
  throughLinks_ = real != file_;
  std::map<int, std::set<std::string>> wanted;
  std::string trouble;
  for (std::filesystem::path const& path : {file_, real}) {
    if (path.empty()) continue;  // leads nowhere at present
    int const directory = inotify_add_watch(inotify_, path.parent_path().c_str(), interest);
    if (directory >= 0) {
      wanted[directory].insert(path.filename());
    } else if (trouble.empty()) {
      trouble = Text::printable(path.parent_path().native()) + ": " + std::strerror(errno);
    }
  }
  for (auto const& [directory, names] : watched_) {
    if (!wanted.contains(directory)) inotify_rm_watch(inotify_, directory);
  }
  watched_ = std::move(wanted);
  troubleIs(trouble);
}

void FileWatch::troubleIs(std::string const& trouble) {
  if (trouble == trouble_) return;
  trouble_ = trouble;
  if (trouble.empty()) {
    log_(Severity::info, Text::printable(file_.native()) + " is watched");
  } else {
    log_(Severity::error,
         Text::printable(file_.native()) + " cannot be watched, and is looked at every few seconds: " + trouble);
  }
}

void FileWatch::events() {
  bool any = false;
  bool file = false;
  alignas(inotify_event) std::array<char, 16'384> buffer;
  for (;;) {
    ssize_t const size = read(inotify_, buffer.data(), buffer.size());
    if (size <= 0) break;
    for (char const* at = buffer.data(); at < buffer.data() + size;) {
      auto const& event = *reinterpret_cast<inotify_event const*>(at);
      at += sizeof(inotify_event) + event.len;
      auto const directory = watched_.find(event.wd);
      bool const known = directory != watched_.end();
      bool const ours = known && event.len != 0 && directory->second.contains(event.name);
      bool const lost = (event.mask & IN_Q_OVERFLOW) != 0 ||
                        (known && (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0);
      any = any || lost || ours || throughLinks_;
      file = file || lost || ours;
    }
  }
  if (any) touched(file);
}

void FileWatch::touched(bool file) {
  Identity const now = identity();
  touched_ = touched_ || file || now != identity_;
  identity_ = now;
  double const time = timer_->notifier()->time();
  if (settleBy_ == Zef::Clock::never) settleBy_ = time + patience;
  timer_->timeMinIs(std::min(time + quiet, settleBy_));
}

void FileWatch::look() {
  if (identity() != identity_) {
    touched(true);
    if (timer_->notifier()->time() < settleBy_) return;
  }
  timer_->withinIs(interval);
  bool const isRoutine = settleBy_ == Zef::Clock::never && !touched_;
  if (isRoutine && trouble_.empty()) return;
  settleBy_ = Zef::Clock::never;
  watch();
  if (std::exchange(touched_, false)) changed_();
}

}  // namespace Host
