#include "LogRecorder.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

namespace sim {

struct LogRecorder::State {
  mutable std::mutex mutex;
  std::map<std::thread::id, LogLine> open;
  std::vector<LogLine> finished;
  bool echo = true;

  void finish(const LogLine& line) {
    finished.push_back(line);
    if (!echo) return;
    const bool hasLineEnd = !line.text.empty() && line.text.back() == '\n';
    std::fprintf(stderr, "%d %s%s", static_cast<int>(line.level), line.text.c_str(),
                 hasLineEnd ? "" : "\n");
  }

  void finishOpen(std::thread::id thread) {
    auto found = open.find(thread);
    if (found == open.end()) return;
    finish(found->second);
    open.erase(found);
  }
};

LogRecorder& LogRecorder::instance() {
  // Never destroyed: module code may log at process exit.
  static LogRecorder* recorder = new LogRecorder();
  return *recorder;
}

LogRecorder::LogRecorder() : state(*new State()) {}

void LogRecorder::begin(LogImpl::logLevel_t level) {
  std::lock_guard<std::mutex> guard(state.mutex);
  const std::thread::id thread = std::this_thread::get_id();
  state.finishOpen(thread);
  state.open[thread] = LogLine{level, std::string()};
}

void LogRecorder::append(const std::string& text) {
  std::lock_guard<std::mutex> guard(state.mutex);
  const std::thread::id thread = std::this_thread::get_id();
  auto found = state.open.find(thread);
  if (found == state.open.end())
    found = state.open.emplace(thread, LogLine{LogImpl::LOG_DEBUG, std::string()}).first;
  found->second.text += text;
  if (!text.empty() && text.back() == '\n') state.finishOpen(thread);
}

std::vector<LogLine> LogRecorder::lines() {
  std::lock_guard<std::mutex> guard(state.mutex);
  for (const auto& line : state.open) state.finish(line.second);
  state.open.clear();
  return state.finished;
}

void LogRecorder::clear() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.open.clear();
  state.finished.clear();
}

void LogRecorder::setEcho(bool on) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.echo = on;
}

bool LogRecorder::echo() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.echo;
}

}  // namespace sim
