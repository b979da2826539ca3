// The host Log: messages go to the recorder, which keeps and echoes them.
#include "Log.h"

#include "LogRecorder.h"

void Log::setMsgLevel(LogImpl::logLevel_t msgLevel) {
  sim::LogRecorder::instance().begin(msgLevel);
}

void Log::writeImpl(const std::string& text) { sim::LogRecorder::instance().append(text); }
