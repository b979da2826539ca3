// Keeps every message written through the host Log, with its level, and echoes
// each finished message to stderr as "<level> <text>". Each thread forms its
// own message. Safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "Log.h"

namespace sim {

struct LogLine {
  LogImpl::logLevel_t level;
  // The text as written, with its line end when the writer gave one.
  std::string text;
};

class LogRecorder {
 public:
  static LogRecorder& instance();

  // Starts a message on the calling thread, finishing the one it had open.
  void begin(LogImpl::logLevel_t level);
  // Appends to the calling thread's message (starting one at debug level if
  // none is open); a piece that ends with "\n" finishes it.
  void append(const std::string& text);

  // Every finished message in order; messages still open are finished first.
  std::vector<LogLine> lines();
  // Forgets finished and open messages.
  void clear();

  // Echo to stderr, on by default; reset does not change it.
  void setEcho(bool on);
  bool echo() const;

 private:
  LogRecorder();
  struct State;
  State& state;
};

}  // namespace sim
