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

// A whole error line with one value: "<operation>:<number>:<text><value>\n".
// The value is written with its own type, so an int stays signed.
template <class T>
void logOperationFailure(const char* operation, int number, const char* text, T value) {
  operationLog(LogImpl::logLevel_t(0), operation, number).write(text).write(value).write("\n");
}
