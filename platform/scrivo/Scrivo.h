#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The trace ring: the last few thousand records of what the process did, in memory, at the cost of a clock reading
// each.
namespace Scrivo {

using MsgId = std::uint32_t;  // 0: no message yet

struct Record {
  double start = 0;     // seconds, monotonic
  double duration = 0;  // seconds; 0 for a plain record
  MsgId message = 0;
  std::uint64_t value = 0;
};

// A ring of records. The messages that they name are the process's: a place in the code gets its own once, and keeps it
// when another ring takes this one's place.
class TraceFile {
 public:
  TraceFile(std::string name, std::size_t capacity) : name_(std::move(name)), ring_(capacity) {}

  std::string const& name() const { return name_; }
  static std::string const& message(MsgId id);
  static MsgId newMessage(std::string text);
  void append(Record const& record) { ring_[written_++ % ring_.size()] = record; }
  // Records ever written; the last ring-full of them can still be read.
  std::uint64_t written() const { return written_; }
  // From the oldest that is left to the newest.
  std::vector<Record> records() const;

 private:
  std::string name_;
  std::vector<Record> ring_;
  std::uint64_t written_ = 0;
};

// The process's ring; null when nothing is recorded.
extern TraceFile* theTraceFile;
void theTraceFileIs(std::unique_ptr<TraceFile> file);

// Describes one place in the code that writes records: MsgDesc(file, __FILE__, __LINE__) << "what" and then finish().
class MsgDesc {
 public:
  MsgDesc(TraceFile& traceFile, char const* file, int line);
  MsgDesc& operator<<(char const* text);
  MsgId finish();

 private:
  std::string text_;
};

// A record of a fixed text and a number. `id` is the place's own and 0 at first; nothing is done without a ring.
class RingBuf {
 public:
  // The start stamp of a record.
  static double startMsg();
  static void endMsg(Record const& record) { theTraceFile->append(record); }
  static void record(MsgId& id, char const* file, int line, char const* text, std::uint64_t value);
};

// Times a block from construction to destruction, exceptions included.
class BlockTimer {
 public:
  BlockTimer(MsgId& id, char const* file, int line, char const* function);
  ~BlockTimer();
  BlockTimer(BlockTimer const&) = delete;
  BlockTimer& operator=(BlockTimer const&) = delete;

 private:
  MsgId id_ = 0;
  double start_ = 0;
};

}  // namespace Scrivo
