// The host log. A message is formed by setMsgLevel followed by chained write
// calls; each thread forms its own message.
#pragma once

#include <map>
#include <sstream>
#include <string>

struct LogImpl {
  enum logLevel_t { LOG_ERROR = 0, LOG_NOTICE = 1, LOG_INFO = 2, LOG_DEBUG = 3 };
};

class Log {
 public:
  Log() : level(LogImpl::LOG_DEBUG) {}

  void setMsgLevel(LogImpl::logLevel_t msgLevel);
  void writeImpl(const std::string& text);

  template <class T>
  Log& write(T value) {
    std::ostringstream text;
    text << value;
    writeImpl(text.str());
    return *this;
  }

 private:
  std::map<std::string, LogImpl::logLevel_t> moduleLevels;
  LogImpl::logLevel_t level;
};
