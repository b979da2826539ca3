#include "SimDriver.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace sim {
namespace {

// Every command of a table walk takes the driver's lock: one atomic exchange
// here against two calls into the C library for a mutex. A waiter yields
// after a short spin, for the few long holders (table copies, rehashes).
class SpinLock {
 public:
  void lock() {
    while (held.exchange(true, std::memory_order_acquire)) waitUntilFree();
  }
  void unlock() { held.store(false, std::memory_order_release); }

 private:
  void waitUntilFree() {
    for (int spins = 0; held.load(std::memory_order_relaxed); ++spins)
      if (spins >= 64) std::this_thread::yield();
  }
  std::atomic<bool> held{false};
};

typedef std::lock_guard<SpinLock> Guard;

}  // namespace

struct Driver::State {
  mutable SpinLock lock;
  DriverModel model;
  DriverCommandLog log;
  // Bit n: descriptor kFirstHandle + n is open.
  uint64_t handles = 0;
  std::atomic<unsigned int> handleCount{0};
  unsigned int openFailures = 0;

  static uint64_t bitOf(int fd) {
    const unsigned int n = static_cast<unsigned int>(fd) - Driver::kFirstHandle;
    return n < Driver::kMaxHandles ? uint64_t(1) << n : 0;
  }
  bool isHandle(int fd) const { return (handles & bitOf(fd)) != 0; }
};

Driver& Driver::instance() {
  // Never destroyed: descriptors are closed until the very end of the process.
  static Driver* driver = new Driver();
  return *driver;
}

Driver::Driver() : state(*new State()) {}

void Driver::reset() {
  Guard guard(state.lock);
  state.model.reset();
  state.log.clear();
  state.log.setCapacity(DriverCommandLog::kDefaultCapacity);
  state.log.clearFaults();
  state.openFailures = 0;
}

LearnResult Driver::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  Guard guard(state.lock);
  return state.model.learn(port, mac, vlan);
}

std::vector<std::vector<MacTableEntry>> Driver::table() const {
  Guard guard(state.lock);
  return state.model.table().chains();
}

uint32_t Driver::bucketCount() const {
  Guard guard(state.lock);
  return state.model.table().bucketCount();
}

void Driver::setBucketCount(uint32_t count) {
  Guard guard(state.lock);
  state.model.table().setBucketCount(count);
}

void Driver::setEntryCapacity(uint32_t capacity) {
  Guard guard(state.lock);
  state.model.setEntryCapacity(capacity);
}

uint32_t Driver::bucketOf(const MacAddress& mac, uint16_t vlan) const {
  Guard guard(state.lock);
  return state.model.table().bucketOf(mac, vlan);
}

bool Driver::globalState() const {
  Guard guard(state.lock);
  return state.model.globalState();
}

DriverInterfaceState Driver::interfaceState(unsigned int id) const {
  Guard guard(state.lock);
  return state.model.interfaceState(id);
}

bool Driver::lastViolation(unsigned int id, DriverViolation& out) const {
  Guard guard(state.lock);
  return state.model.lastViolation(id, out);
}

std::vector<DriverCommand> Driver::commands() const {
  Guard guard(state.lock);
  return state.log.commands();
}

size_t Driver::keptCommands() const {
  Guard guard(state.lock);
  return state.log.size();
}

uint64_t Driver::droppedCommands() const {
  Guard guard(state.lock);
  return state.log.dropped();
}

size_t Driver::commandLogCapacity() const {
  Guard guard(state.lock);
  return state.log.capacity();
}

void Driver::setCommandLogCapacity(size_t capacity) {
  Guard guard(state.lock);
  state.log.setCapacity(capacity);
}

void Driver::clearCommands() {
  Guard guard(state.lock);
  state.log.clear();
}

void Driver::refuseNext(unsigned long code, unsigned int count) {
  Guard guard(state.lock);
  state.log.refuseNext(code, count);
}

void Driver::refuseCall(unsigned int callNumber) {
  Guard guard(state.lock);
  state.log.refuseCall(callNumber);
}

void Driver::failNextOpens(unsigned int count) {
  Guard guard(state.lock);
  state.openFailures = count;
}

unsigned int Driver::openHandles() const { return state.handleCount.load(); }

bool Driver::takeOpenFailure() {
  Guard guard(state.lock);
  if (state.openFailures == 0) return false;
  --state.openFailures;
  return true;
}

int Driver::openHandle() {
  Guard guard(state.lock);
  for (unsigned int n = 0; n < kMaxHandles; ++n) {
    const uint64_t bit = uint64_t(1) << n;
    if ((state.handles & bit) != 0) continue;
    state.handles |= bit;
    ++state.handleCount;
    return static_cast<int>(kFirstHandle + n);
  }
  return -1;
}

bool Driver::removeHandle(int fd) {
  // Other descriptors never wait for the driver.
  if (State::bitOf(fd) == 0) return false;
  Guard guard(state.lock);
  if (!state.isHandle(fd)) return false;
  state.handles &= ~State::bitOf(fd);
  --state.handleCount;
  return true;
}

int Driver::command(unsigned long code, unsigned long argument) {
  Guard guard(state.lock);
  return commandLocked(code, argument);
}

bool Driver::commandOnHandle(int fd, unsigned long code, unsigned long argument, int& error) {
  if (State::bitOf(fd) == 0) return false;
  Guard guard(state.lock);
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
