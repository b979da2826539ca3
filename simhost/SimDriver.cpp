#include "SimDriver.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

namespace sim {

struct Driver::State {
  mutable std::mutex mutex;
  DriverModel model;
  DriverCommandLog log;
  // Indexed by descriptor: every ioctl of a table walk checks it.
  std::vector<bool> handles;
  // Lets close() and ioctl() on other descriptors skip the mutex while no
  // driver handle is open.
  std::atomic<unsigned int> handleCount{0};
  unsigned int openFailures = 0;

  bool isHandle(int fd) const {
    return fd >= 0 && static_cast<size_t>(fd) < handles.size() && handles[fd];
  }
};

Driver& Driver::instance() {
  // Never destroyed: descriptors are closed until the very end of the process.
  static Driver* driver = new Driver();
  return *driver;
}

Driver::Driver() : state(*new State()) {}

void Driver::reset() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.model.reset();
  state.log.clear();
  state.log.setCapacity(DriverCommandLog::kDefaultCapacity);
  state.log.clearFaults();
  state.openFailures = 0;
}

LearnResult Driver::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.learn(port, mac, vlan);
}

std::vector<std::vector<MacTableEntry>> Driver::table() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.table().chains();
}

uint32_t Driver::bucketCount() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.table().bucketCount();
}

void Driver::setBucketCount(uint32_t count) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.model.table().setBucketCount(count);
}

void Driver::setEntryCapacity(uint32_t capacity) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.model.setEntryCapacity(capacity);
}

uint32_t Driver::bucketOf(const MacAddress& mac, uint16_t vlan) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.table().bucketOf(mac, vlan);
}

bool Driver::globalState() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.globalState();
}

DriverInterfaceState Driver::interfaceState(unsigned int id) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.interfaceState(id);
}

bool Driver::lastViolation(unsigned int id, DriverViolation& out) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.model.lastViolation(id, out);
}

std::vector<DriverCommand> Driver::commands() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.log.commands();
}

size_t Driver::keptCommands() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.log.size();
}

uint64_t Driver::droppedCommands() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.log.dropped();
}

size_t Driver::commandLogCapacity() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.log.capacity();
}

void Driver::setCommandLogCapacity(size_t capacity) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.log.setCapacity(capacity);
}

void Driver::clearCommands() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.log.clear();
}

void Driver::refuseNext(unsigned long code, unsigned int count) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.log.refuseNext(code, count);
}

void Driver::refuseCall(unsigned int callNumber) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.log.refuseCall(callNumber);
}

void Driver::failNextOpens(unsigned int count) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.openFailures = count;
}

unsigned int Driver::openHandles() const { return state.handleCount.load(); }

bool Driver::takeOpenFailure() {
  std::lock_guard<std::mutex> guard(state.mutex);
  if (state.openFailures == 0) return false;
  --state.openFailures;
  return true;
}

void Driver::addHandle(int fd) {
  std::lock_guard<std::mutex> guard(state.mutex);
  if (fd < 0) return;
  if (static_cast<size_t>(fd) >= state.handles.size()) state.handles.resize(fd + 1);
  if (state.handles[fd]) return;
  state.handles[fd] = true;
  ++state.handleCount;
}

bool Driver::removeHandle(int fd) {
  if (state.handleCount.load() == 0) return false;
  std::lock_guard<std::mutex> guard(state.mutex);
  if (!state.isHandle(fd)) return false;
  state.handles[fd] = false;
  --state.handleCount;
  return true;
}

int Driver::command(unsigned long code, unsigned long argument) {
  std::lock_guard<std::mutex> guard(state.mutex);
  return commandLocked(code, argument);
}

bool Driver::commandOnHandle(int fd, unsigned long code, unsigned long argument, int& error) {
  if (state.handleCount.load() == 0) return false;
  std::lock_guard<std::mutex> guard(state.mutex);
  if (!state.isHandle(fd)) return false;
  error = commandLocked(code, argument);
  return true;
}

int Driver::commandLocked(unsigned long code, unsigned long argument) {
  const bool refused = state.log.takeRefusal(code);
  // The record's bytes as passed in, before the driver writes its answer.
  size_t size = 0;
  if (!driverRecordSize(code, size) || argument == 0) size = 0;
  bool& logRefused =
      state.log.append(code, argument, reinterpret_cast<const uint8_t*>(argument), size);
  const int error = refused ? EIO : state.model.execute(code, argument);
  logRefused = error != 0;
  return error;
}

}  // namespace sim
