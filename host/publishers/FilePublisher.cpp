#include "host/publishers/FilePublisher.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Host {

namespace {

// A hundred thousand parts take some twenty megabytes; far more is no description of a switch.
constexpr off_t largest = off_t{256} << 20U;

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void refuseErrno() { throw InventoryError("", std::strerror(errno)); }

std::string contents(std::filesystem::path const& path) {
  // Whatever stands at the path must not hold up the agent, as a pipe would.
  Descriptor const file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) refuseErrno();
  if (!S_ISREG(status.st_mode)) throw InventoryError("", "not a regular file");
  if (status.st_size > largest) throw InventoryError("", "larger than 256 MiB");
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t filled = 0;
  while (filled < text.size()) {
    ssize_t const size = ::read(file.get(), text.data() + filled, text.size() - filled);
    if (size < 0) refuseErrno();
    if (size == 0) break;  // cut short meanwhile: the next version is announced
    filled += static_cast<std::size_t>(size);
  }
  text.resize(filled);
  return text;
}

}  // namespace

FilePublisher::FilePublisher(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, EntityTypes const& types,
                             std::filesystem::path file, Log log, Publish publish)
    : types_(types),
      file_(std::move(file)),
      log_(std::move(log)),
      publish_(std::move(publish)),
      watch_(
          loop, clock, file_, [this] { read(); }, log_) {
  read();
}

void FilePublisher::read() {
  Zef::Ptr<Zef::Dir> wanted;
  try {
    wanted = readInventory(contents(file_), types_);
  } catch (InventoryError const& error) {
    log_(Severity::error, "refused " + file_.string() + ": " + error.what());
    return;
  }
  std::string const trouble = publish_(*wanted);
  if (trouble.empty()) {
    log_(Severity::info, "took " + file_.string());
  } else {
    log_(Severity::warning, "built all anew from " + file_.string() + ": " + trouble);
  }
}

}  // namespace Host
