#include "platform/scrivo/Scrivo.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>

namespace Scrivo {

TraceFile* theTraceFile = nullptr;

void theTraceFileIs(std::unique_ptr<TraceFile> file) {
  delete theTraceFile;
  theTraceFile = file.release();
}

namespace {
std::deque<std::string>& messages() {
  static auto* const all = new std::deque<std::string>;  // blocks may close after this unit's statics have gone
  return *all;
}
}  // namespace

std::string const& TraceFile::message(MsgId id) { return messages().at(id - 1); }

MsgId TraceFile::newMessage(std::string text) {
  messages().push_back(std::move(text));
  return static_cast<MsgId>(messages().size());
}

std::vector<Record> TraceFile::records() const {
  std::size_t const kept = static_cast<std::size_t>(std::min<std::uint64_t>(written_, ring_.size()));
  std::vector<Record> result;
  result.reserve(kept);
  for (std::uint64_t at = written_ - kept; at != written_; ++at) result.push_back(ring_[at % ring_.size()]);
  return result;
}

MsgDesc::MsgDesc(TraceFile& /*traceFile*/, char const* file, int line) {
  char const* const slash = std::strrchr(file, '/');
  text_ = std::string(slash == nullptr ? file : slash + 1) + ":" + std::to_string(line) + " ";
}

MsgDesc& MsgDesc::operator<<(char const* text) {
  text_ += text;
  return *this;
}

MsgId MsgDesc::finish() { return TraceFile::newMessage(std::move(text_)); }

double RingBuf::startMsg() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void RingBuf::record(MsgId& id, char const* file, int line, char const* text, std::uint64_t value) {
  if (theTraceFile == nullptr) return;
  if (id == 0) id = (MsgDesc(*theTraceFile, file, line) << text).finish();
  endMsg({startMsg(), 0, id, value});
}

BlockTimer::BlockTimer(MsgId& id, char const* file, int line, char const* function) {
  if (theTraceFile == nullptr) return;
  if (id == 0) id = (MsgDesc(*theTraceFile, file, line) << function).finish();
  id_ = id;
  start_ = RingBuf::startMsg();
}

BlockTimer::~BlockTimer() {
  if (id_ != 0 && theTraceFile != nullptr) RingBuf::endMsg({start_, RingBuf::startMsg() - start_, id_, 0});
}

}  // namespace Scrivo
