// Writes the first part of an operation's log line: the level, then
// "<operation>:<number>:". The caller chains the text and the closing "\n".
// Safe from any thread: the host log keeps one message per thread.
#pragma once

#include "Log.h"
#include "singleton.h"

inline Log& operationLog(LogImpl::logLevel_t level, const char* operation, int number) {
  Log& log = singleton<Log>::instance();
  log.setMsgLevel(level);
  return log.write(operation).write(":").write(number).write(":");
}
