#include "host/publishers/FileWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace Host {

namespace {

constexpr double quiet = 0.1;     // seconds without an event after which a save is over
constexpr double patience = 1.0;  // seconds after which a file that never rests is read all the same
constexpr double retry = 5.0;     // seconds between two attempts to watch

constexpr std::uint32_t interest = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM |
                                   IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

FileWatch::FileWatch(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path file,
                     std::function<void()> changed, Log log)
    : loop_(loop),
      file_(std::move(file)),
      changed_(std::move(changed)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { settled(); })) {
  watch();
  identity_ = identity();
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
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
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
      trouble = path.parent_path().string() + ": " + std::strerror(errno);
    }
  }
  for (auto const& [directory, names] : watched_) {
    if (!wanted.contains(directory)) inotify_rm_watch(inotify_, directory);
  }
  watched_ = std::move(wanted);
  troubleIs(trouble);
}

void FileWatch::troubleIs(std::string const& trouble) {
  if (!trouble.empty()) timer_->withinIs(retry);
  if (trouble == trouble_) return;
  trouble_ = trouble;
  if (trouble.empty()) {
    log_(Severity::info, file_.string() + " is watched");
  } else {
    log_(Severity::error, file_.string() + " cannot be watched, and is looked at every few seconds: " + trouble);
  }
}

void FileWatch::events() {
  alignas(inotify_event) std::array<char, 16'384> buffer;
  for (;;) {
    ssize_t const size = read(inotify_, buffer.data(), buffer.size());
    if (size <= 0) return;
    for (char const* at = buffer.data(); at < buffer.data() + size;) {
      auto const& event = *reinterpret_cast<inotify_event const*>(at);
      at += sizeof(inotify_event) + event.len;
      auto const directory = watched_.find(event.wd);
      bool const known = directory != watched_.end();
      bool const ours = known && event.len != 0 && directory->second.contains(event.name);
      bool const lost = (event.mask & IN_Q_OVERFLOW) != 0 ||
                        (known && (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0);
      if (lost || ours || throughLinks_) touched(lost || ours);
    }
  }
}

void FileWatch::touched(bool file) {
  touched_ = touched_ || file;
  double const now = timer_->notifier()->time();
  if (settleBy_ == Zef::Clock::never) settleBy_ = now + patience;
  timer_->timeMinIs(std::min(now + quiet, settleBy_));
}

void FileWatch::settled() {
  settleBy_ = Zef::Clock::never;
  watch();
  Identity const now = identity();
  if (!touched_ && now == identity_) return;
  touched_ = false;
  identity_ = now;
  changed_();
}

}  // namespace Host
