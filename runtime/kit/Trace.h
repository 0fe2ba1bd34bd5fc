#pragma once

#include <functional>
#include <new>
#include <ostream>
#include <sstream>
#include <string>

#include "platform/scrivo/Scrivo.h"
#include "runtime/kit/Types.h"

namespace Zef {

// Names a subject of tracing and holds which of its levels, 0 to 9, are on. Handles of one name share their levels.
class TraceHandle {
 public:
  static constexpr unsigned levels = 10;

  // `on`: whether level 0 is traced without being asked for.
  TraceHandle(char const* name, bool on);
  ~TraceHandle();
  TraceHandle(TraceHandle const&) = delete;
  TraceHandle& operator=(TraceHandle const&) = delete;

  char const* name() const { return name_; }
  bool enabled(unsigned level) const { return ((mask_ >> level) & 1U) != 0; }
  // Whether a statement is to be evaluated at all: its level is on, or coverage forces every statement.
  bool active(unsigned level) const { return (((mask_ | forced_) >> level) & 1U) != 0; }

  // Turns on exactly the levels of the mask (bit L for level L) of all handles of that name, present and future.
  static void levelsIs(std::string const& name, U32 mask);
  static void coverageIs(bool on);

 private:
  char const* name_;
  U32 mask_;
  U32 forced_;
};

// When set, every trace statement is evaluated and written here, whether or not its level is on.
extern std::ostream* coverageStream_;
void coverageStreamIs(std::ostream* stream);

// Where enabled statements go, a line each; standard error until somebody says otherwise.
void traceSinkIs(std::function<void(unsigned level, std::string const& line)> sink);

void traceHelper(char const* handle, char const* object, std::ostringstream const& text, unsigned level, bool enabled,
                 char const* file, int line, char const* function);

// One statement under way: collects the operands, hands them on at its end.
class TraceStatement {
 public:
  TraceStatement(TraceHandle const& handle, unsigned level, char const* file, int line, char const* function)
      : handle_(handle), level_(level), file_(file), line_(line), function_(function) {
    stream_.precision(12);
  }
  // A line for which there is no memory is lost: no trace is worth the process.
  ~TraceStatement() {
    try {
      traceHelper(handle_.name(), "<unknown>", stream_, level_, handle_.enabled(level_), file_, line_, function_);
    } catch (std::bad_alloc const&) {
    }
  }
  TraceStatement(TraceStatement const&) = delete;
  TraceStatement& operator=(TraceStatement const&) = delete;
  std::ostringstream& stream() { return stream_; }

 private:
  TraceHandle const& handle_;
  unsigned level_;
  char const* file_;
  int line_;
  char const* function_;
  std::ostringstream stream_;
};

}  // namespace Zef

// ZEF_TRACE(handle, level) << operands; the operands are not evaluated while the level is off.
#define ZEF_TRACE(handle, level) \
  if (!(handle).active(level)) { \
  } else                         \
    ::Zef::TraceStatement((handle), (level), __FILE__, __LINE__, __func__).stream()

// Times the rest of the enclosing block and leaves a record of it in the ring, exceptions included.
#define ZEF_BLOCK_TIMER()                \
  static ::Scrivo::MsgId zefBlockId = 0; \
  ::Scrivo::BlockTimer const zefBlockTimer(zefBlockId, __FILE__, __LINE__, __PRETTY_FUNCTION__)
