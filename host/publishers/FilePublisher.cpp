#include "host/publishers/FilePublisher.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/Descriptor.h"
#include "host/publishers/Document.h"
#include "platform/text/Printable.h"

namespace Host {

namespace {

// A hundred thousand parts take some twenty megabytes; far more is no description of a switch.
constexpr off_t largest = off_t{64} << 20U;

[[noreturn]] void throwErrno() { throw std::system_error(errno, std::generic_category()); }

std::string contents(std::filesystem::path const& path) {
  // Whatever stands at the path must not hold up the agent, as a pipe would.
  Descriptor const file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) throwErrno();
  if (!S_ISREG(status.st_mode)) throw InventoryError("", "not a regular file");
  if (status.st_size > largest) throw InventoryError("", "larger than 64 MiB");
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t filled = 0;
  while (filled < text.size()) {
    ssize_t const size = ::read(file.get(), text.data() + filled, text.size() - filled);
    if (size < 0) throwErrno();
    if (size == 0) break;  // cut short meanwhile: the next version is announced
    filled += static_cast<std::size_t>(size);
  }
  text.resize(filled);
  return text;
}

}  // namespace

FilePublisher::FilePublisher(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path file, Log log,
                             Publish publish)
    : file_(std::move(file)),
      log_(std::move(log)),
      publish_(std::move(publish)),
      watch_(
          loop, clock, file_, [this] { attempt(); }, log_) {
  attempt();
}

void FilePublisher::read() {
  trouble_.clear();
  attempt();
}

void FilePublisher::attempt() {
  // What a version takes while it is read is many times what stays of it, and would stay with the agent.
  struct GivenBack {
    ~GivenBack() { malloc_trim(0); }
  } const givenBack;
  std::vector<std::string> leftOut;
  try {
    leftOut = publish_(contents(file_));
  } catch (std::system_error const& error) {
    std::string const trouble = error.code().message();
    if (trouble != trouble_) log_(Severity::error, "refused " + Text::printable(file_.native()) + ": " + trouble);
    trouble_ = trouble;
    watch_.again();
    return;
  } catch (...) {
    trouble_.clear();
    log_(Severity::error, "refused " + Text::printable(file_.native()) + ": " + reasonCaught());
    return;
  }
  trouble_.clear();
  std::string places;
  for (std::string const& place : leftOut)
    places += (places.empty() ? ", but for what publishers claim: " : ", ") + place;
  log_(Severity::info, "took " + Text::printable(file_.native()) + Text::printable(places));
}

}  // namespace Host
