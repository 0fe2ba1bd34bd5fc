#include "collect/door/Door.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Collect {

using nlohmann::json;

namespace {

constexpr std::chrono::duration<double> shortestPause{0.2}, longestPause{10};
constexpr std::chrono::duration<double> together{0.05};  // changes of that time are one line
constexpr std::size_t longestAnswer = std::size_t{1} << 20U;
constexpr std::size_t mostComplaints = 1000;

// Where a place of a refusal leads in what was offered. A place has a "." between its steps, and so may a step have:
// as far as the steps go. The last of them can be what is missing (a name that is none), so it is left out.
Path pathOf(json const& offered, std::string_view place) {
  Path path;
  json const* at = &offered;
  while (!place.empty() && at->is_object()) {
    auto const& members = at->get_ref<json::object_t const&>();
    auto const next = std::find_if(members.begin(), members.end(), [&](auto const& member) {
      auto const& name = member.first;
      return place.starts_with(name) && (place.size() == name.size() || place[name.size()] == '.');
    });
    if (next == members.end()) break;
    path.push_back(next->first);
    place.remove_prefix(std::min(place.size(), next->first.size() + 1));
    at = &next->second;
  }
  return path;
}

}  // namespace

Door::Door(Loop& loop, Journal& journal, std::vector<std::string> sockets, Greeting greeting,
           std::function<void()> onOpen)
    : loop_(loop),
      journal_(journal),
      sockets_(std::move(sockets)),
      greeting_(std::move(greeting)),
      onOpen_(std::move(onOpen)),
      pause_(shortestPause) {
  pulse_ = loop_.every(greeting_.lease / 3.0, [this] {
    // Who had a place that was refused may have left it.
    changed_.merge(refused_);
    refused_.clear();
    tell();
    if (state_ == State::idle) say(State::alive, {{"alive", true}});
  });
}

Door::~Door() {
  if (fd_ >= 0) ::close(fd_);
}

void Door::contentIs(Path const& path, json content) {
  json const* const before = at(wanted_, path);
  if (content.is_null() ? before == nullptr : before != nullptr && *before == content) return;
  if (content.is_null()) {
    erase(wanted_, path);
  } else {
    made(wanted_, path) = std::move(content);
  }
  changed_.insert(path);
  if (!flush_ && state_ == State::idle) {
    flush_ = loop_.after(together, [this] {
      flush_ = nullptr;
      tell();
    });
  }
}

void Door::open() {
  isHeld_ = false;
  if (state_ == State::closed && !retry_) {
    connect();
  } else {
    tell();
  }
}

void Door::beginAnew() {
  wanted_ = json::object();
  isHeld_ = isAllToTell_ = true;
}

void Door::connect() {
  retry_ = nullptr;
  std::string trouble;
  for (auto const& path : sockets_) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
      trouble = path + ": a socket's path is shorter";
      continue;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ >= 0 && ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) break;
    if (trouble.empty() || errno != ENOENT) trouble = path + ": " + std::strerror(errno);
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  }
  if (fd_ < 0) {
    close(trouble);
    return;
  }
  readable_ = loop_.readable(fd_, [this] { onReadable(); });
  say(State::greeting,
      {{"publisher", greeting_.publisher}, {"claims", greeting_.claims}, {"lease", greeting_.lease.count()}});
}

void Door::close(std::string const& why) {
  journal_.trouble("the agent", why);
  for (auto* const source : {&readable_, &writable_, &flush_}) *source = nullptr;
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  in_.clear();
  out_.clear();
  state_ = State::closed;
  retry_ = loop_.after(pause_, [this] { connect(); });
  pause_ = std::min(pause_ * 2, longestPause);
}

void Door::say(State state, json const& line) {
  state_ = state;
  // Foreign texts need be no UTF-8.
  out_ = line.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  write();
}

void Door::write() {
  while (!out_.empty()) {
    ssize_t const size = send(fd_, out_.data(), out_.size(), MSG_NOSIGNAL);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno == EAGAIN) {
      if (!writable_) writable_ = loop_.writable(fd_, [this] { write(); });
      return;
    }
    if (size < 0) {
      // What it has said before it went may tell why, so its answers are read to their end.
      out_.clear();
      break;
    }
    out_.erase(0, static_cast<std::size_t>(size));
  }
  writable_ = nullptr;
}

void Door::onReadable() {
  std::array<char, 4096> buffer;
  ssize_t const size = recv(fd_, buffer.data(), buffer.size(), 0);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) {
    close(size < 0 ? std::strerror(errno) : "it has closed the connection");
    return;
  }
  in_.append(buffer.data(), static_cast<std::size_t>(size));
  auto const end = in_.find('\n');
  if (end == std::string::npos && in_.size() < longestAnswer) return;
  json const answer =
      json::parse(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(std::min(end, in_.size())), nullptr, false);
  in_.clear();
  if (!answer.is_object() || state_ == State::idle) {
    close("it says what is no answer");
  } else if (auto const error = answer.find("error"); error != answer.end() && error->is_string()) {
    refused(*error, answer.value("place", std::string()));
  } else {
    answered(answer);
  }
}

void Door::answered(json const& answer) {
  switch (std::exchange(state_, State::idle)) {
    case State::greeting:
      journal_.trouble("the agent", "");
      journal_.say(Severity::info, answer.contains("back") ? "is back at the agent" : "publishes to the agent");
      pause_ = shortestPause;
      refused_.clear();
      isAllToTell_ = true;
      onOpen_();
      break;
    case State::setting:
      said_ = std::move(pending_);
      break;
    case State::patching:
      said_.merge_patch(pending_);
      break;
    default:
      break;
  }
  telling_.clear();
  tell();
}

void Door::refused(std::string const& reason, std::string const& place) {
  if (complaints_.size() > mostComplaints) complaints_.clear();
  if (complaints_.insert(place + ": " + reason).second)
    journal_.say(Severity::warning, "the agent refuses " + place + (place.empty() ? "" : ": ") + reason);
  bool const isSet = state_ == State::setting;
  Path const path = isSet || state_ == State::patching ? pathOf(pending_, place) : Path();
  if (path.empty() || !refused_.insert(path).second) {
    close("it refuses what is said: " + reason);
    return;
  }
  state_ = State::idle;
  changed_.merge(telling_);
  isAllToTell_ = isAllToTell_ || isSet;
  tell();
}

json Door::offered(json what) const {
  for (auto const& path : refused_) erase(what, path);
  return what;
}

void Door::tellAll() {
  isAllToTell_ = false;
  changed_.clear();
  pending_ = offered(wanted_);
  say(State::setting, {{"set", pending_}});
}

void Door::tell() {
  if (state_ != State::idle || isHeld_) return;
  if (isAllToTell_) {
    tellAll();
    return;
  }
  json patch = json::object();
  json const nothing = json::object();
  for (auto const& path : changed_) {
    json const* const before = at(said_, path);
    json const* const now = at(wanted_, path);
    // As members of one name, so that values, objects and what is not there are compared alike.
    json difference =
        mergePatch(before != nullptr ? json{{"", *before}} : nothing, now != nullptr ? json{{"", *now}} : nothing);
    if (difference.empty()) continue;
    made(patch, {path.begin(), path.end() - 1})[path.back()] = std::move(difference.at(""));
  }
  telling_ = std::exchange(changed_, {});
  patch = offered(std::move(patch));
  if (patch.empty()) return;
  pending_ = std::move(patch);
  say(State::patching, {{"patch", pending_}});
}

}  // namespace Collect
